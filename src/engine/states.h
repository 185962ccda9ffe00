// The states of a job: the dated folders and the archives that its runs have made, from which any
// can be restored. They are known from where they lie and the marks that they bear, and from the
// job's second file; so neither a lost file nor a disk that has gone to another machine loses one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/run_context.h"

namespace kavrel {

enum class StateHealth : std::uint8_t {
  Whole,       ///< its last run came to its end and has dealt with every file
  Failures,    ///< it came to its end, and some files failed
  Unknown,     ///< made by a version that did not note it, or its mark cannot be read
  Unfinished,  ///< its last run has not come to its end
  Shared,      ///< other jobs have written there, too
  Away,        ///< its disk is not there
};

struct JobState {
  /// Where it is: a folder with its final separator, or an archive.
  std::u16string Unit;
  bool IsArchive = false;
  /// When the last run into it began, else what its name tells; the zero date where neither does.
  DateTime Date = kZeroDate;
  StateHealth Health = StateHealth::Unknown;
  /// What the last run that came to its end has put there.
  std::optional<OwnerMark::RunFigures> Figures;
  std::uint64_t ArchiveSize = 0;   ///< bytes of the archive itself
  std::uint64_t RecoverySize = 0;  ///< of the recovery data beside it
  bool Pinned = false;             ///< it never goes by itself
  bool Own = false;                ///< IsMadeBy
  /// The last verification, as the second file has it.
  std::optional<VerifiedState> Verified;
};

/// Whether the dated folders of a job bear another name until they are whole: not where that one's
/// end is the end of their own, nor where this one has no room for it.
bool NamesUnfinished(const BackupJob& job, std::u16string_view unit = {});

/// The states of the job, the newest first (core/made_order). Looks at the disk; nothing is
/// changed.
/// `bare`: gets the unfinished folders without a mark, which killed runs may have left.
std::vector<JobState> ListStates(const RunContext& context, const BackupJob& job,
                                 std::vector<std::u16string>* bare = nullptr);

/// Has a state stay whatever the job keeps, or not any more. An error where its mark cannot be
/// written, or is not this job's.
ErrorCode PinState(const FileSystem& files, const BackupJob& job, std::u16string_view unit,
                   bool pinned);

/// Whether its last run came to its end, with failures or without.
inline bool IsEnded(const JobState& state) {
  return state.Health == StateHealth::Whole || state.Health == StateHealth::Failures;
}
/// Whether it had its name already when a run into it was broken off.
bool WasWhole(const JobState& state);

/// Files and bytes of a folder and all below it, but for the mark; what cannot be read is left out.
struct FolderContent {
  std::uint64_t Files = 0, Bytes = 0;
};
FolderContent CountFolder(const FileSystem& files, std::u16string_view path);

/// Which state somebody means.
struct StateChoice {
  enum Result {
    Found,
    None,       ///< there is no such state
    Ambiguous,  ///< it may be more than one
  } Result = None;
  std::size_t Index = 0;  ///< in the list, where Found
};
/// `which`: a state's number in the list, counted from 1, "latest", its date as IsoText writes it
/// or the beginning of that, its path, or an archive's name. "/" counts as "-", and "T" as a blank.
StateChoice FindState(const std::vector<JobState>& states, std::u16string_view which);
/// The one that is taken without a choice: the newest whole one, else the newest with failures,
/// else the newest of which nothing is known. Nothing where all others are left.
std::optional<std::size_t> NewestState(const std::vector<JobState>& states);

/// Whether something to restore lies where a run of now would write.
bool HasStateOfNow(const RunContext& context, const BackupJob& job);

/// The state that a restore or a verification takes without a choice; empty where something lies in
/// the place of now, or nothing can be taken unasked.
std::u16string UnitTaken(const RunContext& context, const BackupJob& job);

/// The same for one that was asked for a moment ago: nothing may lie in the place of now any more,
/// which is another one each second. A unit that was chosen stays.
std::u16string UnitStillTaken(const RunContext& context, const BackupJob& job,
                              std::u16string_view unit);

/// The job as a restore or a verification of that state takes it: one of its archives is unpacked
/// whatever the job makes now.
BackupJob JobOfState(const BackupJob& job, std::u16string_view unit);

/// Notes in the job's extras what a verification of the state has found.
void NoteVerified(BackupJob& job, std::u16string_view unit, DateTime when, std::uint32_t damaged);

/// A state's date, kind and condition as a list shows them.
std::u16string StateDateText(const JobState& state);
std::u16string_view StateKindText(const JobState& state);
std::u16string StateHealthText(const JobState& state);
std::u16string VerifiedText(const JobState& state);

}  // namespace kavrel
