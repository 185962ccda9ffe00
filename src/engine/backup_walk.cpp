#include "engine/backup_walk.h"

#include <optional>
#include <string>

#include "engine/rule_check.h"
#include "engine/sync_folder.h"
#include "engine/tree_walk.h"

namespace kavrel {

namespace {

class BackupWalk final : public TreeWalk {
 public:
  BackupWalk(RunContext& context, const BackupJob& job, Effects& effects)
      : TreeWalk(context, job, effects,
                 Scope(context.Files, job, context.Exclusions, job.Destination.WorkPath),
                 {job.Differential, false, job.Synchronise}) {}

 protected:
  bool EnterFolder() override;
  bool BeforeFiles(const FolderPair& pair) override;
  bool MayChange() override { return !synchronisation_ || synchronisation_->PassesGuard(); }
  bool KeepsMetadata() const override { return true; }
  std::u16string_view PlaceOfOthers(const FolderPair& pair, std::u16string_view archive) override {
    path_.assign(paths_.Dest()) += archive;
    return PlaceOfOthersIn(context_.Files, pair.Dest, archive, path_, job_);
  }
  void RootReady(FolderPair& pair) override { effects_.MarkFolder(pair); }
  void RootDone(const FolderPair& pair) override {
    if (job_.Synchronise && (all_seen_ || context_.Place.Agreed)) effects_.MarkMirrored(pair.Dest);
  }
  bool IsGoing(std::u16string_view name) const override {
    return synchronisation_ && synchronisation_->IsGoing(name);
  }

 private:
  std::u16string path_;
  std::optional<Synchronisation> synchronisation_;
  bool all_seen_ = true;  ///< each folder of the source could be looked through
};

bool BackupWalk::EnterFolder() {
  ++context_.Report.Counters.Folders;
  return !Cancelled();
}

bool BackupWalk::BeforeFiles(const FolderPair& pair) {
  if (!pair.Source) all_seen_ = false;
  if (!job_.Synchronise || !pair.Source) return true;
  if (!synchronisation_) {
    synchronisation_.emplace(context_, job_, effects_, pair.Source,
                             source_place_ ? &*source_place_ : nullptr);
  }
  const bool seen = synchronisation_->SyncFolder(pair, paths_);
  all_seen_ = all_seen_ && seen && !pair.SourceError;
  return seen;
}

}  // namespace

void BackupFolder(RunContext& context, const BackupJob& job, Effects& effects) {
  // Without its rules a run backs up more than it is to.
  if (!MakeSureOfRules(context)) ++context.Report.Counters.FailedFiles;
  BackupWalk(context, job, effects).Run();
}

}  // namespace kavrel
