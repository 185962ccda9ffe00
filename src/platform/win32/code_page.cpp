#include "platform/code_page.h"

#include <array>

#include "platform/win32/native.h"

namespace kavrel {

namespace {

constexpr UINT kCodePage = 950;

bool IsLead(unsigned char byte) {
  return byte >= 0x81 && byte <= 0xFE;
}

/// The character of each pair of bytes that is one, 0 for the rest. The system is asked once: a
/// call for each character of a text would take longer than everything else.
class PairTable {
 public:
  PairTable() {
    for (unsigned lead = 0x81; lead <= 0xFE; ++lead) {
      for (unsigned trail = 0x40; trail <= 0xFE; ++trail) {
        const char bytes[] = {static_cast<char>(lead), static_cast<char>(trail)};
        wchar_t character[4];
        const int length =
            MultiByteToWideChar(kCodePage, MB_ERR_INVALID_CHARS, bytes, 2, character, 4);
        if (length == 1) table_[lead << 8 | trail] = static_cast<char16_t>(character[0]);
      }
    }
  }

  char16_t Of(unsigned char lead, unsigned char trail) const {
    return table_[static_cast<std::size_t>(lead) << 8 | trail];
  }

 private:
  std::array<char16_t, 65536> table_{};
};

const PairTable& Pairs() {
  static const PairTable table;
  return table;
}

bool IsStrayByte(char16_t c) {
  return c >= 0xDC80 && c <= 0xDCFF;
}

/// Appends the code of a character; false when it has none that means exactly this character.
bool AppendCode(char16_t c, std::string& bytes) {
  if (c < 0x80 || IsStrayByte(c)) {
    bytes += static_cast<char>(c & 0xFF);
    return true;
  }
  const auto wide = static_cast<wchar_t>(c);
  char code[4];
  BOOL replaced = FALSE;
  const int length =
      WideCharToMultiByte(kCodePage, WC_NO_BEST_FIT_CHARS, &wide, 1, code, 4, nullptr, &replaced);
  if (length != 2 || replaced) return false;
  if (Pairs().Of(static_cast<unsigned char>(code[0]), static_cast<unsigned char>(code[1])) != c) {
    return false;
  }
  bytes.append(code, 2);
  return true;
}

}  // namespace

std::u16string DecodeCodePage(std::string_view bytes) {
  std::u16string text;
  text.reserve(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (byte < 0x80) {
      text += static_cast<char16_t>(byte);
      continue;
    }
    const bool pair = IsLead(byte) && i + 1 < bytes.size();
    const char16_t c = pair ? Pairs().Of(byte, static_cast<unsigned char>(bytes[i + 1])) : u'\0';
    // What is no character here stays the byte it is.
    text += c ? c : static_cast<char16_t>(0xDC00 + byte);
    if (c) ++i;
  }
  return text;
}

std::optional<std::string> EncodeCodePage(std::u16string_view text) {
  std::string bytes;
  bytes.reserve(2 * text.size());
  bool stray = false;
  for (const char16_t c : text) {
    stray = stray || IsStrayByte(c);
    if (!AppendCode(c, bytes)) return std::nullopt;
  }
  // Stray bytes may have met what makes characters of them. Everything else comes back.
  if (stray && DecodeCodePage(bytes) != text) return std::nullopt;
  return bytes;
}

}  // namespace kavrel
