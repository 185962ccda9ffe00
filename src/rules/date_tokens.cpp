#include "rules/date_tokens.h"

#include "base/number.h"
#include "base/text.h"
#include "files/path.h"
#include "platform/clock.h"

namespace kavrel {

namespace {

std::u16string ReplaceNoCase(std::u16string_view text, std::u16string_view what,
                             std::u16string_view with) {
  std::u16string result;
  while (!text.empty()) {
    if (StartsWithNoCase(text, what)) {
      result += with;
      text.remove_prefix(what.size());
    } else {
      result += text[0];
      text.remove_prefix(1);
    }
  }
  return result;
}

/// The words of a tag in the order in which they are replaced: longer ones first, so that they are
/// not broken up. Names go in last, through placeholders, so that their letters stay theirs.
std::u16string ExpandTag(std::u16string tag, DateTime now) {
  const CivilTime t = ToCivil(now);
  const auto year_begin = *FromCivil(t.Year, 1, 1);
  const int doy =
      static_cast<int>(std::chrono::floor<std::chrono::days>(now - year_begin).count()) + 1;
  const int woy = (doy - 1) / 7 + 1, wom = (t.Day - 1) / 7 + 1, quarter = (t.Month - 1) / 3 + 1;
  const struct {
    std::u16string_view Word;
    int Value, Digits;
  } numbers[] = {
      {u"wom", wom, 1},         {u"wwoy", woy, 2},    {u"woy", woy, 1},
      {u"dow", t.Weekday, 1},   {u"ddoy", doy, 3},    {u"doy", doy, 1},
      {u"jjj", doy, 3},         {u"julian", doy, 1},  {u"year", t.Year, 1},
      {u"quarter", quarter, 1}, {u"qtr", quarter, 1}, {u"yyyy", t.Year, 4},
      {u"yy", t.Year % 100, 2}, {u"y", t.Year, 1},    {u"mm", t.Month, 2},
      {u"m", t.Month, 1},       {u"dd", t.Day, 2},    {u"d", t.Day, 1},
      {u"hh", t.Hour, 2},       {u"h", t.Hour, 1},    {u"nn", t.Minute, 2},
      {u"n", t.Minute, 1},      {u"ss", t.Second, 2}, {u"s", t.Second, 1},
      {u"w", t.Weekday, 1},     {u"x", t.Weekday, 1}, {u"q", quarter, 1},
  };
  constexpr std::u16string_view kDayName = u"\x01", kMonthName = u"\x02";
  tag = ReplaceNoCase(tag, u"day", kDayName);
  tag = ReplaceNoCase(tag, u"month", kMonthName);
  for (const auto& number : numbers) {
    tag = ReplaceNoCase(tag, number.Word, Decimal(number.Value, number.Digits));
  }
  tag = ReplaceAll(tag, kDayName, ShortWeekdayName(t.Weekday));
  return ReplaceAll(tag, kMonthName, MonthName(t.Month));
}

}  // namespace

std::u16string ExpandDateTokens(std::u16string_view path, Clock& clock) {
  for (std::u16string text(path);;) {
    // Also after each tag: what it leaves may touch a separator.
    text = WithoutBlanksAtSeparators(text);
    const std::size_t open = text.find(u'<');
    const std::size_t close = open == text.npos ? open : text.find(u'>', open);
    if (close == text.npos) return text;
    text.replace(open, close - open + 1,
                 ExpandTag(text.substr(open + 1, close - open - 1), clock.Now()));
  }
}

}  // namespace kavrel
