#include "platform/clock.h"

#include <time.h>

#include <algorithm>
#include <thread>

namespace kavrel {

namespace {

DateTime ToLocal(time_t seconds) {
  tm local{};
  // A file system may hold times that no calendar has.
  if (!localtime_r(&seconds, &local) || local.tm_year > 9999 - 1900) return kZeroDate;
  // A zone that counts leap seconds shows second 60.
  return FromCivil(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                   local.tm_min, std::min(local.tm_sec, 59))
      .value_or(kZeroDate);
}

}  // namespace

DateTime SystemClock::Now() {
  const time_t now = time(nullptr);
  if (now == second_) return local_;
  // localtime_r alone keeps the zone that it saw first; the program runs for months, and its user
  // may travel meanwhile.
  tzset();
  second_ = now;
  local_ = ToLocal(now);
  return local_;
}

std::uint64_t SystemClock::TickCount() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000000;
}

void SystemClock::Sleep(std::uint32_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

FileTime ChangeTimeNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME_COARSE, &now);
  return {now.tv_sec, static_cast<std::int32_t>(now.tv_nsec)};
}

DateTime LocalTime(FileTime time) {
  return ToLocal(time.Seconds);
}

FileTime FileTimeOf(DateTime local, std::int32_t nanoseconds) {
  const CivilTime t = ToCivil(local);
  tm parts{};
  parts.tm_year = t.Year - 1900;
  parts.tm_mon = t.Month - 1;
  parts.tm_mday = t.Day;
  parts.tm_hour = t.Hour;
  parts.tm_min = t.Minute;
  parts.tm_sec = t.Second;
  parts.tm_isdst = -1;
  return {mktime(&parts), nanoseconds};
}

}  // namespace kavrel
