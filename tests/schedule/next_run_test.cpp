#include "schedule/next_run.h"

#include <gtest/gtest.h>

#include <random>

#include "base/text.h"

namespace kavrel {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::minutes;

BackupJob Job(DateTime next_run, bool enabled, std::int32_t refused_days = 0) {
  BackupJob job;
  job.NextRun = next_run;
  job.Enabled = enabled;
  job.RefusedDays = refused_days;
  return job;
}

/// The search as it is defined: one step after the other, each component on the one before. A walk
/// that is still not there after months of minutes never ends.
DateTime PlainWalk(const BackupJob& job, DateTime now, bool after_now) {
  DateTime t = job.NextRun;
  for (int steps = 0; steps < 15000; ++steps) {
    const bool late = after_now ? t <= now : t < now;
    const bool looks_at_days = after_now || job.Enabled;
    if (!late && !(looks_at_days && IsRefused(job.RefusedDays, ToCivil(t).Weekday))) return t;
    t += minutes(job.EveryMinutes);
    t += hours(job.EveryHours);
    t += days(job.EveryDays);
    t += days(7 * std::int64_t{job.EveryWeeks});
    t = AddMonths(t, job.EveryMonths);
  }
  return job.NextRun;
}

TEST(NextRun, KnownExamples) {
  BackupJob job = Job(*FromCivil(2009, 9, 23, 1), false);
  job.EveryMinutes = 10;
  const DateTime ten_past = *FromCivil(2009, 9, 23, 14, 10);
  EXPECT_EQ(NextRunTime(job, *FromCivil(2009, 9, 23, 14, 7, 30)), ten_past);
  EXPECT_EQ(NextRunAfterNow(job, *FromCivil(2009, 9, 23, 14, 7, 30)), ten_past);
  EXPECT_EQ(NextRunTime(job, ten_past), ten_past);
  EXPECT_EQ(NextRunAfterNow(job, ten_past), ten_past + minutes(10));

  const DateTime friday = *FromCivil(2009, 9, 18, 9);
  job = Job(friday, true, 2 + 128);
  job.EveryDays = 1;
  EXPECT_EQ(NextRunTime(job, friday + hours(1)), friday + days(3));
  EXPECT_EQ(NextRunAfterNow(job, friday + hours(1)), friday + days(3));
  job.Enabled = false;
  EXPECT_EQ(NextRunTime(job, friday + hours(1)), friday + days(1));
  EXPECT_EQ(NextRunAfterNow(job, friday + hours(1)), friday + days(3));

  job = Job(*FromCivil(2009, 1, 31, 8), true);
  job.EveryMonths = 1;
  EXPECT_EQ(NextRunTime(job, *FromCivil(2009, 3, 15)), *FromCivil(2009, 3, 28, 8));
  EXPECT_EQ(NextRunTime(job, *FromCivil(2009, 1, 31, 8)), job.NextRun);
}

TEST(NextRun, GivesExactlyWhatThePlainWalkGives) {
  std::mt19937_64 random(42);
  const auto pick = [&](int limit) {
    return static_cast<int>(random() % static_cast<unsigned>(limit));
  };
  for (int round = 0; round < 4000; ++round) {
    BackupJob job = Job(
        *FromCivil(2008, 1 + pick(12), 1 + pick(28), pick(24), pick(60), pick(60)) + days(pick(5)),
        pick(2) == 0, pick(3) == 0 ? 0 : pick(256) & 0xFE);
    switch (pick(6)) {
      case 0:
        job.EveryMinutes = 1 + pick(60);
        break;
      case 1:
        job.EveryHours = 1 + pick(24);
        break;
      case 2:
        job.EveryDays = 1 + pick(7);
        break;
      case 3:
        job.EveryWeeks = 1 + pick(5);
        break;
      case 4:
        job.EveryMonths = 1 + pick(12);
        break;
      default:
        job.EveryMinutes = pick(100), job.EveryHours = pick(3), job.EveryDays = pick(3);
        job.EveryWeeks = pick(2), job.EveryMonths = pick(2);
    }
    const std::int64_t step = (AddInterval(job.NextRun, job) - job.NextRun).count();
    const bool whole_weeks = job.EveryMonths == 0 && step % (7 * 86400) == 0;
    if (job.RefusedDays == 0xFE || (whole_weeks && job.RefusedDays != 0)) continue;
    const DateTime now =
        job.NextRun + std::chrono::seconds(step * (pick(3300) - 300) + pick(86400));
    ASSERT_EQ(NextRunTime(job, now), PlainWalk(job, now, false)) << round;
    ASSERT_EQ(NextRunAfterNow(job, now), PlainWalk(job, now, true)) << round;
  }
}

TEST(NextRun, AGridThatCanNeverFitIsLeftUnchanged) {
  const DateTime past = *FromCivil(2009, 9, 19, 9);  // a Saturday
  const DateTime now = *FromCivil(2009, 12, 1);
  BackupJob job = Job(past, true);
  const auto expect_unchanged = [&](const char* what) {
    EXPECT_EQ(NextRunTime(job, now), past) << what;
    EXPECT_EQ(NextRunAfterNow(job, now), past) << what;
    job = Job(past, true);
  };
  expect_unchanged("no interval");
  job.EveryDays = 1, job.RefusedDays = 0xFE;
  expect_unchanged("every day refused");
  job.EveryWeeks = 1, job.RefusedDays = 128;
  expect_unchanged("whole weeks on a refused day");
  job.EveryDays = 14, job.RefusedDays = 128;
  expect_unchanged("fourteen days on a refused day");
  job.EveryMinutes = -10;
  expect_unchanged("backwards");
  job.EveryMonths = -1, job.EveryDays = 20;
  expect_unchanged("backwards by months");
  job.EveryMonths = 1, job.EveryDays = -31;
  expect_unchanged("months that do not move");
  job.EveryMonths = 12, job.EveryDays = -365, job.EveryMinutes = 1;
  expect_unchanged("a minute a year");
  job.EveryWeeks = INT32_MAX, job.EveryDays = INT32_MAX;
  expect_unchanged("beyond all time");
  job.EveryMonths = INT32_MAX, job.EveryMinutes = INT32_MIN;
  expect_unchanged("months beyond all time");
  job.EveryMonths = 1, job.EveryWeeks = INT32_MAX;
  expect_unchanged("months and weeks beyond all time");
}

TEST(NextRun, WhatComesOnlyOnceNeverRuns) {
  const DateTime now = *FromCivil(2009, 9, 18, 9);  // a Friday
  BackupJob job = Job(now + hours(1), true);
  EXPECT_TRUE(NeverRuns(job, now));
  job.EveryDays = 7, job.RefusedDays = 128;
  EXPECT_FALSE(NeverRuns(job, now));
  EXPECT_FALSE(NeverRuns(job, now + days(30)));
  job.NextRun += days(1);
  EXPECT_TRUE(NeverRuns(job, now));
  EXPECT_TRUE(NeverRuns(job, now + days(30)));
}

TEST(NextRun, CenturiesBehindIsNoLongWalk) {
  BackupJob job = Job(*FromCivil(100, 1, 1), true, 2 + 4 + 8 + 16 + 32);
  job.EveryMinutes = 1;
  const DateTime now = *FromCivil(2026, 11, 23, 12);  // a Monday
  EXPECT_EQ(NextRunTime(job, now), *FromCivil(2026, 11, 27));
  job = Job(*FromCivil(100, 1, 31), true);
  job.EveryMonths = 1;
  EXPECT_EQ(NextRunTime(job, now), *FromCivil(2026, 11, 28));
}

}  // namespace
}  // namespace kavrel
