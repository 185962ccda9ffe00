#include "engine/keep_newest.h"

#include <algorithm>

#include "archive/recovery_data.h"
#include "engine/change_guard.h"
#include "engine/folder_pair.h"
#include "engine/new_state.h"
#include "engine/run_driver.h"
#include "engine/state_fates.h"
#include "files/error_text.h"
#include "files/path.h"
#include "files/place.h"
#include "files/remove_tree.h"
#include "log/log_end.h"
#include "platform/error_codes.h"
#include "platform/recycle_bin.h"
#include "rules/date_tokens.h"
#include "walk/source_place.h"

namespace kavrel {

namespace {

// Enough for an archive an hour over a year; what is forgotten only stays.
constexpr std::size_t kMostNoted = 10000;
constexpr std::u16string_view kTooManyGo =
    u": 依保留計畫一次要移除過半的舊備份，全部保留，請檢查時鐘與計畫 (略過)：";

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
                        return inside(AddBackslash(ExpandedDestination(other, context.Time))) ||
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

/// Takes the folder away for good. It is no state any more before anything in it goes: what an
/// interrupted end leaves is whole, or what an interrupted run leaves, and tells by its mark until
/// the last whose it is.
ErrorCode DeleteFolderUnit(const FileSystem& files, const BackupJob& job, const Folder& parent,
                           const Folder& folder, const std::u16string& unit) {
  Result<OwnerMark> mark = ReadOwnerMark(folder);
  if (!mark) return mark.Error;
  std::u16string_view name = PathName(DropBackslash(unit));
  const std::u16string unfinished = UnfinishedPath(unit);
  if (NamesUnfinished(job, unit)) {
    const ErrorCode error = files.Rename(DropBackslash(unit), DropBackslash(unfinished));
    if (error) return error;
    name = PathName(DropBackslash(unfinished));
    if (const ErrorCode unsure = parent.Sync()) return unsure;
  }
  // Wine cannot use what was opened under the former name.
  const Result<Folder> now = parent.OpenFolder(name);
  if (!now) return now.Error;
  mark->Figures.reset();
  if (const ErrorCode error = WriteOwnerMark(*now, *mark)) return error;
  return RemoveTree(parent, name, kOwnerMark);
}

/// Moves it to the bin or deletes it, as the job has it.
ErrorCode LetGo(const RunContext& context, const BackupJob& job, RecycleBin& bin,
                const Folder& parent, const Result<Folder>& folder, const std::u16string& unit) {
  const std::u16string_view name = PathName(DropBackslash(unit));
  const auto let_go = [&](std::u16string_view file) {
    return job.Extras.DeletesOld ? parent.RemoveFile(file) : bin.Recycle(parent, file);
  };
  if (IsFolderUnit(unit)) {
    if (!job.Extras.DeletesOld) return bin.Recycle(parent, name);
    return folder ? DeleteFolderUnit(context.Files, job, parent, *folder, unit) : folder.Error;
  }
  // Recovery data goes first: without its archive nobody would know whose it is.
  const std::u16string recovery = RecoveryName(name);
  if (parent.Status(recovery)) {
    if (const ErrorCode error = let_go(recovery)) return error;
  }
  return let_go(name);
}

/// False when the unit stays where it is and is tried again after the next run.
bool LetUnitGo(RunContext& context, const BackupJob& job, RecycleBin& bin,
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
  if (alone && kind == FileKind::Folder) {
    folder = parent->OpenFolder(PathName(path));
    // A read-only folder cannot be moved elsewhere.
    if (folder && !OwnerMayAll(*status)) folder->MakeWritable();
  }
  const bool deletes = job.Extras.DeletesOld;
  if (!alone || LetGo(context, job, bin, *parent, folder, unit)) {
    if (folder && !OwnerMayAll(*status)) folder->SetAttributes(*status, *folder);
    ++context.Report.Counters.WarningFiles;
    context.Tell(deletes ? u": 刪除舊備份 (失敗)：" : u": 舊備份移到資源回收筒 (失敗)：", unit);
    return false;
  }
  context.LogTimed(deletes ? u": 刪除舊備份 (成功)：" : u": 舊備份移到資源回收筒 (成功)：", unit);
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
  if (const std::u16string alarm = ChangeAlarmText(job); !alarm.empty()) {
    context.LogTimed(kChangesAlarm, alarm);
    return;
  }
  RecycleBin bin(context.Time);
  const StateFates fates = FatesOf(context, job, unit, job.RunStarted);
  for (const std::u16string& other : fates.NotOwn) {
    context.LogTimed(u": 保留沒有這個排程標記的舊備份 (略過)：", other);
    std::erase(job.Extras.Made, other);
  }
  job.Extras.Rests = fates.Rests;
  if (fates.TooMany && !job.Extras.KeepAgreed) {
    ++context.Report.Counters.WarningFiles;
    context.Tell(kTooManyGo, UnitFolder(unit));
    return;
  }
  const bool goes = std::any_of(fates.Units.begin(), fates.Units.end(),
                                [](const StateFate& fate) { return !fate.Verdict.Stays(); });
  // What this run has made is known before anything goes for it, should the run be killed.
  if (goes && !context.Store.SaveJobs()) return;
  bool gone = false;
  // The oldest first: what is interrupted has left the newest.
  for (auto fate = fates.Units.rbegin(); fate != fates.Units.rend(); ++fate) {
    if (fate->Verdict.Stays() || context.State.CancelRequested) continue;
    if (!LetUnitGo(context, job, bin, fate->Unit)) continue;
    gone = true;
    std::erase(job.Extras.Made, fate->Unit);
    std::erase_if(job.Extras.Verified,
                  [&](const VerifiedState& one) { return one.Unit == fate->Unit; });
  }
  if (!context.State.CancelRequested) job.Extras.KeepAgreed = false;
  if (gone) SyncMoves(context, unit);
}

void PlanKeepNewest(const RunContext& context, const BackupJob& job, std::u16string_view unit,
                    RunPlan& plan) {
  if (unit.empty() || IsAlarmed(job.Extras)) return;
  if (context.Files.Status(DropBackslash(unit))) {
    const Result<bool> own = IsMadeBy(context.Files, job, unit);
    if (!own || !*own) return;
  }
  const StateFates fates = FatesOf(context, job, unit, context.Time.Now());
  if (fates.TooMany && !job.Extras.KeepAgreed) return;
  for (auto fate = fates.Units.rbegin(); fate != fates.Units.rend(); ++fate) {
    if (fate->Verdict.Stays() || !context.Files.Status(DropBackslash(fate->Unit))) continue;
    const bool alone = IsAlone(context, job, fate->Unit);
    const PlanAction goes = job.Extras.DeletesOld ? PlanAction::Delete : PlanAction::Recycle;
    const PlanReason why =
        fate->Verdict.Why == KeepVerdict::TooMany ? PlanReason::Outdated : PlanReason::Thinned;
    plan.Add(alone ? goes : PlanAction::Fail, alone ? why : PlanReason::Blocked,
             IsFolderUnit(fate->Unit), fate->Unit);
  }
}

}  // namespace kavrel
