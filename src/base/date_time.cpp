#include "base/date_time.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"

namespace kavrel {

using namespace std::chrono;

namespace {

constexpr std::u16string_view kMorning = u"上午", kAfternoon = u"下午";

int TwelveHour(int hour) {
  return hour % 12 == 0 ? 12 : hour % 12;
}

std::u16string TwoDigits(int value) {
  return Decimal(value, 2);
}

/// The number at the front, 1 to `most` digits, taken off the text; nothing when there is none.
std::optional<int> TakeNumber(std::u16string_view& text, std::size_t most) {
  std::size_t digits = 0;
  int value = 0;
  while (digits < text.size() && text[digits] >= u'0' && text[digits] <= u'9') {
    if (++digits > most) return std::nullopt;
    value = value * 10 + (text[digits - 1] - u'0');
  }
  if (digits == 0) return std::nullopt;
  text.remove_prefix(digits);
  return value;
}

bool TakeOneOf(std::u16string_view& text, std::u16string_view characters) {
  if (text.empty() || characters.find(text[0]) == characters.npos) return false;
  text.remove_prefix(1);
  return true;
}

/// y/m/d, y-m-d or y.m.d. Two digits of a year are one of 1930 to 2029.
bool ReadDate(std::u16string_view text, CivilTime& t) {
  const std::size_t digits = std::min(text.find_first_not_of(u"0123456789"), text.size());
  const char16_t separator = digits < text.size() ? text[digits] : u'/';
  if (std::u16string_view(u"/-.").find(separator) == std::u16string_view::npos) return false;
  auto year = TakeNumber(text, 4);
  if (year && digits <= 2) *year += *year < 30 ? 2000 : 1900;
  if (!year || !TakeOneOf(text, std::u16string_view(&separator, 1))) return false;
  const auto month = TakeNumber(text, 2);
  if (!month || !TakeOneOf(text, std::u16string_view(&separator, 1))) return false;
  const auto day = TakeNumber(text, 2);
  if (!day || !text.empty()) return false;
  t.Year = *year, t.Month = *month, t.Day = *day;
  return true;
}

/// h:m or h:m:s.
bool ReadTime(std::u16string_view text, CivilTime& t) {
  const auto hour = TakeNumber(text, 2);
  if (!hour || !TakeOneOf(text, u":")) return false;
  const auto minute = TakeNumber(text, 2);
  if (!minute) return false;
  std::optional<int> second = 0;
  if (TakeOneOf(text, u":")) second = TakeNumber(text, 2);
  if (!second || !text.empty()) return false;
  t.Hour = *hour, t.Minute = *minute, t.Second = *second;
  return true;
}

/// The hour beside a designator, as in "3 PM".
bool ReadHour(std::u16string_view text, CivilTime& t) {
  const auto hour = TakeNumber(text, 2);
  if (!hour || !text.empty()) return false;
  t.Hour = *hour;
  return true;
}

/// 0 for a morning designator, 1 for an afternoon one, nothing for any other word.
std::optional<int> ReadDesignator(std::u16string_view word) {
  if (word == kMorning || EqualNoCase(word, u"am")) return 0;
  if (word == kAfternoon || EqualNoCase(word, u"pm")) return 1;
  return std::nullopt;
}

bool IsDigit(char16_t c) {
  return c >= u'0' && c <= u'9';
}

/// 星期三, 週三 or 三, in brackets or not.
bool IsWeekday(std::u16string_view word) {
  if (word.size() > 2 && word.front() == u'(' && word.back() == u')') {
    word = word.substr(1, word.size() - 2);
  } else if (word.size() < 2) {
    return false;
  }
  for (int day = 1; day <= 7; ++day) {
    if (word == WeekdayName(day) || word == ShortWeekdayName(day) ||
        word == ShortWeekdayName(day).substr(1)) {
      return true;
    }
  }
  return false;
}

/// With 年 and 月 between numbers as "/", and 日 behind one as a blank.
std::u16string WithPlainSeparators(std::u16string_view text) {
  std::u16string plain(text);
  for (std::size_t i = 1; i < plain.size(); ++i) {
    if (!IsDigit(plain[i - 1])) continue;
    const bool number_follows = i + 1 < plain.size() && IsDigit(plain[i + 1]);
    if ((plain[i] == u'年' || plain[i] == u'月') && number_follows) plain[i] = u'/';
    if (plain[i] == u'日') plain[i] = u' ';
  }
  return plain;
}

/// The words of a date-time; a designator that touches a time counts as a word of its own.
std::vector<std::u16string_view> Words(std::u16string_view text) {
  std::vector<std::u16string_view> words;
  const auto is_number = [](char16_t c) {
    return IsDigit(c) || c == u':' || c == u'/' || c == u'-' || c == u'.';
  };
  std::size_t start = 0;
  for (std::size_t i = 0; i <= text.size() && words.size() < 5; ++i) {
    const bool blank = i == text.size() || text[i] == u' ' || text[i] == u'T';
    const bool breaks = blank || (i > start && is_number(text[i]) != is_number(text[i - 1]));
    if (!breaks) continue;
    if (i > start) words.push_back(text.substr(start, i - start));
    start = blank ? i + 1 : i;
  }
  return words;
}

std::optional<NamedDateTime> ReadWords(std::u16string_view text) {
  CivilTime t{1899, 12, 30, 0, 0, 0, 0};
  bool has_date = false, has_time = false, has_hour = false, has_weekday = false;
  std::optional<int> afternoon;
  for (const std::u16string_view word : Words(text)) {
    if (!has_date && !has_time && ReadDate(word, t)) {
      has_date = true;
    } else if (!has_time && ReadTime(word, t)) {
      has_time = true;
    } else if (!has_time && ReadHour(word, t)) {
      has_time = has_hour = true;
    } else if (!afternoon && (afternoon = ReadDesignator(word))) {
      continue;
    } else if (has_date && !has_weekday && IsWeekday(word)) {
      has_weekday = true;
    } else {
      return std::nullopt;
    }
  }
  if ((!has_date && !has_time) || (afternoon && !has_time) || (has_hour && !afternoon)) {
    return std::nullopt;
  }
  if (afternoon) {
    if (t.Hour > 12) {
      // Some systems write the designator beside a 24-hour time.
      if (*afternoon == 0) return std::nullopt;
    } else {
      t.Hour = t.Hour % 12 + 12 * *afternoon;
    }
  }
  const auto time = FromCivil(t.Year, t.Month, t.Day, t.Hour, t.Minute, t.Second);
  if (!time) return std::nullopt;
  return NamedDateTime{*time, has_date, has_time};
}

/// Days since the zero date. In a negative number the fraction still counts forward from midnight.
std::optional<DateTime> ReadDayNumber(std::u16string_view text) {
  const std::optional<double> number = ParseNumber(text);
  if (!number || std::abs(*number) > 3e6) return std::nullopt;
  const double whole = std::trunc(*number);
  const DateTime time = kZeroDate + days(static_cast<int>(whole)) +
                        seconds(std::llround(std::abs(*number - whole) * 86400));
  const CivilTime t = ToCivil(time);
  if (t.Year < 100 || t.Year > 9999) return std::nullopt;
  return time;
}

}  // namespace

CivilTime ToCivil(DateTime time) {
  const local_days day = floor<days>(time);
  const year_month_day date{day};
  const hh_mm_ss clock{time - day};
  return {static_cast<int>(date.year()),
          static_cast<int>(static_cast<unsigned>(date.month())),
          static_cast<int>(static_cast<unsigned>(date.day())),
          static_cast<int>(clock.hours().count()),
          static_cast<int>(clock.minutes().count()),
          static_cast<int>(clock.seconds().count()),
          static_cast<int>(weekday{day}.c_encoding()) + 1};
}

std::optional<DateTime> FromCivil(int y, int m, int d, int hour, int minute, int second) {
  if (y < 100 || y > 9999 || m < 1 || m > 12 || d < 1 || d > 31 || hour < 0 || hour > 23 ||
      minute < 0 || minute > 59 || second < 0 || second > 59) {
    return std::nullopt;
  }
  const year_month_day date{year(y), month(static_cast<unsigned>(m)),
                            day(static_cast<unsigned>(d))};
  if (!date.ok()) return std::nullopt;
  return local_days{date} + hours(hour) + minutes(minute) + seconds(second);
}

DateTime AddMonths(DateTime time, int count) {
  const local_days midnight = floor<days>(time);
  const year_month_day from{midnight};
  year_month_day to = from + months(count);
  if (!to.ok()) to = to.year() / to.month() / last;
  return local_days{to} + (time - midnight);
}

std::u16string DateTimeText(DateTime time) {
  const CivilTime t = ToCivil(time);
  const std::u16string date = Decimal(t.Year) + u"/" + Decimal(t.Month) + u"/" + Decimal(t.Day);
  const local_days midnight = floor<days>(time);
  if (time == midnight && midnight != kZeroDate) return date;
  const std::u16string clock = std::u16string(t.Hour < 12 ? kMorning : kAfternoon) + u" " +
                               TwoDigits(TwelveHour(t.Hour)) + u":" + TwoDigits(t.Minute) + u":" +
                               TwoDigits(t.Second);
  return midnight == kZeroDate ? clock : date + u" " + clock;
}

std::optional<NamedDateTime> ParseNamedDateTime(std::u16string_view text) {
  text = Trim(text);
  if (const auto named = ReadWords(WithPlainSeparators(text))) return named;
  const std::optional<DateTime> time = ReadDayNumber(text);
  if (!time) return std::nullopt;
  return NamedDateTime{*time, true, true};
}

std::optional<DateTime> ParseDateTime(std::u16string_view text) {
  const std::optional<NamedDateTime> named = ParseNamedDateTime(text);
  return named ? std::optional(named->Time) : std::nullopt;
}

std::u16string ArchiveStamp(DateTime time) {
  const CivilTime t = ToCivil(time);
  return Decimal(t.Year, 4) + u"年" + TwoDigits(t.Month) + u"月" + TwoDigits(t.Day) + u"日" +
         TwoDigits(t.Hour) + u"時";
}

std::u16string IsoText(DateTime time, char16_t separator) {
  const CivilTime t = ToCivil(time);
  return Decimal(t.Year, 4) + u"-" + TwoDigits(t.Month) + u"-" + TwoDigits(t.Day) + separator +
         TwoDigits(t.Hour) + u":" + TwoDigits(t.Minute) + u":" + TwoDigits(t.Second);
}

std::u16string LogFileStamp(DateTime time) {
  const CivilTime t = ToCivil(time);
  return ArchiveStamp(time) + TwoDigits(t.Minute) + u"分" + TwoDigits(t.Second) + u"秒";
}

std::u16string BannerTime(DateTime time) {
  const CivilTime t = ToCivil(time);
  return Decimal(t.Year, 4) + u" 年 " + TwoDigits(t.Month) + u" 月 " + TwoDigits(t.Day) +
         u" 日 - " + std::u16string(t.Hour < 12 ? kMorning : kAfternoon) + u" " +
         TwoDigits(TwelveHour(t.Hour)) + u" 時 " + TwoDigits(t.Minute) + u" 分 " +
         TwoDigits(t.Second) + u" 秒";
}

std::u16string_view ShortWeekdayName(int weekday) {
  constexpr std::u16string_view kNames[] = {TrLater(u"週日"), TrLater(u"週一"), TrLater(u"週二"),
                                            TrLater(u"週三"), TrLater(u"週四"), TrLater(u"週五"),
                                            TrLater(u"週六")};
  return kNames[weekday - 1];
}

std::u16string_view WeekdayName(int weekday) {
  constexpr std::u16string_view kNames[] = {
      TrLater(u"星期日"), TrLater(u"星期一"), TrLater(u"星期二"), TrLater(u"星期三"),
      TrLater(u"星期四"), TrLater(u"星期五"), TrLater(u"星期六")};
  return kNames[weekday - 1];
}

std::u16string_view MonthName(int month) {
  constexpr std::u16string_view kNames[] = {
      TrLater(u"一月"), TrLater(u"二月"), TrLater(u"三月"),   TrLater(u"四月"),
      TrLater(u"五月"), TrLater(u"六月"), TrLater(u"七月"),   TrLater(u"八月"),
      TrLater(u"九月"), TrLater(u"十月"), TrLater(u"十一月"), TrLater(u"十二月")};
  return kNames[month - 1];
}

}  // namespace kavrel
