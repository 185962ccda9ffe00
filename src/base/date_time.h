// Local date-times with one-second resolution, and their text in the product's own locale
// (Traditional Chinese), the same on every platform.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace kavrel {

using DateTime = std::chrono::local_seconds;

/// 1899-12-30 00:00:00, "never".
inline constexpr DateTime kZeroDate =
    std::chrono::local_days{std::chrono::year{1899} / std::chrono::December / 30};

/// A date-time taken apart. `Weekday` counts 1 = Sunday to 7 = Saturday.
struct CivilTime {
  int Year, Month, Day, Hour, Minute, Second, Weekday;
};

CivilTime ToCivil(DateTime time);

/// The date-time of these parts; nothing when a part is out of its range (year 100 to 9999).
std::optional<DateTime> FromCivil(int year, int month, int day, int hour = 0, int minute = 0,
                                  int second = 0);

/// The date-time `months` calendar months later; a day beyond the end of the new month becomes
/// that month's last day.
DateTime AddMonths(DateTime time, int months);

/// General text: short date, a blank, long time ("2009/9/23 下午 03:04:05"); the date alone at
/// exactly midnight, the time alone on the zero date's day.
std::u16string DateTimeText(DateTime time);

/// Reads what DateTimeText writes, and beside it: "-", "." or 年月日 for "/", years of two digits
/// (1930 to 2029), a weekday in Chinese, which is not compared with the date, 24-hour and AM/PM
/// times, the designator before or after the time, times without seconds, an hour alone beside a
/// designator, a date or a time alone. Else the text is read as a day number (days since
/// 1899-12-30, fraction = time of day, rounded to the second). Nothing when it is neither, or lies
/// outside the years 100 to 9999.
std::optional<DateTime> ParseDateTime(std::u16string_view text);

/// The same with what the text names: without a date the day is the zero date's, without a time it
/// is midnight.
struct NamedDateTime {
  DateTime Time;
  bool HasDate, HasTime;
};
std::optional<NamedDateTime> ParseNamedDateTime(std::u16string_view text);

/// "2009-09-23 15:04:05", which sorts as text; `separator` stands between date and time.
std::u16string IsoText(DateTime time, char16_t separator = u' ');

/// "2009年09月23日15時04分05秒", the name part of a job log.
std::u16string LogFileStamp(DateTime time);

/// "2009年09月23日15時", the name part of an archive.
std::u16string ArchiveStamp(DateTime time);

/// "2009 年 09 月 23 日 - 下午 03 時 04 分 05 秒", as the banners of a job log show it.
std::u16string BannerTime(DateTime time);

/// 週日 … 週六 and 星期日 … 星期六 for weekday 1 … 7; 一月 … 十二月 for month 1 … 12.
std::u16string_view ShortWeekdayName(int weekday);
std::u16string_view WeekdayName(int weekday);
std::u16string_view MonthName(int month);

}  // namespace kavrel
