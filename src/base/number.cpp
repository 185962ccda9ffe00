#include "base/number.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>

#include "base/text.h"

namespace kavrel {

namespace {

/// Digits of ASCII with a comma between each group of three, counted from the right.
std::u16string Group(std::string_view digits) {
  std::u16string text;
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) text += u',';
    text += static_cast<char16_t>(digits[i]);
  }
  return text;
}

/// The trimmed text as ASCII without a leading "+"; empty when it is not plain ASCII.
std::string NumberText(std::u16string_view text) {
  text = Trim(text);
  if (text.starts_with(u'+') && text.size() > 1 && text[1] != u'-') text.remove_prefix(1);
  std::string plain;
  for (const char16_t c : text) {
    if (c >= 0x80) return {};
    plain += static_cast<char>(c);
  }
  return plain;
}

}  // namespace

std::u16string Decimal(std::int64_t value, int min_digits) {
  char digits[24];
  const bool negative = value < 0;
  const char* end = std::to_chars(digits, std::end(digits), value).ptr;
  const char* begin = digits + (negative ? 1 : 0);
  std::u16string text(negative ? u"-" : u"");
  for (auto missing = min_digits - (end - begin); missing > 0; --missing) text += u'0';
  return text.append(begin, end);
}

std::u16string Grouped(std::uint64_t value) {
  return Group(std::to_string(value));
}

std::u16string GroupedFixed(double value, int decimals) {
  // Halves away from zero, as people round; printf would take the even neighbour.
  const double scale = std::pow(10.0, decimals);
  const double rounded = std::abs(value) < 1e15 / scale ? std::round(value * scale) / scale : value;
  char buffer[400];
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, std::abs(rounded));
  const std::string_view digits = buffer;
  const std::size_t point = digits.find('.');
  std::u16string text = rounded < 0 ? u"-" : u"";
  text += Group(digits.substr(0, point));
  if (point != digits.npos) text += FromUtf8(digits.substr(point));
  return text;
}

std::optional<std::int32_t> ParseInt(std::u16string_view text) {
  const std::string plain = NumberText(text);
  std::int32_t value = 0;
  const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
  if (plain.empty() || error != std::errc() || end != plain.data() + plain.size()) {
    return std::nullopt;
  }
  return value;
}

std::optional<double> ParseNumber(std::u16string_view text) {
  const std::string plain = NumberText(text);
  // from_chars would read "inf" and "nan", too.
  if (plain.empty() || plain.find_first_not_of("0123456789+-.eE") != plain.npos) {
    return std::nullopt;
  }
  double value = 0;
  const auto [end, error] = std::from_chars(plain.data(), plain.data() + plain.size(), value);
  if (error != std::errc() || end != plain.data() + plain.size()) return std::nullopt;
  return value;
}

std::optional<bool> ParseBool(std::u16string_view text) {
  text = Trim(text);
  if (EqualNoCase(text, u"true")) return true;
  if (EqualNoCase(text, u"false")) return false;
  if (const std::optional<double> number = ParseNumber(text)) return *number != 0;
  return std::nullopt;
}

}  // namespace kavrel
