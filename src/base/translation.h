// Texts in the user's language. The texts in the source are the ids: Traditional Chinese, and
// English where the command line speaks. Faces alone ask for translations; what is kept in a file
// is written as it stands in the source.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

namespace kavrel {

struct Language {
  std::string_view Code;     ///< "zh_TW", "en"
  std::u16string_view Name;  ///< as its speakers call it
};

/// All that the program speaks, Traditional Chinese first.
std::span<const Language> Languages();
/// Two more, for whoever makes a window: each English text half as long again, and English from
/// right to left.
inline constexpr std::string_view kLongLanguage = "x-long", kMirroredLanguage = "x-mirrored";
/// The one that a locale's name means ("de_AT.UTF-8", "zh-Hant-HK"); null where there is none.
const Language* FindLanguage(std::string_view locale);

/// The language of the process. Traditional Chinese until it is set; any other code changes
/// nothing. Both may be called by any thread.
void SetLanguage(std::string_view code);
const Language& CurrentLanguage();

/// Marks a text that is translated where it is shown.
constexpr const char16_t* TrLater(const char16_t* id) {
  return id;
}
constexpr const char* TrLater(const char* id) {
  return id;
}
/// Marks one of several meanings of a short text, for TrIn.
constexpr const char16_t* TrLaterIn(const char*, const char16_t* id) {
  return id;
}
/// Marks a text with a count in it, %1, for TrCount and Shown.
constexpr const char16_t* TrCountLater(const char16_t* id) {
  return id;
}

/// The text in the language of the process: in its catalogue, else in that of the language its
/// speakers read most likely, else the id itself. Lives as long as the process, or as `id`.
std::u16string_view Tr(std::u16string_view id);
const char* Tr(const char* id);
/// One of several meanings of a short text; `context` tells which, in English.
std::u16string_view TrIn(const char* context, std::u16string_view id);

/// A name that the program has given in the user's stead (marked with the context "name"), or one
/// made of such a name, in the language of the process; any other name as it is. For the screen
/// alone: what is kept, and asked for, is the name itself.
std::u16string ShownName(std::u16string_view name);

/// A text with a count in it, %1, in the form that the count asks for.
std::u16string TrCount(std::u16string_view id, std::uint64_t count);
std::string TrCount(const char* one, const char* many, std::uint64_t count);

/// The text with %1 … %9 replaced by the arguments, in any order; what there is no argument for
/// stays. An argument may hold such a mark itself.
std::u16string Fill(std::u16string_view text, std::initializer_list<std::u16string_view> arguments);
std::string Fill(std::string_view text, std::initializer_list<std::string_view> arguments);

/// A text that was composed in the source's language, as it is shown: an id, or one that Fill has
/// made of an id, or an id that ends with a colon and what follows it, or several of these with
/// commas between them, or lines of them. Arguments that are not in quotation marks are shown in
/// turn; numbers, sizes and date-times, too, and names as by ShownName. Where it cannot be told
/// with certainty which part is which argument, and for any other text, the text as it is.
std::u16string Shown(std::u16string_view text);

}  // namespace kavrel
