// Compares a job's source with its backup, byte by byte, or tests an archive. Nothing is changed
// on either side.
#pragma once

#include <cstdint>
#include <string>

#include "engine/restore.h"
#include "engine/run_context.h"
#include "engine/run_driver.h"

namespace kavrel {

/// What a verification found. Whatever is not equal is a difference.
struct VerifyCounters {
  std::uint32_t Equal = 0;
  std::uint32_t Missing = 0;  ///< files that the backup does not have
  std::uint32_t Changed = 0;  ///< differ, and the next run would copy them
  std::uint32_t Damaged = 0;  ///< differ in content alone: no differential run would mend them
  std::uint32_t Extra = 0;    ///< what a mirror has and its source has not
  std::uint32_t Unreadable = 0;

  std::uint32_t Differences() const { return Missing + Changed + Damaged + Extra + Unreadable; }
};

struct VerifyReport {
  RunOutcome Outcome = RunOutcome::NotStarted;
  bool Stopped = false;
  VerifyCounters Counters;
  std::uint64_t Bytes = 0;  ///< compared
  std::u16string LogPath;
};

/// Verifies what the job's rules, file types and size limit take. `backup_folder` is where the
/// backup lies; when empty, where a run of now would write. Of a compressed job's archives the one
/// that `picker` names is tested, without a picker the newest. A log and a row in the log list tell
/// the result; the job itself and the store stay as they are. SourceMissing means that one of the
/// two folders does not exist, Guarded that one of the job's disks is away (the context's
/// RefusalText), NothingPicked that there is no archive; nothing is logged then. A
/// cancel stops it at once, also one that came before; what was not compared by then is in no
/// counter.
VerifyReport RunVerifyJob(RunContext& context, const BackupJob& job,
                          std::u16string_view backup_folder = {}, const ArchivePicker& picker = {});

}  // namespace kavrel
