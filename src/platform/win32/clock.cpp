#include "platform/clock.h"

#include <algorithm>

#include "platform/win32/native.h"

namespace kavrel {

namespace {

constexpr std::int64_t kTicks = 10'000'000, kEpoch = 11'644'473'600;

SYSTEMTIME ToParts(std::int64_t seconds) {
  const std::int64_t ticks = (seconds + kEpoch) * kTicks;
  FILETIME time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  SYSTEMTIME parts{};
  if (ticks < 0 || !FileTimeToSystemTime(&time, &parts)) parts = {};
  return parts;
}

/// Seconds since 1970 of a calendar's parts, taken as UTC.
std::int64_t ToSeconds(const SYSTEMTIME& parts) {
  FILETIME time{};
  if (!SystemTimeToFileTime(&parts, &time)) return 0;
  const std::int64_t ticks = static_cast<std::int64_t>(time.dwHighDateTime) << 32 |
                             static_cast<std::int64_t>(time.dwLowDateTime);
  return ticks / kTicks - kEpoch;
}

DateTime ToLocal(std::int64_t seconds) {
  const SYSTEMTIME utc = ToParts(seconds);
  SYSTEMTIME local{};
  // By the rules of that year, not by today's distance from UTC.
  if (utc.wYear == 0 || !SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local)) return kZeroDate;
  return FromCivil(local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute,
                   std::min<int>(local.wSecond, 59))
      .value_or(kZeroDate);
}

}  // namespace

DateTime SystemClock::Now() {
  const std::int64_t now = ChangeTimeNow().Seconds;
  if (now == second_) return local_;
  second_ = now;
  local_ = ToLocal(now);
  return local_;
}

std::uint64_t SystemClock::TickCount() {
  return GetTickCount64();
}

void SystemClock::Sleep(std::uint32_t milliseconds) {
  ::Sleep(milliseconds);
}

FileTime ChangeTimeNow() {
  FILETIME time;
  GetSystemTimeAsFileTime(&time);
  const std::int64_t ticks = static_cast<std::int64_t>(time.dwHighDateTime) << 32 |
                             static_cast<std::int64_t>(time.dwLowDateTime);
  return {ticks / kTicks - kEpoch, static_cast<std::int32_t>(ticks % kTicks * 100)};
}

DateTime LocalTime(FileTime time) {
  return ToLocal(time.Seconds);
}

FileTime FileTimeOf(DateTime local, std::int32_t nanoseconds) {
  const CivilTime t = ToCivil(local);
  SYSTEMTIME parts{}, utc{};
  parts.wYear = static_cast<WORD>(t.Year);
  parts.wMonth = static_cast<WORD>(t.Month);
  parts.wDay = static_cast<WORD>(t.Day);
  parts.wHour = static_cast<WORD>(t.Hour);
  parts.wMinute = static_cast<WORD>(t.Minute);
  parts.wSecond = static_cast<WORD>(t.Second);
  if (!TzSpecificLocalTimeToSystemTime(nullptr, &parts, &utc)) return {0, nanoseconds};
  return {ToSeconds(utc), nanoseconds};
}

}  // namespace kavrel
