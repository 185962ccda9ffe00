#include "base/text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "base/utf8.h"

namespace kavrel {

namespace {

/// Every `Step`-th character from First to Last has its lower case `Distance` further on.
struct CaseRange {
  char16_t First, Last;
  std::uint8_t Step;
  std::int32_t Distance;
};

constexpr CaseRange kCaseRanges[] = {
#include "base/case_table.inc"
};

/// The length of the well-formed UTF-8 character at the front, which is not ASCII; 0 when there is
/// none. Its code point goes to `code`.
std::size_t DecodeCharacter(std::string_view bytes, char32_t& code) {
  const auto at = [&](std::size_t i) -> unsigned {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0;
  };
  const auto follows = [&](std::size_t i, unsigned low = 0x80, unsigned high = 0xBF) {
    return at(i) >= low && at(i) <= high;
  };
  const unsigned lead = at(0);
  if (lead >= 0xC2 && lead <= 0xDF) {
    if (!follows(1)) return 0;
    code = (lead & 0x1FU) << 6 | (at(1) & 0x3FU);
    return 2;
  }
  if (lead >= 0xE0 && lead <= 0xEF) {
    // The second byte's bounds keep out overlong forms and surrogates.
    if (!follows(1, lead == 0xE0 ? 0xA0 : 0x80, lead == 0xED ? 0x9F : 0xBF) || !follows(2))
      return 0;
    code = (lead & 0x0FU) << 12 | (at(1) & 0x3FU) << 6 | (at(2) & 0x3FU);
    return 3;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    if (!follows(1, lead == 0xF0 ? 0x90 : 0x80, lead == 0xF4 ? 0x8F : 0xBF) || !follows(2) ||
        !follows(3)) {
      return 0;
    }
    code = (lead & 0x07U) << 18 | (at(1) & 0x3FU) << 12 | (at(2) & 0x3FU) << 6 | (at(3) & 0x3FU);
    return 4;
  }
  return 0;
}

/// Writes the character, up to four bytes, and returns what is behind it.
inline char* PutCharacter(char* out, char32_t code) {
  if (code < 0x80) {
    *out++ = static_cast<char>(code);
    return out;
  }
  if (code < 0x800) {
    *out++ = static_cast<char>(0xC0 | code >> 6);
  } else {
    if (code < 0x10000) {
      *out++ = static_cast<char>(0xE0 | code >> 12);
    } else {
      *out++ = static_cast<char>(0xF0 | code >> 18);
      *out++ = static_cast<char>(0x80 | (code >> 12 & 0x3F));
    }
    *out++ = static_cast<char>(0x80 | (code >> 6 & 0x3F));
  }
  *out++ = static_cast<char>(0x80 | (code & 0x3F));
  return out;
}

bool IsHigh(char16_t c) {
  return c >= 0xD800 && c <= 0xDBFF;
}

bool IsLow(char16_t c) {
  return c >= 0xDC00 && c <= 0xDFFF;
}

}  // namespace

// Both are called for each name of a run, so they write into what is long enough in any case.
std::u16string FromUtf8(std::string_view bytes) {
  std::u16string text(bytes.size(), u'\0');
  char16_t* out = text.data();
  while (!bytes.empty()) {
    const auto byte = static_cast<unsigned char>(bytes[0]);
    char32_t code = 0;
    std::size_t length = 1;
    if (byte < 0x80) {
      *out++ = static_cast<char16_t>(byte);
    } else if (std::size_t decoded = DecodeCharacter(bytes, code)) {
      length = decoded;
      if (code < 0x10000) {
        *out++ = static_cast<char16_t>(code);
      } else {
        *out++ = static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
        *out++ = static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
      }
    } else {
      *out++ = static_cast<char16_t>(0xDC00 + byte);
    }
    bytes.remove_prefix(length);
  }
  text.resize(static_cast<std::size_t>(out - text.data()));
  return text;
}

void PutUtf8(std::u16string_view text, std::string& bytes) {
  bytes.resize(3 * text.size());
  char* out = bytes.data();
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c < 0xD800 || c > 0xDFFF) {
      out = PutCharacter(out, c);
    } else if (IsHigh(c) && i + 1 < text.size() && IsLow(text[i + 1])) {
      const char32_t code = 0x10000 + ((c - 0xD800U) << 10) + (text[++i] - 0xDC00U);
      out = PutCharacter(out, code);
    } else if (c >= 0xDC80 && c <= 0xDCFF) {
      *out++ = static_cast<char>(c - 0xDC00);
    } else {
      out = PutCharacter(out, 0xFFFD);
    }
  }
  bytes.resize(static_cast<std::size_t>(out - bytes.data()));
}

std::string ToUtf8(std::u16string_view text) {
  std::string bytes;
  PutUtf8(text, bytes);
  return bytes;
}

bool IsWellFormed(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (IsLow(text[i])) return false;
    if (IsHigh(text[i]) && (++i == text.size() || !IsLow(text[i]))) return false;
  }
  return true;
}

namespace {

/// No letter of these has a case; most names in East Asia are written with them.
constexpr char16_t kFirstPlain = 0x2E80, kLastPlain = 0xA63F;
static_assert(std::none_of(std::begin(kCaseRanges), std::end(kCaseRanges), [](const CaseRange& r) {
  return r.Last >= kFirstPlain && r.First <= kLastPlain;
}));

}  // namespace

char16_t ToLower(char16_t c) {
  if (c >= kFirstPlain && c <= kLastPlain) return c;
  if (c < 0x80) return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
  const CaseRange* range =
      std::lower_bound(std::begin(kCaseRanges), std::end(kCaseRanges), c,
                       [](const CaseRange& r, char16_t value) { return r.Last < value; });
  if (range == std::end(kCaseRanges) || c < range->First || (c - range->First) % range->Step) {
    return c;
  }
  return static_cast<char16_t>(c + range->Distance);
}

std::u16string ToLower(std::u16string_view text) {
  std::u16string lower(text);
  for (char16_t& c : lower) c = ToLower(c);
  return lower;
}

bool EqualNoCase(std::u16string_view a, std::u16string_view b) {
  return a.size() == b.size() && StartsWithNoCase(a, b);
}

bool StartsWithNoCase(std::u16string_view text, std::u16string_view prefix) {
  if (text.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (text[i] != prefix[i] && ToLower(text[i]) != ToLower(prefix[i])) return false;
  }
  return true;
}

bool EndsWithNoCase(std::u16string_view text, std::u16string_view ending) {
  return text.size() >= ending.size() &&
         StartsWithNoCase(text.substr(text.size() - ending.size()), ending);
}

std::u16string EscapeOctal(std::u16string_view text) {
  std::u16string field;
  for (const char16_t c : text) {
    if (c >= u' ' && c != u'\\') {
      field += c;
      continue;
    }
    field += u'\\';
    for (const int shift : {6, 3, 0}) field += static_cast<char16_t>(u'0' + ((c >> shift) & 7));
  }
  return field;
}

std::u16string UnescapeOctal(std::u16string_view field) {
  const auto digit = [&](std::size_t at) { return at < field.size() ? field[at] - u'0' : -1; };
  std::u16string text;
  for (std::size_t i = 0; i < field.size(); ++i) {
    const int value = digit(i + 1) * 64 + digit(i + 2) * 8 + digit(i + 3);
    const bool escaped = field[i] == u'\\' && digit(i + 1) >= 0 && digit(i + 1) <= 1 &&
                         digit(i + 2) >= 0 && digit(i + 2) <= 7 && digit(i + 3) >= 0 &&
                         digit(i + 3) <= 7;
    text += escaped ? static_cast<char16_t>(value) : field[i];
    if (escaped) i += 3;
  }
  return text;
}

std::u16string_view Trim(std::u16string_view text) {
  const std::size_t first = text.find_first_not_of(u' ');
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(u' ') - first + 1);
}

std::vector<std::u16string_view> Split(std::u16string_view text, char16_t separator) {
  std::vector<std::u16string_view> pieces;
  for (;;) {
    const std::size_t found = text.find(separator);
    pieces.push_back(text.substr(0, found));
    if (found == text.npos) return pieces;
    text.remove_prefix(found + 1);
  }
}

std::u16string ReplaceAll(std::u16string_view text, std::u16string_view what,
                          std::u16string_view with) {
  std::u16string result;
  for (;;) {
    const std::size_t found = text.find(what);
    result += text.substr(0, found);
    if (found == text.npos) return result;
    result += with;
    text.remove_prefix(found + what.size());
  }
}

}  // namespace kavrel
