#include "base/screen_format.h"

#include <algorithm>

#include "base/number.h"
#include "base/translation.h"

namespace kavrel {

namespace {

/// How a language writes numbers and dates. In Date and Time stand y, m, d for the parts, doubled
/// for two digits, and H, M, S for those of 24 hours.
struct Format {
  std::string_view Code;
  char16_t Thousands, Point;
  std::u16string_view Date, Time;
  bool Monday;
};

constexpr Format kFormats[] = {
    {"zh_TW", u',', u'.', u"y/m/d", u"", false},
    {"en", u',', u'.', u"y-mm-dd", u"HH:MM:SS", false},
    {"zh_CN", u',', u'.', u"y/m/d", u"HH:MM:SS", true},
    {"ja", u',', u'.', u"y/mm/dd", u"HH:MM:SS", false},
    {"de", u'.', u',', u"dd.mm.y", u"HH:MM:SS", true},
    // A narrow blank that no line breaks at.
    {"fr", u'\u202F', u',', u"dd/mm/y", u"HH:MM:SS", true},
    {"es", u'.', u',', u"d/m/y", u"HH:MM:SS", true},
};

const Format& Current() {
  const auto found = std::ranges::find(kFormats, CurrentLanguage().Code, &Format::Code);
  return found == std::end(kFormats) ? kFormats[0] : *found;
}

/// What a letter of a pattern stands for; nothing for any other character.
std::optional<int> PartOf(char16_t letter, const CivilTime& time) {
  switch (letter) {
    case u'y':
      return time.Year;
    case u'm':
      return time.Month;
    case u'd':
      return time.Day;
    case u'H':
      return time.Hour;
    case u'M':
      return time.Minute;
    case u'S':
      return time.Second;
    default:
      return std::nullopt;
  }
}

std::u16string Written(std::u16string_view pattern, const CivilTime& time) {
  std::u16string text;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char16_t letter = pattern[i];
    const std::size_t from = i;
    while (i + 1 < pattern.size() && pattern[i + 1] == letter) ++i;
    const int digits = letter == u'y' ? 4 : static_cast<int>(i - from + 1);
    if (const std::optional<int> part = PartOf(letter, time)) {
      text += Decimal(*part, digits);
    } else {
      text += letter;
    }
  }
  return text;
}

}  // namespace

std::u16string ScreenDateTime(DateTime time) {
  const Format& format = Current();
  if (format.Time.empty()) return DateTimeText(time);
  const CivilTime parts = ToCivil(time);
  const CivilTime zero = ToCivil(kZeroDate);
  const bool midnight = parts.Hour == 0 && parts.Minute == 0 && parts.Second == 0;
  const bool zero_day =
      parts.Year == zero.Year && parts.Month == zero.Month && parts.Day == zero.Day;
  if (zero_day) return Written(format.Time, parts);
  const std::u16string date = Written(format.Date, parts);
  return midnight ? date : date + u" " + Written(format.Time, parts);
}

std::u16string ScreenDateOrNothing(DateTime time) {
  return time == kZeroDate ? std::u16string() : ScreenDateTime(time);
}

std::u16string ScreenNumber(std::uint64_t value) {
  return *ScreenNumberOf(Grouped(value));
}

std::optional<std::u16string> ScreenNumberOf(std::u16string_view text) {
  const Format& format = Current();
  std::u16string shown;
  bool digit = false, point = false;
  for (const char16_t c : text) {
    if (c >= u'0' && c <= u'9') {
      shown += c;
      digit = true;
      continue;
    }
    // Separators stand behind digits, no two beside each other.
    if (!digit || point || (c != u',' && c != u'.')) return std::nullopt;
    point = c == u'.';
    digit = false;
    shown += point ? format.Point : format.Thousands;
  }
  if (!digit) return std::nullopt;
  return shown;
}

bool ShowsHalfDays() {
  return Current().Time.empty();
}

bool WeekBeginsOnMonday() {
  return Current().Monday;
}

}  // namespace kavrel
