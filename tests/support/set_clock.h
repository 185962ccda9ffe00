// A clock that stands where a test sets it.
#pragma once

#include "platform/clock.h"

namespace kavrel {

class SetClock final : public Clock {
 public:
  explicit SetClock(DateTime now) : now_(now) {}
  SetClock(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
      : now_(*FromCivil(year, month, day, hour, minute, second)) {}

  DateTime Now() override { return now_; }
  std::uint64_t TickCount() override { return ticks_; }
  void Sleep(std::uint32_t milliseconds) override { Advance(milliseconds); }

  void Set(DateTime now) { now_ = now; }
  /// Moves both the time and the ticks on.
  void Advance(std::uint64_t milliseconds) {
    rest_ += milliseconds;
    ticks_ += milliseconds;
    now_ += std::chrono::seconds(rest_ / 1000);
    rest_ %= 1000;
  }

 private:
  DateTime now_;
  std::uint64_t ticks_ = 1000, rest_ = 0;
};

}  // namespace kavrel
