#include "engine/restore.h"

#include "engine/heal.h"
#include "engine/run_summary.h"
#include "engine/tree_walk.h"
#include "files/path.h"

namespace kavrel {

namespace {

/// No exclusions, no file types, no size limit: what was backed up comes back.
class RestoreWalk final : public TreeWalk {
 public:
  RestoreWalk(RunContext& context, const BackupJob& job, RestoreMode mode)
      : TreeWalk(context,
                 {job.Source.WorkPath, job.Destination.WorkPath, mode == RestoreMode::Incremental,
                  job.IncludeSubfolders, u": 還原檔案 (失敗)："}),
        known_(mode == RestoreMode::Full || mode == RestoreMode::Incremental) {}

 protected:
  bool EnterFolder() override { return !Cancelled(); }
  void HandleFiles(const FolderPair& pair, FolderReader& reader,
                   std::vector<std::u16string>& subfolders) override {
    if (known_) return TreeWalk::HandleFiles(pair, reader, subfolders);
    while (const FolderEntry* entry = reader.Next()) {
      if (entry->Kind == FileKind::Folder) NoteSubfolder(*entry, subfolders);
    }
  }

 private:
  const bool known_;
};

}  // namespace

RunOutcome RunRestoreJob(RunContext& context, BackupJob& job, RestoreMode mode,
                         const ArchivePicker& picker) {
  RunState& state = context.State;
  if (state.CancelRequested) return RunOutcome::NotStarted;
  job.LastRunResult = {};
  context.Counters = {};
  job.Source.WorkPath = ExpandedDestination(job, context.Clock);
  job.Destination.WorkPath = job.Source.Path;
  if (!context.Files.FolderExists(job.Source.WorkPath)) {
    context.Host.ShowRunPanels(false);
    state.CancelRequested = true;
    return RunOutcome::SourceMissing;
  }
  std::u16string archive;
  if (job.Compressed) {
    if (!context.Archiver.Present()) return RunOutcome::NoArchiver;
    const auto picked =
        picker ? picker(ListArchives(context.Files, job.Source.WorkPath)) : std::nullopt;
    if (!picked) return RunOutcome::NothingPicked;
    archive = JoinPath(job.Source.WorkPath, *picked);
  }
  context.Host.ShowRunPanels(true);
  context.Log.OpenJobLog();
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  HealAsides(context);
  if (job.Compressed) {
    ArchiveContext archiving = context.Archiving();
    ExtractArchive(archiving, job, archive, job.Destination.WorkPath);
  } else {
    RestoreWalk(context, job, mode).Run();
  }
  HealAsides(context);
  job.LastRunResult = ToLastRunResult(context.Counters, state.CancelRequested);
  WriteRestoreSummary(context, job);
  context.Log.CloseJobLog();
  context.ProgramLog.TrimLogList(context.Settings.LogRestrictions());
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  return RunOutcome::Ran;
}

}  // namespace kavrel
