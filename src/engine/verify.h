// Compares a job's source with its backup, byte by byte, or tests an archive. Nothing is changed
// on either side, but for sums that the backup's list lacks (engine/content_sums.h).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/restore.h"
#include "engine/run_context.h"
#include "engine/run_driver.h"

namespace kavrel {

/// Why a copy differs that its sum convicts.
inline constexpr std::u16string_view kNotItsSum = u"內容與備份時的校驗碼不符";

/// Counts a difference, tells the log, and notes it if it is one of the first. `text` and `why` as
/// of a failure's line.
void TellDifference(RunContext& context, VerifyReport& report, std::uint32_t VerifyCounters::*kind,
                    std::u16string_view text, std::u16string_view path,
                    std::u16string_view why = {}, ChangedSide side = ChangedSide::Unknown);

/// A verification from its log's first line to its row in the log list, with what it compares.
void LogVerification(RunContext& context, const BackupJob& job, VerifyReport& report,
                     const std::function<void()>& compare);

/// Verifies what the job's rules, file types and size limit take. `backup_folder` is where the
/// backup lies; when empty, where a run of now would write. Of a compressed job's archives the one
/// that `picker` names is tested, without a picker the newest. A log and a row in the log list tell
/// the result; the job itself and the store stay as they are. A source that is not there
/// leaves the sums of the backup to compare with. SourceMissing means that there is no
/// backup, or neither source nor sums, Guarded that one of the job's disks is away, NothingPicked
/// that there is no archive; nothing is logged then. With `mend` a copy that its sum convicts,
/// while the source still has that sum, is made anew, and so is an archive from its recovery data;
/// the damaged one is kept. A cancel stops it at once, also one that came before; what was not
/// compared by then is in no counter.
VerifyReport RunVerifyJob(RunContext& context, const BackupJob& job,
                          std::u16string_view backup_folder = {}, const ArchivePicker& picker = {},
                          std::u16string_view unit = {}, bool mend = false);

/// Compares the job's backup, all of its states, or one, with its sums; with `part` only a
/// thirtieth, what has not been read for longest, which the job's extras then note. In the same
/// way otherwise; NothingPicked means that the backup has no sums.
VerifyReport RunScrubJob(RunContext& context, BackupJob& job, std::u16string_view unit = {},
                         bool part = false);

}  // namespace kavrel
