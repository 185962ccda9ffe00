#include "cli/console.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "base/text.h"
#include "base/translation.h"
#include "platform/process.h"

namespace kavrel {

namespace {

bool IsWide(char16_t c) {
  constexpr struct {
    char16_t First, Last;
  } kWide[] = {{0x1100, 0x115F}, {0x2E80, 0x303E}, {0x3041, 0x33FF}, {0x3400, 0x4DBF},
               {0x4E00, 0x9FFF}, {0xA000, 0xA4CF}, {0xAC00, 0xD7A3}, {0xF900, 0xFAFF},
               {0xFE30, 0xFE6F}, {0xFF00, 0xFF60}, {0xFFE0, 0xFFE6}};
  return std::any_of(std::begin(kWide), std::end(kWide),
                     [c](const auto& range) { return c >= range.First && c <= range.Last; });
}

/// The two halves of a character beyond the basic plane count one column each: such characters
/// are ideographs and pictures, which are two columns wide.
std::size_t WidthOf(char16_t c) {
  if (c >= 0x0300 && c <= 0x036F) return 0;
  return IsWide(c) ? 2 : 1;
}

bool IsSteering(char16_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || (c >= 0x200E && c <= 0x200F) ||
         (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

/// Takes from the widest columns until all fit, as far as they stay readable.
void FitTo(std::size_t width, std::vector<std::size_t>& columns) {
  constexpr std::size_t kReadable = 6;
  std::size_t all = 2 * (columns.empty() ? 0 : columns.size() - 1);
  for (const std::size_t column : columns) all += column;
  while (all > width && !columns.empty()) {
    const auto widest = std::max_element(columns.begin(), columns.end());
    if (*widest <= kReadable) return;
    --*widest;
    --all;
  }
}

bool HasColours() {
  const char* forbidden = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  return IsTerminal() && !(forbidden && *forbidden) &&
         !(terminal && std::string_view(terminal) == "dumb");
}

}  // namespace

std::string Printable(std::u16string_view text, bool keep_lines) {
  std::u16string safe;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    const bool pair = c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
                      text[i + 1] <= 0xDFFF;
    if (pair) {
      safe += c;
      safe += text[++i];
    } else if (c == u'\n' && keep_lines) {
      safe += c;
    } else if (IsSteering(c) || (c >= 0xD800 && c <= 0xDFFF)) {
      char escape[8];
      const bool byte = c < 0x100 || (c >= 0xDC80 && c <= 0xDCFF);
      std::snprintf(escape, sizeof escape, byte ? "\\x%02X" : "\\u%04X",
                    byte ? c & 0xFFU : unsigned{c});
      safe += FromUtf8(escape);
    } else {
      safe += c;
    }
  }
  return ToUtf8(safe);
}

std::string PrintableName(std::u16string_view name) {
  return Printable(ShownName(name));
}

std::size_t DisplayWidth(std::u16string_view text) {
  std::size_t width = 0;
  for (const char16_t c : text) width += WidthOf(c);
  return width;
}

std::u16string CutToWidth(std::u16string_view text, std::size_t width) {
  if (DisplayWidth(text) <= width) return std::u16string(text);
  std::u16string cut;
  std::size_t used = 1;
  for (const char16_t c : text) {
    used += WidthOf(c);
    if (used > width) break;
    cut += c;
  }
  if (!cut.empty() && cut.back() >= 0xD800 && cut.back() <= 0xDBFF) cut.pop_back();
  return cut + u"…";
}

void PrintTable(const std::vector<std::vector<std::u16string>>& rows,
                const std::vector<Colour>& colours) {
  std::vector<std::size_t> widths;
  std::vector<std::vector<std::u16string>> cells = rows;
  for (auto& row : cells) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      row[i] = FromUtf8(Printable(row[i]));
      widths[i] = std::max(widths[i], DisplayWidth(row[i]));
    }
  }
  if (IsTerminal()) FitTo(TerminalWidth(), widths);
  const bool coloured = !colours.empty() && HasColours();
  for (std::size_t i = 0; i < cells.size(); ++i) {
    std::string line;
    for (std::size_t column = 0; column < cells[i].size(); ++column) {
      const std::u16string cell = CutToWidth(cells[i][column], widths[column]);
      line += ToUtf8(cell);
      if (column + 1 < cells[i].size()) {
        line.append(widths[column] - std::min(widths[column], DisplayWidth(cell)) + 2, ' ');
      }
    }
    const Colour colour = coloured && i < colours.size() ? colours[i] : Colour::Plain;
    if (colour == Colour::Plain) {
      std::printf("%s\n", line.c_str());
    } else {
      constexpr const char* kCodes[] = {"", "32", "33", "31"};
      std::printf("\x1b[%sm%s\x1b[0m\n", kCodes[static_cast<std::size_t>(colour)], line.c_str());
    }
  }
}

void PrintNames(const std::vector<std::u16string>& names) {
  for (const std::u16string& name : names) std::printf("%s\n", Printable(name).c_str());
}

void PrintError(std::string_view message) {
  std::fprintf(stderr, "kavrelctl: %.*s\n", static_cast<int>(message.size()), message.data());
}

bool IsTerminal() {
  return OutputColumns() > 0;
}

std::size_t TerminalWidth() {
  const int columns = OutputColumns();
  return columns > 0 ? static_cast<std::size_t>(columns) : 80;
}

}  // namespace kavrel
