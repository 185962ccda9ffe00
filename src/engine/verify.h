// Compares a job's source with its backup, byte by byte, or tests an archive. Nothing is changed
// on either side, but for sums that the backup's list lacks (engine/content_sums.h).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/restore.h"
#include "engine/run_context.h"
#include "engine/run_driver.h"

namespace kavrel {

/// Counts a difference, tells the log, and notes it if it is one of the first. `text` and `why` as
/// of a failure's line.
void TellDifference(RunContext& context, VerifyReport& report, std::uint32_t VerifyCounters::*kind,
                    std::u16string_view text, std::u16string_view path,
                    std::u16string_view why = {}, ChangedSide side = ChangedSide::Unknown);

/// Verifies what the job's rules, file types and size limit take. `backup_folder` is where the
/// backup lies; when empty, where a run of now would write. Of a compressed job's archives the one
/// that `picker` names is tested, without a picker the newest. A log and a row in the log list tell
/// the result; the job itself and the store stay as they are. SourceMissing means that one of the
/// two folders does not exist, Guarded that one of the job's disks is away, NothingPicked that
/// there is no archive; nothing is logged then. A cancel stops it at once, also one that came
/// before; what was not compared by then is in no counter.
VerifyReport RunVerifyJob(RunContext& context, const BackupJob& job,
                          std::u16string_view backup_folder = {}, const ArchivePicker& picker = {},
                          std::u16string_view unit = {});

}  // namespace kavrel
