// Numbers and date-times as the user's language writes them, for the screen alone. Files keep the
// product's own forms (base/number.h, base/date_time.h).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/date_time.h"

namespace kavrel {

/// "2009/9/23 下午 03:04:05", "23.09.2009 15:04:05"; like DateTimeText without a time at midnight.
std::u16string ScreenDateTime(DateTime time);
/// As ScreenDateTime with one more form: empty for the zero date, a time that is not known.
std::u16string ScreenDateOrNothing(DateTime time);

/// With the language's separator between thousands.
std::u16string ScreenNumber(std::uint64_t value);
/// A number that Grouped, GroupedFixed or Decimal has written; nothing for any other text.
std::optional<std::u16string> ScreenNumberOf(std::u16string_view text);

/// Whether times are told in twelve hours, with a designator.
bool ShowsHalfDays();

/// Whether a week begins with Monday, else with Sunday.
bool WeekBeginsOnMonday();

}  // namespace kavrel
