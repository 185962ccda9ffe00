#include "base/secret.h"
#include "base/text.h"
#include "platform/code_page.h"

namespace kavrel {

namespace {

constexpr std::string_view kMark = "\xEF\xBB\xBF", kLittleEndian = "\xFF\xFE",
                           kBigEndian = "\xFE\xFF";

/// UTF-16 behind its mark; a byte too much at the end is left out.
std::u16string DecodeUtf16(std::string_view bytes, bool little) {
  std::u16string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]),
               second = static_cast<unsigned char>(bytes[i + 1]);
    text += static_cast<char16_t>(little ? second << 8 | first : first << 8 | second);
  }
  return text;
}

/// Whether something of the text was no character in the form that it was read as.
bool HasStrayBytes(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool low = text[i] >= 0xDC80 && text[i] <= 0xDCFF;
    if (low && (i == 0 || text[i - 1] < 0xD800 || text[i - 1] > 0xDBFF)) return true;
  }
  return false;
}

std::u16string DecodeBytes(std::string_view bytes) {
  if (bytes.starts_with(kMark)) return FromUtf8(bytes.substr(kMark.size()));
  if (bytes.starts_with(kLittleEndian)) return DecodeUtf16(bytes.substr(2), true);
  if (bytes.starts_with(kBigEndian)) return DecodeUtf16(bytes.substr(2), false);
  std::u16string text = DecodeCodePage(bytes);
  if (!HasStrayBytes(text)) return text;
  std::u16string utf8 = FromUtf8(bytes);
  if (!HasStrayBytes(utf8)) std::swap(text, utf8);
  Wipe(utf8);
  return text;
}

}  // namespace

std::u16string DecodeTextFile(std::string_view bytes) {
  std::u16string text = DecodeBytes(bytes);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\r' && (i + 1 == text.size() || text[i + 1] != u'\n')) text[i] = u'\n';
  }
  return text;
}

std::string EncodeTextFile(std::u16string_view text) {
  std::optional<std::string> bytes = EncodeCodePage(text);
  // Code page text with stray bytes could be taken for one of the other forms.
  const bool ours = bytes && (!HasStrayBytes(text) || DecodeBytes(*bytes) == text);
  if (ours && !bytes->starts_with(kMark)) return std::move(*bytes);
  if (bytes) Wipe(*bytes);
  std::string utf8 = ToUtf8(text), marked(kMark);
  marked += utf8;
  Wipe(utf8);
  return marked;
}

}  // namespace kavrel
