// The clock as an interface, so that tests set it.
#pragma once

#include <cstdint>

#include "base/date_time.h"

namespace kavrel {

class Clock {
 public:
  virtual ~Clock() = default;

  /// The present local time, cut to the second.
  virtual DateTime Now() = 0;
  /// Milliseconds since some fixed moment; never goes back.
  virtual std::uint64_t TickCount() = 0;
  /// Waits; a set clock only moves on.
  virtual void Sleep(std::uint32_t milliseconds) = 0;
};

/// The machine's own clock.
class SystemClock final : public Clock {
 public:
  DateTime Now() override;
  std::uint64_t TickCount() override;
  void Sleep(std::uint32_t milliseconds) override;

 private:
  /// The second that was last asked for, and its local time.
  std::int64_t second_ = 0;
  DateTime local_{};
};

/// A moment as file systems keep it: seconds and nanoseconds since 1970-01-01 00:00 UTC.
struct FileTime {
  std::int64_t Seconds = 0;
  std::int32_t Nanoseconds = 0;

  bool operator==(const FileTime&) const = default;
};

/// True when `a` lies later than `b`, by more than file systems round.
inline bool IsNewer(FileTime a, FileTime b) {
  constexpr std::int64_t kRounded = 2;
  return a.Seconds - b.Seconds > kRounded;
}

/// What the system would note now as the time of a change: its clock as far as that has ticked.
FileTime ChangeTimeNow();

/// The local time of a file time, cut to the second, by the time zone's rules at that moment.
DateTime LocalTime(FileTime time);
/// The file time of a local time; of the two that an hour set back gives, the system's choice.
FileTime FileTimeOf(DateTime local, std::int32_t nanoseconds);

}  // namespace kavrel
