#include "app/shown_log.h"

#include <vector>

#include "base/date_time.h"
#include "base/screen_format.h"
#include "base/translation.h"

namespace kavrel {

namespace {

/// The numbers in the text, one behind the other.
std::vector<int> NumbersIn(std::u16string_view text) {
  std::vector<int> numbers;
  bool before = false;
  for (const char16_t c : text) {
    const bool digit = c >= u'0' && c <= u'9';
    if (digit && !before) numbers.push_back(0);
    if (digit && numbers.back() < 100000) numbers.back() = numbers.back() * 10 + (c - u'0');
    before = digit;
  }
  return numbers;
}

/// A log begins and ends with such a line: when, between rows of "#".
std::optional<std::u16string> ShownBanner(std::u16string_view line) {
  const std::size_t begin = line.find(u" - "), end = line.rfind(u" - ");
  if (!line.starts_with(u"###") || begin == line.npos || end <= begin) return std::nullopt;
  const std::u16string_view inner = line.substr(begin + 3, end - begin - 3);
  const std::size_t colon = inner.find(u'：');
  if (colon == inner.npos) return std::nullopt;
  const std::u16string_view label = inner.substr(0, colon + 1), when = inner.substr(colon + 1);
  const std::vector<int> n = NumbersIn(when);
  if (n.size() != 6) return std::nullopt;
  for (const int half : {0, 12}) {
    const auto time = FromCivil(n[0], n[1], n[2], n[3] % 12 + half, n[4], n[5]);
    if (!time || BannerTime(*time) != when) continue;
    return std::u16string(line.substr(0, begin + 3)) + std::u16string(Tr(label)) +
           ScreenDateTime(*time) + std::u16string(line.substr(end));
  }
  return std::nullopt;
}

}  // namespace

std::u16string ShownLogLine(std::u16string_view line) {
  // The source speaks it.
  if (&CurrentLanguage() == &Languages().front()) return std::u16string(line);
  if (const std::optional<std::u16string> banner = ShownBanner(line)) return *banner;
  const std::size_t colon = line.find(u": ");
  const std::optional<DateTime> time =
      colon == line.npos ? std::nullopt : ParseDateTime(line.substr(0, colon));
  if (time && DateTimeText(*time) == line.substr(0, colon)) {
    return ScreenDateTime(*time) + Shown(line.substr(colon));
  }
  return Shown(line);
}

}  // namespace kavrel
