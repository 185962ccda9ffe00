// When a job is next due. Its grid is NextRun plus whole multiples of its interval; both searches
// move along it, never backwards. Minutes, hours, days and weeks jump, months step.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "base/translation.h"
#include "core/backup_job.h"

namespace kavrel {

/// One step: minutes, hours, days, weeks, then months added, each on the result of the one before.
DateTime AddInterval(DateTime time, const BackupJob& job);

/// The first grid time not earlier than `now`; for an enabled job also not on a refused weekday.
/// A record read from a file may hold anything: where the search would never end (an interval that
/// does not move forward, a grid that leaves the years up to 9999, every grid day refused) it gives
/// NextRun unchanged, at once. An interval with months moves forward only when nothing of it is
/// negative.
DateTime NextRunTime(const BackupJob& job, DateTime now);

/// The first grid time later than `now` and not on a refused weekday, enabled or not.
DateTime NextRunAfterNow(const BackupJob& job, DateTime now);

/// True for a job that never runs by itself: its grid has no time after the one that comes, or has
/// come, next. The scheduler leaves it alone, and nobody is asked about it.
bool NeverRuns(const BackupJob& job, DateTime now);
/// The reason that the command line and the log of `watch` give for such a job.
inline constexpr const char* kNeverRuns =
    TrLater("it never runs by itself: its interval leads nowhere, or every day is refused");
inline constexpr std::u16string_view kNeverRunsText = u"永不備份：時間間隔無效，或每天都不備份";

/// `first` and the times after it at which the scheduler, running the job at each, would run it;
/// none of them but `first` is earlier than `now`. Fewer than `count` where the search ends.
std::vector<DateTime> RunsFrom(BackupJob job, DateTime first, DateTime now, std::size_t count);

/// Whether the program moved the job's times on while the clock showed more than a day later than
/// `now`: it was wrong then, or is now. No zone and no summer time makes up for a day.
bool TimesAreAhead(const BackupJob& job, DateTime now);
/// Sets such times right: NextRun goes back along its grid to the first time later than `now` that
/// is not on a refused weekday (never forward), LastRun to `now`, the latest that it can have been.
void SetTimesRight(BackupJob& job, DateTime now);

}  // namespace kavrel
