// Whose a place is: the folder that a run writes into, or the archive of its hour. A run that would
// enter one that another job made asks; nothing that another job made counts as a job's own.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "core/job_store.h"
#include "engine/folder_pair.h"
#include "files/owner_mark.h"
#include "files/path.h"

namespace kavrel {

struct RunContext;

/// What a run has found in its place before it wrote anything.
struct PlaceFound {
  bool Empty = false;  ///< nothing was there, or nothing that anybody has put there
  bool Marked = false;
  /// There is a mark, or an archive, that cannot be looked at: it may be anybody's.
  ErrorCode Unreadable = 0;
  OwnerMark Mark;  ///< where Marked
  /// Of a folder whose mark names the job: it is a copy of the one that the mark tells of, or, of a
  /// mirror, not known as the one that the last whole run wrote into. Others may have added to it.
  bool Elsewhere = false;
  std::u16string Archive;  ///< the fingerprint of the archive that is there
  OwnerMark Written;       ///< by this run so far
  bool Agreed = false;     ///< the user wants the run whatever is there
  bool Write = false;      ///< the run is to leave its mark
};

/// Looks at the place of a run whose work paths are set: at the archive, or without one at the
/// destination folder, where that is for the time being.
PlaceFound LookAtPlace(const RunContext& context, const BackupJob& job,
                       std::u16string_view archive);

/// Why a run should not enter the place that the context has found, in words; empty when it may.
std::u16string EntryObjection(const RunContext& context, const BackupJob& job,
                              std::u16string_view archive);
/// Gives a job that has none an identity. False, with none given, where the store cannot keep it: a
/// mark of a job that nobody knows would be another job's in the next run.
bool GiveIdentity(RunContext& context, BackupJob& job);
/// Looks at the place and notes it in the context. False when the run is
/// to stop: the place is another job's, the host was asked and did not agree. The report's Refusal
/// and the log tell why.
bool EnterPlace(RunContext& context, BackupJob& job, std::u16string_view archive = {});

/// Leaves the mark in the folder that the run is about to fill.
void MarkFolder(RunContext& context, const BackupJob& job, const Folder& dest);
/// To be called at the end of a mirror's walk that has looked at all folders, or that the user has
/// agreed to: what is in the folder is the job's now.
void MarkMirrored(RunContext& context, const BackupJob& job, const Folder& dest);
/// Leaves the mark beside the archive that the run has written.
void MarkArchive(RunContext& context, const BackupJob& job, std::u16string_view archive);

/// Notes in the mark of a dated folder or an archive (SetRunPaths) that the run into it has come to
/// its end, and what it put there.
void MarkWhole(RunContext& context, const BackupJob& job, std::u16string_view unit);

/// Whether the mark that a run found or left makes the place this job's alone, and a mirror's its
/// mirror.
bool IsOwnAfterRun(const PlaceFound& place, const BackupJob& job);
/// Whether the mark that was found makes the place a mirror of this job and its source, and not a
/// copy of one.
bool IsOwnMirror(const PlaceFound& place, const BackupJob& job);
/// A unit is what one run makes: the path of a dated folder, with its final separator, or of an
/// archive.
inline bool IsFolderUnit(std::u16string_view unit) {
  return EndsWithSeparator(unit);
}
/// The folder that the unit is, or that the archive is in.
inline std::u16string_view UnitFolder(std::u16string_view unit) {
  return IsFolderUnit(unit) ? unit : PathFolder(unit);
}
/// Whether the mark of a unit tells that this job alone made it, and here.
bool IsMadeBy(const OwnerMark& mark, const BackupJob& job, std::u16string_view unit);
/// The same of one whose mark is read for it. The error tells of one that cannot be looked at.
Result<bool> IsMadeBy(const FileSystem& files, const BackupJob& job, std::u16string_view unit);
/// The mark of a folder, or of an archive in it, where it says that this is a backup which a
/// restore of the job takes for its own: one by this job, or by a job with its source. IsNotFound
/// where there is no mark, and where it tells of others alone.
Result<OwnerMark> ReadJobMark(const FileSystem& files, const Folder& folder,
                              std::u16string_view archive, const BackupJob& job);
/// Whether other jobs than those have written there, too.
bool IsShared(const FileSystem& files, const OwnerMark& mark, const BackupJob& job);
/// Whether the mark of a folder, or of an archive in it, says that it is the backup of other jobs
/// alone: this path is where they wrote it, or it is not there any more, because its disk is
/// somewhere else now. A copy of a backup that is still there is nobody's.
bool IsPlaceOfOthers(const FileSystem& files, const Folder& folder, std::u16string_view archive,
                     std::u16string_view path, const BackupJob& job);

/// `path` where the open folder, or the archive in it, is the place of other jobs alone, else
/// nothing; a closed one is nobody's.
inline std::u16string_view PlaceOfOthersIn(const FileSystem& files, const Folder& folder,
                                           std::u16string_view archive, std::u16string_view path,
                                           const BackupJob& job) {
  const bool is = folder && IsPlaceOfOthers(files, folder, archive, path, job);
  return is ? path : std::u16string_view();
}

/// Whether a folder, with its final separator, has backups of other jobs in it, by their marks, or
/// something that is mounted there. True as well where that cannot be told.
bool HoldsPlaceOfOthers(const FileSystem& files, std::u16string_view path, const BackupJob& job);

/// Why a restore should not write to a folder that is not the source, in words: it is part of a
/// backup, the job's own or another's. Empty when it may.
std::u16string TargetObjection(const FileSystem& files, const BackupJob& job,
                               std::u16string_view target);

/// Why what lies in the job's place should not be restored as its own, in words; empty when it may.
/// `archive`: the path of the one that was picked.
std::u16string RestoreObjection(const RunContext& context, const BackupJob& job,
                                std::u16string_view folder, std::u16string_view archive);

using PathTest = std::function<bool(std::u16string_view)>;
/// The other jobs that write into the same folder as this one at this moment. `own`: its position
/// in the list, -1 for a job that is not in it. With `may_look`, only paths of which it is true are
/// looked at; the others are known by their text.
std::vector<const BackupJob*> JobsOfFolder(const FileSystem& files, Clock& clock,
                                           const std::vector<BackupJob>& jobs,
                                           std::u16string_view folder, std::int32_t own,
                                           const PathTest& may_look = {});

}  // namespace kavrel
