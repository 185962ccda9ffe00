#include "rules/date_tokens.h"

#include <algorithm>
#include <iterator>

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
/// not broken up.
struct TagWord {
  std::u16string_view Text;
  DatePart Part;
  int Digits;  ///< at least
};
constexpr TagWord kTagWords[] = {
    {u"wom", DatePart::WeekOfMonth, 1},  {u"wwoy", DatePart::WeekOfYear, 2},
    {u"woy", DatePart::WeekOfYear, 1},   {u"dow", DatePart::Weekday, 1},
    {u"ddoy", DatePart::DayOfYear, 3},   {u"doy", DatePart::DayOfYear, 1},
    {u"jjj", DatePart::DayOfYear, 3},    {u"julian", DatePart::DayOfYear, 1},
    {u"year", DatePart::Year, 1},        {u"quarter", DatePart::Quarter, 1},
    {u"qtr", DatePart::Quarter, 1},      {u"yyyy", DatePart::Year, 4},
    {u"yy", DatePart::YearOfCentury, 2}, {u"y", DatePart::Year, 1},
    {u"mm", DatePart::Month, 2},         {u"m", DatePart::Month, 1},
    {u"dd", DatePart::Day, 2},           {u"d", DatePart::Day, 1},
    {u"hh", DatePart::Hour, 2},          {u"h", DatePart::Hour, 1},
    {u"nn", DatePart::Minute, 2},        {u"n", DatePart::Minute, 1},
    {u"ss", DatePart::Second, 2},        {u"s", DatePart::Second, 1},
    {u"w", DatePart::Weekday, 1},        {u"x", DatePart::Weekday, 1},
    {u"q", DatePart::Quarter, 1},
};
// Names go in last, through placeholders, so that their letters stay theirs.
constexpr char16_t kDayName = u'\x01', kMonthName = u'\x02';
/// In a pattern the words of numbers are such characters, which no name holds.
constexpr char16_t kFirstNumber = u'\x03';
static_assert(kFirstNumber + std::size(kTagWords) < u' ');

int& Of(DateParts& parts, DatePart part) {
  return parts[static_cast<std::size_t>(part)];
}

DateParts PartsOf(DateTime now) {
  const CivilTime t = ToCivil(now);
  const auto year_begin = *FromCivil(t.Year, 1, 1);
  const int doy =
      static_cast<int>(std::chrono::floor<std::chrono::days>(now - year_begin).count()) + 1;
  return {t.Year,
          t.Year % 100,
          t.Month,
          t.Day,
          t.Hour,
          t.Minute,
          t.Second,
          doy,
          (doy - 1) / 7 + 1,
          (t.Day - 1) / 7 + 1,
          (t.Month - 1) / 3 + 1,
          t.Weekday};
}

/// A tag's text with names as their placeholders and numbers as `number` gives them by their
/// position in kTagWords.
template <typename Number>
std::u16string ReplaceWords(std::u16string_view text, Number&& number) {
  std::u16string tag = ReplaceNoCase(text, u"day", {&kDayName, 1});
  tag = ReplaceNoCase(tag, u"month", {&kMonthName, 1});
  for (std::size_t i = 0; i < std::size(kTagWords); ++i) {
    tag = ReplaceNoCase(tag, kTagWords[i].Text, number(i));
  }
  return tag;
}

std::u16string ExpandTag(std::u16string_view text, DateTime now) {
  DateParts parts = PartsOf(now);
  const std::u16string tag = ReplaceWords(text, [&](std::size_t i) {
    return Decimal(Of(parts, kTagWords[i].Part), kTagWords[i].Digits);
  });
  return ReplaceAll(ReplaceAll(tag, {&kDayName, 1}, ShortWeekdayName(Of(parts, DatePart::Weekday))),
                    {&kMonthName, 1}, MonthName(Of(parts, DatePart::Month)));
}

/// The path with what `expand` makes of each tag's text.
template <typename Expand>
std::u16string ReplaceTags(std::u16string_view path, Expand&& expand) {
  for (std::u16string text(path);;) {
    // Also after each tag: what it leaves may touch a separator.
    text = WithoutBlanksAtSeparators(text);
    const std::size_t open = text.find(u'<');
    const std::size_t close = open == text.npos ? open : text.find(u'>', open);
    if (close == text.npos) return text;
    const std::u16string tag = expand(std::u16string_view(text).substr(open + 1, close - open - 1));
    text.replace(open, close - open + 1, tag);
  }
}

bool IsTagWord(char16_t c) {
  return c >= kDayName && c < kFirstNumber + std::size(kTagWords);
}

/// Whether the name is one of the pattern's; what it tells is put into `parts` then.
bool Match(std::u16string_view pattern, std::u16string_view name, DateParts& parts) {
  if (pattern.empty()) return name.empty();
  const char16_t first = pattern[0];
  pattern.remove_prefix(1);
  const auto go_on = [&](DatePart part, int value, std::size_t length) {
    DateParts tried = parts;
    int& known = Of(tried, part);
    if (known >= 0 && known != value) return false;
    known = value;
    if (!Match(pattern, name.substr(length), tried)) return false;
    parts = tried;
    return true;
  };
  if (!IsTagWord(first)) {
    return !name.empty() && EqualNoCase({&first, 1}, name.substr(0, 1)) &&
           Match(pattern, name.substr(1), parts);
  }
  if (first == kDayName || first == kMonthName) {
    const bool day = first == kDayName;
    for (int value = day ? 7 : 12; value > 0; --value) {
      const std::u16string_view text = day ? ShortWeekdayName(value) : MonthName(value);
      const DatePart part = day ? DatePart::Weekday : DatePart::Month;
      if (name.starts_with(text) && go_on(part, value, text.size())) return true;
    }
    return false;
  }
  const TagWord& word = kTagWords[first - kFirstNumber];
  constexpr std::size_t kMostDigits = 5;
  std::size_t digits = 0;
  int value = 0;
  while (digits < std::min(name.size(), kMostDigits) && name[digits] >= u'0' &&
         name[digits] <= u'9') {
    value = value * 10 + (name[digits++] - u'0');
  }
  const auto fewest = static_cast<std::size_t>(word.Digits);
  for (; digits >= fewest && digits > 0; --digits, value /= 10) {
    // More digits than a word's own begin with none that only fills it up.
    if (digits > fewest && name[0] == u'0') continue;
    if (go_on(word.Part, value, digits)) return true;
  }
  return false;
}

}  // namespace

std::u16string ExpandDateTokens(std::u16string_view path, Clock& clock) {
  return ReplaceTags(path, [&](std::u16string_view tag) { return ExpandTag(tag, clock.Now()); });
}

bool HasDateTags(std::u16string_view path) {
  const std::size_t open = path.find(u'<');
  return open != path.npos && path.find(u'>', open) != path.npos;
}

DatedPath::DatedPath(std::u16string_view path) {
  const std::u16string pattern = ReplaceTags(path, [](std::u16string_view tag) {
    return ReplaceWords(tag, [](std::size_t i) {
      return std::u16string(1, static_cast<char16_t>(kFirstNumber + i));
    });
  });
  const std::u16string_view text = pattern;
  const auto first = std::find_if(text.begin(), text.end(), IsTagWord);
  if (first == text.end()) {
    fixed_ = AddBackslash(text);
    return;
  }
  // The path's own form decides the separator, which the first name may be part of.
  fixed_ = PathFolder(text.substr(0, static_cast<std::size_t>(first - text.begin()) + 1));
  const std::u16string_view below = DropBackslash(text).substr(fixed_.size());
  for (const std::u16string_view name : Split(below, PathSeparator(fixed_))) {
    if (!name.empty()) names_.emplace_back(name);
  }
}

std::u16string_view DatedPath::NameAt(std::size_t depth) const {
  const std::u16string& name = names_[depth];
  return std::any_of(name.begin(), name.end(), IsTagWord) ? std::u16string_view() : name;
}

bool DatedPath::Takes(std::size_t depth, std::u16string_view name, Moment& moment) const {
  return Match(names_[depth], name, moment.Parts);
}

std::optional<DateTime> DatedPath::Moment::Date() const {
  DateParts parts = Parts;
  const auto of = [&](DatePart part) { return Of(parts, part); };
  const auto from_zero = [&](DatePart part) { return std::max(0, of(part)); };
  int year = of(DatePart::Year);
  if (year < 0 && of(DatePart::YearOfCentury) >= 0) year = 2000 + of(DatePart::YearOfCentury);
  int month = of(DatePart::Month), day = of(DatePart::Day);
  const int day_of_year = of(DatePart::DayOfYear);
  if (year < 0) return std::nullopt;
  if ((month < 0 || day < 0) && day_of_year > 0) {
    const std::optional<DateTime> first = FromCivil(year, 1, 1);
    if (!first || day_of_year > 366) return std::nullopt;
    const CivilTime date = ToCivil(*first + std::chrono::days(day_of_year - 1));
    month = date.Month;
    day = date.Day;
  }
  if (month < 0 || day < 0) return std::nullopt;
  return FromCivil(year, month, day, from_zero(DatePart::Hour), from_zero(DatePart::Minute),
                   from_zero(DatePart::Second));
}

}  // namespace kavrel
