// Date tags in destination paths: D:\Backup\<yy>-<mm>-<dd>\ names the moment of the run.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/date_time.h"

namespace kavrel {

class Clock;

/// The path with every tag pair expanded; each pair reads the clock afresh.
std::u16string ExpandDateTokens(std::u16string_view path, Clock& clock);
/// Whether there is a tag in it.
bool HasDateTags(std::u16string_view path);

/// What a tag can stand for.
enum class DatePart : std::uint8_t {
  Year,
  YearOfCentury,
  Month,
  Day,
  Hour,
  Minute,
  Second,
  DayOfYear,
  WeekOfYear,
  WeekOfMonth,
  Quarter,
  Weekday,
};
/// What each part is; -1 where that is not known.
using DateParts = std::array<int, 12>;

/// The other way round: a folder's path with date tags as a pattern of the paths that they give.
class DatedPath {
 public:
  explicit DatedPath(std::u16string_view path);

  /// The folder above the first name with a tag, with its final separator; without a tag the whole
  /// path.
  const std::u16string& Fixed() const { return fixed_; }
  /// How many names follow.
  std::size_t Depth() const { return names_.size(); }
  /// The name at this depth where no tag is in it, else empty.
  std::u16string_view NameAt(std::size_t depth) const;

  /// What the names from the first depth on have told of the moment so far.
  struct Moment {
    DateParts Parts;
    Moment() { Parts.fill(-1); }
    /// Nothing while the day is not known; what is missing of the time is 0.
    std::optional<DateTime> Date() const;
  };
  /// Whether a run could have given a folder this name at this depth, below names that gave
  /// `moment`, which then holds what this one tells, too. Letter case does not count.
  bool Takes(std::size_t depth, std::u16string_view name, Moment& moment) const;

 private:
  std::u16string fixed_;
  std::vector<std::u16string> names_;
};

}  // namespace kavrel
