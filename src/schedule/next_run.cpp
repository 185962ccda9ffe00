#include "schedule/next_run.h"

#include <algorithm>
#include <optional>

namespace kavrel {

using namespace std::chrono;

namespace {

constexpr DateTime kEndOfTime = local_days{year{9999} / December / 31} + hours(24);
constexpr std::int64_t kLongestPeriod = std::int64_t{10000} * 366 * 86400;
constexpr std::int64_t kWeek = 7 * 86400;

/// The part of the interval that has a fixed length, in seconds. May be negative for a record that
/// was written by hand.
std::int64_t FixedPeriod(const BackupJob& job) {
  return std::int64_t{60} * job.EveryMinutes + std::int64_t{3600} * job.EveryHours +
         std::int64_t{86400} * job.EveryDays + kWeek * job.EveryWeeks;
}

/// What a time on the grid must fulfil.
struct Wanted {
  DateTime NotBefore;
  std::int32_t RefusedDays;

  bool Accepts(DateTime time) const {
    return time >= NotBefore && !IsRefused(RefusedDays, ToCivil(time).Weekday);
  }
};

std::int64_t RoundedUp(std::int64_t dividend, std::int64_t divisor) {
  return (dividend + divisor - 1) / divisor;
}

/// The grid repeats its weekdays after a whole number of weeks, so after that many jumps no new
/// weekday can come.
std::optional<DateTime> JumpAlong(DateTime time, std::int64_t period, const Wanted& wanted) {
  if (period <= 0 || period > kLongestPeriod) return std::nullopt;
  if (time < wanted.NotBefore) {
    time += seconds(RoundedUp((wanted.NotBefore - time).count(), period) * period);
  }
  for (std::int64_t jumps = 0; time < kEndOfTime && jumps <= kWeek / 60 + 7; ++jumps) {
    if (wanted.Accepts(time)) return time;
    const DateTime next_day = floor<days>(time) + days(1);
    time += seconds(RoundedUp((next_day - time).count(), period) * period);
  }
  return std::nullopt;
}

/// Months differ in length and clamp the day, so they are walked one by one.
std::optional<DateTime> StepAlong(DateTime time, const BackupJob& job, const Wanted& wanted) {
  // Months forward and days back might move by a minute a step, and be at it for ever.
  if (FixedPeriod(job) < 0 || FixedPeriod(job) > kLongestPeriod || job.EveryMonths < 0 ||
      job.EveryMonths > 120000) {
    return std::nullopt;
  }
  while (!wanted.Accepts(time)) {
    const DateTime next = AddInterval(time, job);
    if (next <= time || next >= kEndOfTime) return std::nullopt;
    time = next;
  }
  return time;
}

DateTime Search(const BackupJob& job, const Wanted& wanted) {
  if (wanted.Accepts(job.NextRun)) return job.NextRun;
  constexpr std::int32_t kAllDays = 0xFE;
  if ((wanted.RefusedDays & kAllDays) == kAllDays) return job.NextRun;
  return (job.EveryMonths == 0 ? JumpAlong(job.NextRun, FixedPeriod(job), wanted)
                               : StepAlong(job.NextRun, job, wanted))
      .value_or(job.NextRun);
}

/// The first grid time later than `now`, looked for backwards. Months are counted from where the
/// walk begins, so that a short one on the way does not cost the day of the month.
DateTime EarliestAfter(const BackupJob& job, DateTime now) {
  const std::int64_t period = FixedPeriod(job);
  if (job.NextRun <= now || period < 0 || period > kLongestPeriod) return job.NextRun;
  if (job.EveryMonths == 0) {
    if (period == 0) return job.NextRun;
    const std::int64_t jumps = ((job.NextRun - now).count() - 1) / period;
    return job.NextRun - seconds(jumps * period);
  }
  if (job.EveryMonths < 0 || job.EveryMonths > 120000) return job.NextRun;
  DateTime earliest = job.NextRun;
  for (std::int32_t months = job.EveryMonths;; months += job.EveryMonths) {
    const DateTime time =
        AddMonths(job.NextRun, -months) - seconds(months / job.EveryMonths * period);
    if (time <= now || time >= earliest) return earliest;
    earliest = time;
  }
}

}  // namespace

DateTime AddInterval(DateTime time, const BackupJob& job) {
  time += seconds(FixedPeriod(job));
  return job.EveryMonths == 0 ? time : AddMonths(time, job.EveryMonths);
}

DateTime NextRunTime(const BackupJob& job, DateTime now) {
  return Search(job, {now, job.Enabled ? job.RefusedDays : 0});
}

DateTime NextRunAfterNow(const BackupJob& job, DateTime now) {
  return Search(job, {now + seconds(1), job.RefusedDays});
}

bool NeverRuns(const BackupJob& job, DateTime now) {
  const DateTime from = std::max(now, job.NextRun);
  return NextRunAfterNow(job, from) <= from;
}

std::vector<DateTime> RunsFrom(BackupJob job, DateTime first, DateTime now, std::size_t count) {
  std::vector<DateTime> times;
  for (DateTime next = first; times.size() < count;) {
    times.push_back(next);
    job.NextRun = next;
    const DateTime last = std::max(now, next);
    next = NextRunAfterNow(job, last);
    if (next <= last) break;
  }
  return times;
}

bool TimesAreAhead(const BackupJob& job, DateTime now) {
  return std::max(job.LastRun, job.Extras.TimeMoved) > now + days(1);
}

void SetTimesRight(BackupJob& job, DateTime now) {
  BackupJob back = job;
  back.NextRun = EarliestAfter(job, now);
  job.NextRun = std::min(job.NextRun, NextRunAfterNow(back, now));
  job.LastRun = std::min(job.LastRun, now);
  job.Extras.TimeMoved = kZeroDate;
}

}  // namespace kavrel
