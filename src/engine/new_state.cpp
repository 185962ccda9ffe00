#include "engine/new_state.h"

#include "engine/states.h"
#include "files/error_text.h"
#include "files/path.h"
#include "files/place.h"
#include "platform/error_codes.h"
#include "rules/date_tokens.h"

namespace kavrel {

namespace {

/// Renames a folder, and has that on the disk.
ErrorCode MoveFolder(const FileSystem& files, std::u16string_view from, std::u16string_view to) {
  const std::u16string_view path = PathFolder(DropBackslash(to));
  const Result<Folder> parent = files.MakeFolders(path);
  if (!parent) return parent.Error;
  if (const ErrorCode error = files.Rename(DropBackslash(from), DropBackslash(to))) return error;
  return parent->Sync();
}

/// Where an interrupted run of this job alone has left something; empty where there is nothing.
/// What was whole and had only to get its name gets it, which `named` tells.
std::u16string FindLeft(const RunContext& context, const BackupJob& job,
                        const std::vector<JobState>& states, bool changes, bool& named) {
  if (!NamesUnfinished(job)) return {};
  for (const JobState& state : states) {
    const std::u16string finished = state.IsArchive ? std::u16string() : FinishedPath(state.Unit);
    if (finished.empty() || job.Extras.Id.empty()) continue;
    const Result<Folder> folder = context.Files.OpenFolder(state.Unit);
    const Result<OwnerMark> mark =
        folder ? ReadOwnerMark(*folder) : Result<OwnerMark>::Fail(folder.Error);
    if (!mark || !mark->IsAlone(job.Extras.Id)) continue;
    if (!mark->Figures) return state.Unit;
    if (changes && !MoveFolder(context.Files, state.Unit, finished)) named = true;
  }
  return {};
}

/// Removes what a run has left that was killed between making its folder and marking it: nothing
/// but empty folders, of an hour ago, for another one may be at work.
void RemoveBare(const RunContext& context, const BackupJob& job,
                const std::vector<std::u16string>& bare) {
  for (const std::u16string& unit : bare) {
    const std::u16string_view path = DropBackslash(unit);
    const Result<FileStatus> status = context.Files.Status(path);
    if (!status || context.Time.Now() - LocalTime(status->Written) < std::chrono::hours(1)) {
      continue;
    }
    const Result<Folder> parent = context.Files.OpenFolder(PathFolder(path));
    if (!parent || parent->RemoveFolder(PathName(path))) continue;
    RemoveEmptyAbove(context, job, unit);
  }
}

/// Opens the newest state that lies on `disk`, null for any, as the former one.
void OpenFormer(RunContext& context, const BackupJob& job, std::u16string_view unit,
                const std::vector<JobState>& states, const Folder& source, SharedContent::Ways ways,
                const FileStatus* disk) {
  for (const JobState& state : states) {
    // To compare with, one will do that a second run was to bring up to date and did not.
    const bool serves = IsEnded(state) || (!disk && WasWhole(state));
    if (state.IsArchive || !serves || IsSamePath(state.Unit, unit)) continue;
    const Result<Folder> folder = context.Files.OpenFolder(state.Unit);
    const Result<FileStatus> status = StatusOf(folder);
    const Result<OwnerMark> mark =
        folder ? ReadOwnerMark(*folder) : Result<OwnerMark>::Fail(folder.Error);
    const bool there = status && (!disk || status->Device == disk->Device);
    if (!there || !mark || !mark->IsAlone(job.Extras.Id)) continue;
    std::unique_ptr<StateRecord> record = StateRecord::Open(
        context.Files, StateRecordPath(context.Files, job.Extras.Id), {mark->Number, mark->Begun});
    context.Making.Former =
        FormerState::Open(context.Files, state.Unit, source, ways, std::move(record));
    return;
  }
}

/// The newest state that a new one can take from, on the disk where that will be; else, for whoever
/// watches what changes, the newest to compare with.
void FindFormer(RunContext& context, const BackupJob& job, std::u16string_view unit,
                const std::vector<JobState>& states, const Folder& source) {
  const SharedContent::Ways ways = WaysOf(job);
  if (ways.Clone || ways.Link) {
    const Place place = FindPlace(context.Files, DestinationPlace(context, job));
    const Result<FileStatus> disk =
        place.Nearest ? place.Nearest.Status() : Result<FileStatus>::Fail(kErrNotFound);
    if (disk && place.Nearest.Manners().LinksFiles) {
      OpenFormer(context, job, unit, states, source, ways, &*disk);
    }
  }
  if (!context.Making.Former && context.Changes) {
    OpenFormer(context, job, unit, states, source, {}, nullptr);
  }
}

}  // namespace

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

SharedContent::Ways WaysOf(const BackupJob& job) {
  switch (job.Extras.StateLinks) {
    case LinkStates::Auto: {
      const bool compares = job.Differential || job.Synchronise;
      return {compares, compares};
    }
    case LinkStates::Hard:
      return {false, true};
    case LinkStates::Reflink:
      return {true, false};
    case LinkStates::Off:
      break;
  }
  return {};
}

void BeginState(RunContext& context, const BackupJob& job, std::u16string_view unit, bool changes) {
  context.Making = {};
  if (unit.empty() || job.Compressed) return;
  NewState& making = context.Making;
  const SharedContent::Ways ways = WaysOf(job);
  if (changes && (ways.Clone || ways.Link) && !job.Extras.Id.empty()) {
    making.Record = std::make_shared<StateRecordWriter>(
        context.Files, StateRecordPath(context.Files, job.Extras.Id));
  }
  std::vector<std::u16string> bare;
  std::vector<JobState> states = ListStates(context, job, &bare);
  if (changes) RemoveBare(context, job, bare);
  bool named = false;
  const std::u16string left = FindLeft(context, job, states, changes, named);
  // That may be the unit itself, or the newest state.
  if (named) states = ListStates(context, job);
  const Result<Folder> source = context.Files.OpenFolder(job.Source.WorkPath);
  if (source) making.Local = LocalDevice(*source);
  if (context.Files.FolderExists(unit)) return;
  const bool named_late = job.Extras.UnfinishedName && NamesUnfinished(job, unit);
  if (named_late) making.Place = UnfinishedPath(unit);
  // What a deletion has left is taken up by jobs whose folders bear their names at once, too.
  const std::u16string place(named_late ? making.Place : std::u16string(unit));
  if (!left.empty() && !changes) {
    if (named_late) making.Place = left;
  } else if (!left.empty() && !IsSamePath(left, place)) {
    making.TakenUp = MoveFolder(context.Files, left, place) == 0;
    if (making.TakenUp) RemoveEmptyAbove(context, job, left);
  }
  making.TakenUp = making.TakenUp || (named_late && IsSamePath(left, making.Place));
  if (source) FindFormer(context, job, unit, states, *source);
}

BackupJob WalkedJob(const RunContext& context, const BackupJob& job) {
  BackupJob walked = job;
  if (!context.Making.TakenUp) return walked;
  walked.Differential = walked.Synchronise = true;
  walked.UseRecycleBin = false;
  walked.Extras.GuardMirror = false;
  return walked;
}

bool NameState(RunContext& context, std::u16string_view unit) {
  const std::u16string& place = context.Making.Place;
  if (place.empty()) return true;
  const ErrorCode error = MoveFolder(context.Files, place, unit);
  // That there is none to name has been told as what it is.
  if (error && context.Files.FolderExists(place)) {
    context.Fail(u": 完成備份資料夾的命名 (失敗)：", unit, error);
  }
  return !error;
}

void KeepRecord(RunContext& context, const BackupJob& job, std::u16string_view unit) {
  if (!context.Making.Record) return;
  const Result<Folder> folder = context.Files.OpenFolder(unit);
  const Result<OwnerMark> mark =
      folder ? ReadOwnerMark(*folder) : Result<OwnerMark>::Fail(folder.Error);
  if (mark && mark->IsAlone(job.Extras.Id)) {
    context.Making.Record->Finish({mark->Number, mark->Begun});
  }
}

}  // namespace kavrel
