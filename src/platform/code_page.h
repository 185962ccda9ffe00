// Text files of the program are code page 950 text, byte for byte what a Windows installation
// writes and reads; where that code page would lose a character, UTF-8 with a byte-order mark.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kavrel {

/// Code page 950 bytes to UTF-16. A byte that is no part of a character becomes U+DC80-U+DCFF (as
/// in FromUtf8), so that writing the text gives the same byte again.
std::u16string DecodeCodePage(std::string_view bytes);

/// UTF-16 to code page 950; nothing unless DecodeCodePage gives exactly `text` back.
std::optional<std::string> EncodeCodePage(std::u16string_view text);

/// The text of a whole file: UTF-8 or UTF-16 when it begins with a byte-order mark (dropped), else
/// code page 950; where that does not fit and UTF-8 does, that. A lone CR reads as a line feed.
std::u16string DecodeTextFile(std::string_view bytes);

/// The bytes of a whole file: code page 950 where it holds every character, else EF BB BF + UTF-8.
std::string EncodeTextFile(std::u16string_view text);

}  // namespace kavrel
