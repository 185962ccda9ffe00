#include "engine/backup_walk.h"

#include <optional>
#include <string>

#include "engine/rule_check.h"
#include "engine/sync_folder.h"
#include "engine/tree_walk.h"
#include "files/path.h"

namespace kavrel {

namespace {

class BackupWalk final : public TreeWalk {
 public:
  BackupWalk(RunContext& context, const BackupJob& job);

 protected:
  bool EnterFolder() override;
  bool BeforeFiles(const FolderPair& pair) override;
  bool MayChange() override { return !synchronisation_ || synchronisation_->PassesGuard(); }
  bool KeepsMetadata() const override { return true; }
  std::u16string_view PlaceOfOthers(const FolderPair& pair, std::u16string_view archive) override {
    path_.assign(paths_.Dest()) += archive;
    return PlaceOfOthersIn(context_.Files, pair.Dest, archive, path_, job_);
  }
  void RootReady(const FolderPair& pair) override { MarkFolder(context_, job_, pair.Dest); }
  void RootDone(const FolderPair& pair) override {
    if (job_.Synchronise && (all_seen_ || context_.Place.Agreed)) {
      MarkMirrored(context_, job_, pair.Dest);
    }
  }
  bool IsPlannedGone(std::u16string_view name) const override;
  bool IsGoing(std::u16string_view name) const override {
    return synchronisation_ && synchronisation_->IsGoing(name);
  }

 private:
  const BackupJob& job_;
  std::u16string path_;
  std::optional<Synchronisation> synchronisation_;
  bool all_seen_ = true;  ///< each folder of the source could be looked through
};

BackupWalk::BackupWalk(RunContext& context, const BackupJob& job)
    : TreeWalk(context, Scope(job, context.Exclusions, job.Destination.WorkPath),
               {job.Source.WorkPath, job.Destination.WorkPath, job.Differential,
                u": 備份檔案 (失敗)：", false, job.Synchronise, job.Extras.KeepHardLinks}),
      job_(job) {}

bool BackupWalk::EnterFolder() {
  ++context_.Counters.Folders;
  return !Cancelled();
}

bool BackupWalk::BeforeFiles(const FolderPair& pair) {
  if (!pair.Source) all_seen_ = false;
  if (!job_.Synchronise || !pair.Source) return true;
  if (!synchronisation_) {
    synchronisation_.emplace(context_, job_, pair.Source);
    if (!context_.Plan) synchronisation_->UseGroup(Group());
  }
  const bool seen = synchronisation_->SyncFolder(pair, paths_);
  all_seen_ = all_seen_ && seen && !pair.SourceError;
  return seen;
}

bool BackupWalk::IsPlannedGone(std::u16string_view name) const {
  if (!synchronisation_) return false;
  std::u16string path(name.empty() ? DropBackslash(paths_.Dest()) : paths_.Dest());
  return synchronisation_->IsPlannedGone(path += name);
}

}  // namespace

void BackupFolder(RunContext& context, const BackupJob& job) {
  // Without its rules a run backs up more than it is to.
  if (!MakeSureOfRules(context)) ++context.Counters.FailedFiles;
  BackupWalk(context, job).Run();
}

}  // namespace kavrel
