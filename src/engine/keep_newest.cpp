#include "engine/keep_newest.h"

#include <algorithm>

#include "engine/folder_pair.h"
#include "engine/run_driver.h"
#include "files/error_text.h"
#include "files/path.h"
#include "files/place.h"
#include "platform/error_codes.h"
#include "platform/recycle_bin.h"
#include "rules/date_tokens.h"
#include "walk/source_place.h"

namespace kavrel {

namespace {

// Enough for an archive an hour over a year; what is forgotten only stays.
constexpr std::size_t kMostNoted = 10000;

struct Units {
  std::vector<std::u16string> Outdated;  ///< the oldest ones, too many beside the one of this run
  std::vector<std::u16string> NotOwn;    ///< that bear no mark of this job alone
};

/// Sorts what the job's runs are said to have made. What is not there, or cannot be
/// looked at, counts for nothing.
Units SortUnits(const FileSystem& files, const BackupJob& job, std::u16string_view unit) {
  Units units;
  std::vector<std::u16string>& old = units.Outdated;
  for (const std::u16string& made : job.Extras.Made) {
    if (made != unit) old.push_back(made);
  }
  const auto keep = static_cast<std::size_t>(job.Extras.KeepNewest);
  if (keep == 0 || old.size() < keep) return {};
  std::erase_if(old, [&](const std::u16string& made) {
    const Result<bool> own = IsMadeBy(files, job, made);
    // One that is not there may lie on a disk that is not there.
    if (own && !*own && files.Status(DropBackslash(made))) units.NotOwn.push_back(made);
    return !own || !*own;
  });
  old.resize(old.size() - std::min(old.size(), keep - 1));
  return units;
}

/// Where it cannot be told, it may.
bool MayLieIn(const Folder& place, const FileStatus& folder) {
  const Result<std::vector<FileStatus>> lineage = place.Lineage();
  return !lineage || lineage->empty() || IsAmong(*lineage, folder);
}

/// False for a folder that the source or this run's own backup lies in, or that is a disk mounted
/// there.
bool MayGo(const RunContext& context, const BackupJob& job, const Folder& parent,
           std::u16string_view name, const FileStatus& unit) {
  const Result<Folder> source = context.Files.OpenFolder(job.Source.WorkPath);
  // Of a run that is only planned it need not be there.
  const Place dest = FindPlace(context.Files, job.Destination.WorkPath);
  const Result<FileStatus> above = parent.Status();
  if (!source || !dest.Nearest || !above || above->Mount != unit.Mount) return false;
  if (MayLieIn(*source, unit) || MayLieIn(dest.Nearest, unit)) return false;
  const Result<Folder> folder = parent.OpenFolder(name);
  return !folder ||
         !SourcePlace(context.Files, job.Source.WorkPath, *source, *folder).IsIn(*folder);
}

/// Removes the dated folders above a unit that are empty now, never the fixed part of the path.
void RemoveEmptyAbove(const RunContext& context, const BackupJob& job, std::u16string_view unit) {
  const std::u16string& entered = job.Destination.Path;
  const std::u16string fixed = HasDateTags(entered) ? DatedPath(entered).Fixed() : std::u16string();
  std::u16string_view path = PathFolder(unit);
  while (!fixed.empty() && path.size() > fixed.size() && path.starts_with(fixed)) {
    const std::u16string_view name = PathName(DropBackslash(path));
    path = PathFolder(path);
    const Result<Folder> parent = context.Files.OpenFolder(path);
    if (!parent || parent->RemoveFolder(name)) return;
  }
}

/// Whether another job has something in the folder, by its mark or by the list, or writes there.
bool HoldsAnothers(const RunContext& context, const BackupJob& job, std::u16string_view unit) {
  const auto inside = [&](std::u16string_view path) {
    return path.size() > unit.size() && PathStartsWith(path, unit);
  };
  const std::vector<BackupJob>& jobs = context.Store.Jobs;
  return IsFolderUnit(unit) &&
         (std::any_of(jobs.begin(), jobs.end(),
                      [&](const BackupJob& other) {
                        if (other.Deleted || other.JobIndex == job.JobIndex) return false;
                        return inside(AddBackslash(ExpandedDestination(other, context.Clock))) ||
                               std::any_of(other.Extras.Made.begin(), other.Extras.Made.end(),
                                           inside);
                      }) ||
          HoldsPlaceOfOthers(context.Files, unit, job));
}

/// Whether nothing but this job's own goes with the unit.
bool IsAlone(const RunContext& context, const BackupJob& job, std::u16string_view unit) {
  const std::u16string_view path = DropBackslash(unit);
  const Result<Folder> parent = context.Files.OpenFolder(PathFolder(path));
  const Result<FileStatus> status = StatusIn(parent, PathName(path));
  return status && MayGo(context, job, *parent, PathName(path), *status) &&
         !HoldsAnothers(context, job, unit);
}

/// False when the unit stays where it is and is tried again after the next run.
bool MoveToBin(RunContext& context, const BackupJob& job, RecycleBin& bin,
               const std::u16string& unit) {
  const std::u16string_view path = DropBackslash(unit);
  const Result<Folder> parent = context.Files.OpenFolder(PathFolder(path));
  const Result<FileStatus> status = StatusIn(parent, PathName(path));
  // What is gone, or has become something else, is no backup of this job any more.
  if (IsNotFound(status.Error)) return true;
  const FileKind kind = IsFolderUnit(unit) ? FileKind::Folder : FileKind::File;
  if (status && status->Kind != kind) return true;
  const bool alone = status && IsAlone(context, job, unit);
  Result<Folder> folder = Result<Folder>::Fail(kErrNotFound);
  if (alone && kind == FileKind::Folder && !OwnerMayAll(*status)) {
    // A read-only folder cannot be moved elsewhere.
    folder = parent->OpenFolder(PathName(path));
    if (folder) folder->MakeWritable();
  }
  if (!alone || bin.Recycle(*parent, PathName(path))) {
    if (folder) folder->SetAttributes(*status, *folder);
    ++context.Report.Counters.WarningFiles;
    context.Tell(u": 舊備份移到資源回收筒 (失敗)：", unit);
    return false;
  }
  context.LogTimed(u": 舊備份移到資源回收筒 (成功)：", unit);
  if (kind == FileKind::File) parent->RemoveFile(ArchiveMark(PathName(path)));
  if (!parent->Manners().SyncsWhole) parent->Sync();
  RemoveEmptyAbove(context, job, unit);
  return true;
}

/// What was moved is to be where the log tells, after a power cut as well.
void SyncMoves(RunContext& context, std::u16string_view unit) {
  const std::u16string_view path = UnitFolder(unit);
  const Result<Folder> folder = context.Files.OpenFolder(path);
  const ErrorCode error = folder ? folder->SyncDisk() : folder.Error;
  if (!error) return;
  context.FailSync(path, error);
}

}  // namespace

std::u16string SetRunPaths(BackupJob& job, Clock& clock) {
  job.Source.WorkPath = job.Source.Path;
  job.Destination.WorkPath = ExpandedDestination(job, clock);
  if (job.Compressed) return ArchivePath(job, clock);
  if (!HasDateTags(job.Destination.Path)) return {};
  return AddBackslash(job.Destination.WorkPath);
}

bool NoteUnit(const RunContext& context, BackupJob& job, std::u16string_view unit) {
  JobExtras& extras = job.Extras;
  if (unit.empty()) return false;
  const Result<bool> own = IsMadeBy(context.Files, job, unit);
  if (!own || !*own) return false;
  std::erase(extras.Made, unit);
  if (extras.Made.size() == kMostNoted) extras.Made.erase(extras.Made.begin());
  extras.Made.emplace_back(unit);
  return true;
}

void KeepNewest(RunContext& context, BackupJob& job, std::u16string_view unit) {
  RecycleBin bin(context.Clock);
  const Units units = SortUnits(context.Files, job, unit);
  for (const std::u16string& other : units.NotOwn) {
    context.LogTimed(u": 保留沒有這個排程標記的舊備份 (略過)：", other);
    std::erase(job.Extras.Made, other);
  }
  for (const std::u16string& old : units.Outdated) {
    if (!MoveToBin(context, job, bin, old)) continue;
    std::erase(job.Extras.Made, old);
    std::erase_if(job.Extras.Verified, [&](const VerifiedState& one) { return one.Unit == old; });
  }
  if (!units.Outdated.empty()) SyncMoves(context, unit);
}

void PlanKeepNewest(const RunContext& context, const BackupJob& job, std::u16string_view unit,
                    RunPlan& plan) {
  if (unit.empty()) return;
  if (context.Files.Status(DropBackslash(unit))) {
    const Result<bool> own = IsMadeBy(context.Files, job, unit);
    if (!own || !*own) return;
  }
  for (const std::u16string& old : SortUnits(context.Files, job, unit).Outdated) {
    if (!context.Files.Status(DropBackslash(old))) continue;
    const bool alone = IsAlone(context, job, old);
    plan.Add(alone ? PlanAction::Recycle : PlanAction::Fail,
             alone ? PlanReason::Outdated : PlanReason::Blocked, IsFolderUnit(old), old);
  }
}

}  // namespace kavrel
