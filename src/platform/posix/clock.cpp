#include "platform/clock.h"

#include <errno.h>
#include <time.h>

#include <thread>

namespace kavrel {

namespace {

DateTime ToLocal(time_t seconds) {
  tm local{};
  if (!localtime_r(&seconds, &local)) return kZeroDate;
  const std::chrono::year_month_day date{
      std::chrono::year(local.tm_year + 1900),
      std::chrono::month(static_cast<unsigned>(local.tm_mon) + 1),
      std::chrono::day(static_cast<unsigned>(local.tm_mday))};
  return std::chrono::local_days{date} + std::chrono::hours(local.tm_hour) +
         std::chrono::minutes(local.tm_min) + std::chrono::seconds(local.tm_sec);
}

}  // namespace

DateTime SystemClock::Now() {
  return ToLocal(time(nullptr));
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

DateTime LocalTime(FileTime time) {
  return ToLocal(time.Seconds);
}

}  // namespace kavrel
