#include "engine/backup_walk.h"

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "base/wildcard.h"
#include "engine/file_choice.h"
#include "engine/sync_folder.h"
#include "engine/tree_walk.h"
#include "files/error_text.h"
#include "files/path.h"
#include "rules/file_filters.h"

namespace kavrel {

namespace {

class BackupWalk final : public TreeWalk {
 public:
  BackupWalk(RunContext& context, const BackupJob& job);

 protected:
  bool EnterFolder() override;
  bool BeforeFiles(const FolderPair& pair) override;
  void DestinationFailed() override;
  bool KeepsMetadata() const override { return true; }
  void HandleFiles(const FolderPair& pair, FolderReader& reader,
                   std::vector<std::u16string>& subfolders) override;
  bool LeavesFileOut(std::u16string_view name) override;
  bool WithinSizeLimit(const FileStatus& source) const override;
  bool IsPlannedGone(std::u16string_view name) const override;
  bool IsGoing(std::u16string_view name) const override {
    return synchronisation_ && synchronisation_->IsGoing(name);
  }

 private:
  void HandleByPatterns(const FolderPair& pair, FolderReader& reader,
                        std::vector<std::u16string>& subfolders);

  const BackupJob& job_;
  const FileChoice choice_;
  std::vector<std::u16string> patterns_;
  FolderExclusions exclusions_;  ///< of the present folder
  std::optional<Synchronisation> synchronisation_;
};

BackupWalk::BackupWalk(RunContext& context, const BackupJob& job)
    : TreeWalk(context, {job.Source.WorkPath, job.Destination.WorkPath, job.Differential,
                         job.IncludeSubfolders, u": 備份檔案 (失敗)："}),
      job_(job),
      choice_(job) {
  for (std::u16string_view pattern : SplitPatterns(job.FileTypes)) patterns_.emplace_back(pattern);
}

bool BackupWalk::EnterFolder() {
  ++context_.Counters.Folders;
  if (Cancelled()) return false;
  if (!context_.Exclusions.IsFolderExcluded(paths_.Source())) return true;
  context_.LogTimed(u"排除資料夾 (成功)：", paths_.Source());
  ++context_.Counters.ExcludedFolders;
  if (context_.Plan) {
    context_.Plan->Add(PlanAction::LeaveOut, PlanReason::Rule, true, BelowRoot({}));
  }
  return false;
}

bool BackupWalk::BeforeFiles(const FolderPair& pair) {
  if (!job_.Synchronise || !pair.Source) return true;
  if (!synchronisation_) {
    synchronisation_.emplace(context_, job_, pair.Source);
    if (!context_.Plan) synchronisation_->UseGroup(Group());
  }
  return synchronisation_->SyncFolder(pair, paths_);
}

void BackupWalk::DestinationFailed() {
  context_.LogTimed(u": 建立目錄 (失敗)：", paths_.Dest());
}

bool BackupWalk::LeavesFileOut(std::u16string_view name) {
  return exclusions_.IsFileExcluded(name);
}

bool BackupWalk::IsPlannedGone(std::u16string_view name) const {
  if (!synchronisation_) return false;
  std::u16string path(name.empty() ? DropBackslash(paths_.Dest()) : paths_.Dest());
  return synchronisation_->IsPlannedGone(path += name);
}

bool BackupWalk::WithinSizeLimit(const FileStatus& source) const {
  return choice_.WithinSizeLimit(source);
}

void BackupWalk::HandleFiles(const FolderPair& pair, FolderReader& reader,
                             std::vector<std::u16string>& subfolders) {
  exclusions_ = context_.Exclusions.In(paths_.Source());
  if (job_.ExcludeFileTypes) {
    while (const FolderEntry* entry = reader.Next()) {
      if (Cancelled()) return;
      if (entry->Kind == FileKind::Folder) {
        NoteSubfolder(*entry, subfolders);
      } else if (!MatchesPatternList(entry->Name, job_.FileTypes)) {
        HandleFile(pair, entry->Name, entry->Kind);
      }
    }
  } else if (patterns_.size() == 1 && patterns_[0] == kAllFiles) {
    TreeWalk::HandleFiles(pair, reader, subfolders);
  } else {
    HandleByPatterns(pair, reader, subfolders);
  }
}

void BackupWalk::HandleByPatterns(const FolderPair& pair, FolderReader& reader,
                                  std::vector<std::u16string>& subfolders) {
  // One pass over the folder, a list of finds for each pattern: entries of the first pattern come
  // first, and a name that two patterns find comes twice.
  std::vector<std::vector<FolderEntry>> finds(patterns_.size());
  while (const FolderEntry* entry = reader.Next()) {
    if (entry->Kind == FileKind::Folder) {
      NoteSubfolder(*entry, subfolders);
      continue;
    }
    for (std::size_t i = 0; i < patterns_.size(); ++i) {
      if (MatchesFileMask(entry->Name, patterns_[i])) finds[i].push_back(*entry);
    }
  }
  std::unordered_set<std::u16string_view> before;
  for (const std::vector<FolderEntry>& found : finds) {
    for (const FolderEntry& entry : found) {
      HandleFile(pair, entry.Name, entry.Kind, !before.insert(entry.Name).second);
    }
  }
}

/// Without its rules a run backs up more than it is to, so that must not pass for a good one.
void MakeSureOfRules(RunContext& context) {
  ExclusionSet& rules = context.Exclusions;
  if (!rules.ExcEnabled || !rules.File().Unreadable()) return;
  rules.LoadExclusions();
  const ErrorCode error = rules.File().Unreadable();
  if (!error) return;
  ++context.Counters.FailedFiles;
  context.LogTimed(FailText(context.State, error, u": 讀取排除規則 (失敗)", rules.File().Path()));
  if (context.Plan) {
    context.Plan->Add(PlanAction::Fail, PlanReason::Unreadable, false, rules.File().Path());
  }
}

}  // namespace

void BackupFolder(RunContext& context, const BackupJob& job) {
  MakeSureOfRules(context);
  BackupWalk(context, job).Run();
}

}  // namespace kavrel
