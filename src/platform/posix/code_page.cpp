#include "platform/code_page.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "base/secret.h"
#include "base/text.h"

namespace kavrel {

namespace {

/// One direction of the C library's conversion; unusable when it does not know the code page.
class Converter {
 public:
  Converter(const char* to, const char* from) : state_(iconv_open(to, from)) {
    // Without memory for its tables the library says that it does not know the code page. What was
    // read or written as if it were so would stay garbled.
    constexpr std::size_t kTables = std::size_t{8} << 20;
    if (!Usable()) ::operator delete(::operator new(kTables));
  }
  ~Converter() {
    if (Usable()) iconv_close(state_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  bool Usable() const { return state_ != reinterpret_cast<iconv_t>(-1); }

  /// Converts from the front until the end or the first byte that cannot be; what was converted is
  /// taken off `in` and appended to `out`. True at the end.
  bool Convert(std::string_view& in, std::string& out) {
    iconv(state_, nullptr, nullptr, nullptr, nullptr);
    for (;;) {
      char buffer[4096];
      char* from = const_cast<char*>(in.data());
      char* to = buffer;
      std::size_t from_left = in.size(), to_left = sizeof buffer;
      const std::size_t done = iconv(state_, &from, &from_left, &to, &to_left);
      const int error = errno;
      out.append(buffer, to);
      in.remove_prefix(in.size() - from_left);
      if (done != static_cast<std::size_t>(-1)) return in.empty();
      if (error != E2BIG) return false;
    }
  }

 private:
  iconv_t state_;
};

/// How many ASCII characters a text starts with: they are the same in either form, and most of it.
template <typename Text>
std::size_t AsciiLength(const Text& text) {
  const auto end = std::find_if(text.begin(), text.end(), [](auto c) { return (c & ~0x7F) != 0; });
  return static_cast<std::size_t>(end - text.begin());
}

/// Appends characters that are the same in either form, with no copy of them in between.
template <typename Text, typename Ascii>
void AppendAscii(Text& text, const Ascii& ascii) {
  const std::size_t at = text.size();
  text.resize(at + ascii.size());
  std::copy(ascii.begin(), ascii.end(), text.begin() + static_cast<std::ptrdiff_t>(at));
}

/// How many bytes the characters of two bytes take that a text starts with; of many, some.
std::size_t PairsLength(std::string_view bytes) {
  std::size_t length = 0;
  constexpr std::size_t kMost = 64;
  while (length < std::min(bytes.size(), kMost) && (bytes[length] & 0x80) != 0) length += 2;
  return std::min(length, bytes.size());
}

bool IsStrayByte(char16_t c) {
  return c >= 0xDC80 && c <= 0xDCFF;
}

/// Four box-drawing characters have two codes each. Windows writes this one, the C library the
/// other. Empty for every other character.
std::string_view WindowsCode(char16_t c) {
  switch (c) {
    case u'═':
      return "\xF9\xF9";
    case u'╞':
      return "\xF9\xE9";
    case u'╡':
      return "\xF9\xEB";
    case u'╪':
      return "\xF9\xEA";
    default:
      return {};
  }
}

/// A character that is left to the converter.
bool IsForConverter(char16_t c) {
  return c > 0x7F && !IsStrayByte(c) && WindowsCode(c).empty();
}

}  // namespace

std::u16string DecodeCodePage(std::string_view bytes) {
  if (AsciiLength(bytes) == bytes.size()) return {bytes.begin(), bytes.end()};
  Converter converter("UTF-8", "CP950");
  // A store holds passwords, so whatever its text passes through is wiped, and does not grow.
  std::u16string text;
  text.reserve(bytes.size());
  std::string utf8;
  utf8.reserve(2 * bytes.size());
  while (!bytes.empty()) {
    const std::size_t same = AsciiLength(bytes);
    AppendAscii(text, bytes.substr(0, same));
    bytes.remove_prefix(same);
    std::string_view pairs = bytes.substr(0, PairsLength(bytes));
    bytes.remove_prefix(pairs.size());
    if (converter.Usable()) converter.Convert(pairs, utf8);
    std::u16string piece = FromUtf8(utf8);
    text += piece;
    Wipe(piece);
    utf8.clear();
    if (pairs.empty()) continue;
    // What is no character here stays the byte it is; what follows it is looked at anew.
    text += static_cast<char16_t>(0xDC00 + static_cast<unsigned char>(pairs[0]));
    bytes = {pairs.data() + 1, bytes.data() + bytes.size()};
  }
  Wipe(utf8);
  return text;
}

std::optional<std::string> EncodeCodePage(std::u16string_view text) {
  if (AsciiLength(text) == text.size()) return std::string(text.begin(), text.end());
  Converter converter("CP950", "UTF-8");
  std::string bytes;
  bytes.reserve(2 * text.size());
  for (std::u16string_view rest = text; !rest.empty();) {
    const char16_t first = rest[0];
    std::size_t length = 1;
    if (const std::size_t same = AsciiLength(rest); same > 0) {
      AppendAscii(bytes, rest.substr(0, same));
      length = same;
    } else if (IsStrayByte(first)) {
      // One by one: side by side, stray bytes could read as a character of UTF-8.
      bytes += static_cast<char>(first - 0xDC00);
    } else if (const std::string_view code = WindowsCode(first); !code.empty()) {
      bytes += code;
    } else {
      while (length < rest.size() && IsForConverter(rest[length])) ++length;
      std::string utf8 = ToUtf8(rest.substr(0, length));
      std::string_view left = utf8;
      const bool done = converter.Usable() && converter.Convert(left, bytes);
      Wipe(utf8);
      if (!done) {
        Wipe(bytes);
        return std::nullopt;
      }
    }
    rest.remove_prefix(length);
  }
  // Stray bytes may have met what makes characters of them. Everything else comes back.
  if (std::any_of(text.begin(), text.end(), IsStrayByte) && DecodeCodePage(bytes) != text) {
    return std::nullopt;
  }
  return bytes;
}

}  // namespace kavrel
