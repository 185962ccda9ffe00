#include "engine/restore.h"

#include "base/text.h"
#include "engine/heal.h"
#include "engine/refusal.h"
#include "engine/run_summary.h"
#include "engine/tree_walk.h"
#include "files/path.h"

namespace kavrel {

namespace {

bool IsKnown(RestoreMode mode) {
  return mode == RestoreMode::Full || mode == RestoreMode::Incremental;
}

class RestoreWalk final : public TreeWalk {
 public:
  RestoreWalk(RunContext& context, const BackupJob& job, RestoreMode mode)
      : TreeWalk(context, Scope::OfRestore(job.IncludeSubfolders, IsKnown(mode)),
                 {job.Source.WorkPath, job.Destination.WorkPath, mode == RestoreMode::Incremental,
                  u": 還原檔案 (失敗)：", false, false, job.Extras.KeepHardLinks}) {}

 protected:
  bool EnterFolder() override { return !Cancelled(); }
};

/// Enters only what leads to something picked.
class PickedWalk final : public TreeWalk {
 public:
  PickedWalk(RunContext& context, const BackupJob& job, const RestorePick& pick)
      : TreeWalk(context, Scope::OfPicked(job.Source.WorkPath, pick.Paths),
                 {job.Source.WorkPath, job.Destination.WorkPath, true, u": 還原檔案 (失敗)：",
                  !pick.ReplaceNewer, false, job.Extras.KeepHardLinks}),
        paths_wanted_(pick.Paths) {}

 protected:
  bool EnterFolder() override { return !Cancelled(); }
  /// A folder that only leads to something picked, or the target itself, is not a copy.
  bool FinishesFolder(const FolderPair& pair) override {
    const std::u16string at = scope_.Relative(paths_.Source());
    return pair.DestIsNew || (!at.empty() && paths_wanted_.Holds(at));
  }

 private:
  const PathSet& paths_wanted_;
};

bool IsInBackup(const FileSystem& files, std::u16string_view root, std::u16string_view path) {
  Result<Folder> folder = files.OpenFolder(root);
  if (path.empty()) return true;
  const std::vector<std::u16string_view> parts = Split(path, u'/');
  for (std::size_t i = 0; folder && i + 1 < parts.size(); ++i) {
    folder = folder->OpenFolder(parts[i]);
  }
  return folder && folder->Status(parts.back());
}

void RestorePicked(RunContext& context, const BackupJob& job, const RestorePick& pick) {
  RestorePick there = pick;
  there.Paths.Clear();
  for (const std::u16string& path : pick.Paths.Paths()) {
    if (IsInBackup(context.Files, job.Source.WorkPath, path)) {
      there.Paths.Add(path);
    } else {
      ++context.Counters.FailedFiles;
      context.Log.WriteTimed(u": 備份中找不到檔案 (失敗)：" + path);
    }
  }
  if (!there.Paths.Empty()) PickedWalk(context, job, there).Run();
}

/// False when it may be another job's backup and nobody wants it all the same.
bool MayBeRestored(RunContext& context, const BackupJob& job, std::u16string_view archive) {
  const std::u16string objection = RestoreObjection(context, job, job.Source.WorkPath, archive);
  return objection.empty() || context.Force ||
         AskToGoOn(context, job, RunRefusal::PlaceOfOthers, u"備份歸屬檢查", objection);
}

/// A restore from end to end: of everything in this mode, or of what was picked.
RunOutcome Restore(RunContext& context, BackupJob& job, RestoreMode mode, const RestorePick* pick,
                   const ArchivePicker& picker) {
  RunState& state = context.State;
  if (state.CancelRequested) return RunOutcome::NotStarted;
  job.LastRunResult = {};
  context.Counters = {};
  job.Source.WorkPath = ExpandedDestination(job, context.Clock);
  job.Destination.WorkPath = pick && !pick->Target.empty() ? pick->Target : job.Source.Path;
  if (!context.Files.FolderExists(job.Source.WorkPath)) {
    context.Host.ShowRunPanels(false);
    state.CancelRequested = true;
    return RunOutcome::SourceMissing;
  }
  std::u16string archive;
  if (job.Compressed) {
    if (!context.Archiver.Present()) return RunOutcome::NoArchiver;
    const auto picked =
        picker ? picker(ListArchives(context.Files, job.Source.WorkPath, &job)) : std::nullopt;
    if (!picked) return RunOutcome::NothingPicked;
    archive = JoinPath(job.Source.WorkPath, *picked);
  }
  context.Host.ShowRunPanels(true);
  context.Log.OpenJobLog();
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  HealStaged(context);
  context.Refusal = RunRefusal::None;
  if (!MayBeRestored(context, job, archive)) {
    state.CancelRequested = true;
  } else if (job.Compressed) {
    ArchiveContext archiving = context.Archiving();
    ExtractArchive(archiving, job, archive, job.Destination.WorkPath, pick);
  } else if (pick) {
    RestorePicked(context, job, *pick);
  } else {
    RestoreWalk(context, job, mode).Run();
  }
  if (!state.CancelRequested) HealStaged(context);
  job.LastRunResult = ToLastRunResult(context.Counters, state.CancelRequested);
  WriteRestoreSummary(context, job);
  context.Log.CloseJobLog();
  context.ProgramLog.TrimLogList(context.Settings.LogRestrictions());
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  if (context.Refusal == RunRefusal::None) return RunOutcome::Ran;
  state.CancelRequested = false;
  return RunOutcome::Guarded;
}

}  // namespace

RunOutcome RunRestoreJob(RunContext& context, BackupJob& job, RestoreMode mode,
                         const ArchivePicker& picker) {
  return Restore(context, job, mode, nullptr, picker);
}

RunOutcome RunRestorePicked(RunContext& context, BackupJob& job, const RestorePick& pick,
                            const ArchivePicker& picker) {
  return Restore(context, job, RestoreMode::Incremental, &pick, picker);
}

}  // namespace kavrel
