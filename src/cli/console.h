// Text on a terminal: safe to print, and aligned although Chinese characters take two columns.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/translation.h"

namespace kavrel {

/// UTF-8 without anything that could steer a terminal or hide what is printed: control and
/// direction characters and undecodable bytes are shown as escapes. Line feeds stay when
/// `keep_lines`.
std::string Printable(std::u16string_view text, bool keep_lines = false);
/// A name of a job, a rule or a list of file types as it is shown, made Printable.
std::string PrintableName(std::u16string_view name);

/// Columns that the text takes on a terminal.
std::size_t DisplayWidth(std::u16string_view text);

/// The text cut to at most `width` columns, with "…" for what is missing.
std::u16string CutToWidth(std::u16string_view text, std::size_t width);

enum class Colour { Plain, Good, Doubtful, Bad };

/// A text of the source in the user's language, as a cell of a table.
inline std::u16string TrCell(std::u16string_view id) {
  return std::u16string(Tr(id));
}

/// Prints rows in aligned columns, two blanks between them; the first row is the heading. A
/// terminal gets them cut to its width, the widest columns first, and in the colours of the rows,
/// where it has any and $NO_COLOR does not forbid them.
void PrintTable(const std::vector<std::vector<std::u16string>>& rows,
                const std::vector<Colour>& colours = {});

/// Prints texts, one a line.
void PrintNames(const std::vector<std::u16string>& names);

/// "kavrelctl: " and the message on standard error.
void PrintError(std::string_view message);

/// True when standard output is a terminal; its width in columns otherwise 80.
bool IsTerminal();
std::size_t TerminalWidth();

}  // namespace kavrel
