// How a run went: what every run gives back, and all that its callers ask.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/job_extras.h"
#include "core/run_counters.h"
#include "core/run_failures.h"

namespace kavrel {

enum class RunOutcome {
  NotStarted,     ///< a cancel was already pending
  SourceMissing,  ///< the folder to copy from does not exist: nothing was logged
  NoArchiver,     ///< a compressed job, and no 7-Zip program is installed: nothing was written
  NothingPicked,  ///< a restore for which no archive was chosen
  Guarded,        ///< a guard stopped it before anything was lost: the report's Refusal
  NoSpace,        ///< it stopped before its first copy, for which there is no room
  Ran,            ///< the walk took place; the job's LastRunResult tells the rest
};

/// Why a run stopped by itself, before it lost or filled anything.
enum class RunRefusal {
  None,
  DiskAway,       ///< a disk that the job relies on is not there
  Shrunk,         ///< the new dated folder or archive would hold far less than the last one
  MirrorGuard,    ///< too much would be removed
  ChangeGuard,    ///< files look encrypted that would take the place of good copies
  PlaceOfOthers,  ///< what lies there may be another job's
  NoSpace
};

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

/// Which side is not what the run has seen any more, as far as the sums of the backup tell.
enum class ChangedSide : std::uint8_t { Unknown, Copy, Source };

struct VerifyDifference {
  std::uint32_t VerifyCounters::*Kind;
  std::u16string Path;  ///< of the source, or of what only the backup has
  ChangedSide Side = ChangedSide::Unknown;
};
/// So many of them are noted one by one; the log has all.
inline constexpr std::size_t kDifferencesNoted = 1000;

struct VerifyReport {
  RunOutcome Outcome = RunOutcome::NotStarted;
  bool Stopped = false;
  VerifyCounters Counters;
  std::vector<VerifyDifference> Differing;  ///< the first of them; a missing folder is one
  RunFailures Failures;                     ///< the same in the words of the log
  /// Of those, what its sum convicts and can be made good: copies by the source, archives by their
  /// recovery data.
  std::uint32_t BadCopies = 0;
  std::uint32_t Mended = 0;    ///< of these, what is again as it was when it was backed up
  bool Mends = false;          ///< it was to make them good
  std::u16string NotMended;    ///< why an archive was not, in words
  bool WrongPassword = false;  ///< the archive, counted as unreadable, may be whole all the same
  std::uint64_t Bytes = 0;     ///< compared
  std::u16string RefusalText;  ///< of one that was Guarded: which disk is away
  std::u16string LogPath;
  bool BySums = false;               ///< with the backup's sums, not with the source
  std::uint64_t Unlisted = 0;        ///< files of what was read again that have no sum
  bool Drill = false;                ///< what was compared came back by a test restore
  std::vector<VerifiedState> Units;  ///< dated folders that were read whole, without their time
  std::u16string Unit;  ///< the state that was verified; empty for a folder that is always the same
};

/// Of a run that is at work: how it goes so far.
struct RunReport {
  RunOutcome Outcome = RunOutcome::NotStarted;
  RunCounters Counters;
  /// All that its log calls a failure, be it a file, a folder or what stopped the run.
  RunFailures Failures;
  RunRefusal Refusal = RunRefusal::None;
  /// Why, in words. Of a run without a source: which disk is away, as far as that is known.
  std::u16string RefusalText;
  /// Somebody has let it go on although a disk is away or the state has shrunk.
  bool Agreed = false;
  /// A disk that a backup began with was not there any more at its end.
  bool LostDisk = false;
  /// The destination was not there, and could not be made.
  bool NotMade = false;
  /// The change guard's alarm stands, in words: no old state goes.
  std::u16string Alarm;
  /// Why an archive that was to have recovery data has none, in words; empty when nothing failed.
  std::u16string NoRecovery;
  /// A restore came to nothing because the job's password does not open the archive.
  bool WrongPassword = false;
  std::u16string LogPath;                    ///< empty where nothing was logged
  std::optional<VerifyReport> Verification;  ///< of the one that followed the run

  /// A place that has gone with its disk is none that cannot be had.
  bool HasNoPlace() const { return NotMade && !LostDisk; }
};

}  // namespace kavrel
