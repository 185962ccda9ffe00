// Text in memory is UTF-16; this room converts it at the edges and holds the few text operations
// that every other folder needs. Pure functions, no locale, no I/O.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

/// UTF-8 bytes to UTF-16. Every byte that is no part of valid UTF-8 (0x80-0xFF) becomes the lone
/// surrogate U+DC80-U+DCFF, so that ToUtf8 gives the same bytes back: file names survive.
std::u16string FromUtf8(std::string_view bytes);

/// UTF-16 to UTF-8. U+DC80-U+DCFF standing alone become the raw bytes 0x80-0xFF; any other lone
/// surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

/// False when the text holds a lone surrogate: a byte that was no text, say.
bool IsWellFormed(std::u16string_view text);

/// Lower case by Unicode's simple one-to-one mappings of the basic plane, independent of locale.
char16_t ToLower(char16_t c);
std::u16string ToLower(std::u16string_view text);

/// True when both are equal without regard to letter case.
bool EqualNoCase(std::u16string_view a, std::u16string_view b);
bool StartsWithNoCase(std::u16string_view text, std::u16string_view prefix);
bool EndsWithNoCase(std::u16string_view text, std::u16string_view ending);

/// Control characters and "\" as "\" and three octal digits, so that a text is one field of a line,
/// as the system's table of mounts has them, too.
std::u16string EscapeOctal(std::u16string_view text);
/// The text of such a field; escapes up to \177 count, what is none stays as it is.
std::u16string UnescapeOctal(std::u16string_view field);

/// Without the blanks (U+0020 only) at both ends.
std::u16string_view Trim(std::u16string_view text);

/// The pieces between separators; n separators give n + 1 pieces, empty ones included.
std::vector<std::u16string_view> Split(std::u16string_view text, char16_t separator);

/// Every occurrence of `what` (not empty), found from left to right, replaced by `with`.
std::u16string ReplaceAll(std::u16string_view text, std::u16string_view what,
                          std::u16string_view with);

}  // namespace kavrel
