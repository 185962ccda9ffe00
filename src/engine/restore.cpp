#include "engine/restore.h"

#include "base/text.h"
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

/// Enters only what leads to something picked.
class PickedWalk final : public TreeWalk {
 public:
  PickedWalk(RunContext& context, const BackupJob& job, const RestorePick& pick)
      : TreeWalk(context, {job.Source.WorkPath, job.Destination.WorkPath, true, true,
                           u": 還原檔案 (失敗)：", !pick.ReplaceNewer, true}),
        paths_wanted_(pick.Paths),
        root_length_(paths_.Source().size()) {}

 protected:
  bool EnterFolder() override { return !Cancelled(); }
  void HandleFiles(const FolderPair& pair, FolderReader& reader,
                   std::vector<std::u16string>& subfolders) override {
    const std::u16string at = Here();
    while (const FolderEntry* entry = reader.Next()) {
      if (Cancelled()) return;
      const std::u16string path = RelativePath(at, entry->Name);
      const bool wanted = paths_wanted_.Holds(path);
      if (entry->Kind == FileKind::Folder) {
        if (wanted || paths_wanted_.LeadsTo(path)) NoteSubfolder(*entry, subfolders);
      } else if (wanted) {
        HandleFile(pair, entry->Name, entry->Kind);
      }
    }
  }
  /// A folder that only leads to something picked, or the target itself, is not a copy.
  bool FinishesFolder(const FolderPair& pair) override {
    const std::u16string at = Here();
    return pair.DestIsNew || (!at.empty() && paths_wanted_.Holds(at));
  }

 private:
  std::u16string Here() const {
    const std::u16string_view below = paths_.Source().substr(root_length_);
    if (below.empty()) return {};
    std::u16string path(below.substr(0, below.size() - 1));
    if (PathSeparator(paths_.Source()) == u'\\') path = ReplaceAll(path, u"\\", u"/");
    return path;
  }

  const PathSet& paths_wanted_;
  const std::size_t root_length_;
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
        picker ? picker(ListArchives(context.Files, job.Source.WorkPath)) : std::nullopt;
    if (!picked) return RunOutcome::NothingPicked;
    archive = JoinPath(job.Source.WorkPath, *picked);
  }
  context.Host.ShowRunPanels(true);
  context.Log.OpenJobLog();
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  HealStaged(context);
  if (job.Compressed) {
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
  return RunOutcome::Ran;
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
