// One run of one job from end to end: paths, the walk, the summary, the log row, the job's new
// times, the saved store.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/run_context.h"

namespace kavrel {

/// Runs the job as a backup. Failures become log lines and counters in the job's LastRunResult; its
/// LastRun and NextRun move on and the store is saved. While it runs, the host's pump may set the
/// cancel flag. Gives the context's report.
const RunReport& RunBackupJob(RunContext& context, BackupJob& job);

/// Why a run of a job could not begin: its source is gone, with which disk is away, as far as that
/// is known; or there is no program that packs.
std::u16string NoSourceText(std::u16string_view path, std::u16string_view disk);
inline constexpr std::u16string_view kNoArchiverText = u"找不到 7-Zip 程式";

/// 850 gives "850 奈秒", 12345 gives "12.345 秒", 125500 gives "2 分, 5.500 秒".
std::u16string ElapsedText(std::uint64_t milliseconds);

/// The destination's path as a run of this job would use it now: tags expanded, the source
/// folder's name appended when the job says so.
std::u16string ExpandedDestination(const BackupJob& job, Clock& clock);

}  // namespace kavrel
