// What a run would do, noted instead of done.
#pragma once

#include <string>
#include <unordered_set>

#include "engine/effects.h"

namespace kavrel {

/// A context for what is only planned: its log is silent, its host shows nothing, and its counters
/// are its own. Everything else is the run's.
class PlanningContext {
 public:
  /// All outlive this. The pump is that of whoever waits; `state` may be set to cancel.
  PlanningContext(const RunContext& run, RunState& state, MessagePump& pump, RunPlan& plan);
  /// Within the run itself.
  PlanningContext(RunContext& run, RunPlan& plan)
      : PlanningContext(run, run.State, run.Host, plan) {}
  PlanningContext(const PlanningContext&) = delete;
  PlanningContext& operator=(const PlanningContext&) = delete;

 private:
  QuietHost host_;
  JobLog log_;

 public:
  RunContext Context;
};

class IntoPlan final : public Effects {
 public:
  /// The context is a PlanningContext's for this plan.
  IntoPlan(RunContext& context, const BackupJob& job, RunPlan& plan)
      : Effects(context, job, {}), plan_(plan) {}

  /// Where another job's backups lie that are to go; empty when none were come by.
  const std::u16string& PlaceOfOthers() const { return place_of_others_; }

  bool Make(const FolderPair* parent, std::u16string_view name, const WalkPaths& paths,
            FolderPair& pair) override;
  void FinishFolder(const FolderPair& pair, const WalkPaths& paths) override;
  void Copy(const FileTurn& file, PlanReason reason) override;
  bool Link(HardLinks::FirstCopy& first, const FileTurn& file, bool equal) override;
  bool TakeFormer(const FileTurn& file, const FormerCopy& copy) override;
  bool TakesAgain(const FileStatus& source, bool compare) override;
  void UpdateFile(const FileTurn& file) override;
  void Enter(const Folder& folder, std::u16string_view path, Emptying& own) override;
  void RemoveFile(const RemovalPlace& from, const FolderEntry& file,
                  std::u16string_view path) override;
  void RemoveFolder(const RemovalPlace& from, std::u16string_view name, std::u16string_view path,
                    const SharedEmptying& emptied) override;
  bool MayBeSeen(const FolderPair& pair, std::u16string_view name,
                 std::u16string_view path) override;
  bool IsGone(std::u16string_view path) const override {
    return gone_.contains(std::u16string(path));
  }

 private:
  /// Whether there is something that would be set right, of a folder with an empty name. False
  /// where only trying shows what can be set.
  bool WouldUpdate(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                   const FileStatus& dest) const {
    return metadata_ && metadata_->IsKnown() && SeesDifference(pair, name, source, dest);
  }
  std::u16string PathOf(const FileTurn& file) const;
  /// Whether something could be changed in the folder, closed where it is to be made.
  bool Takes(const Folder& folder, std::u16string_view path);
  /// Counts a file as failed whose folder takes no change.
  bool Refuses(const FileTurn& file);
  void FailFile(const FileTurn& file, PlanReason reason);
  PlanAction Removal() const {
    return job_.UseRecycleBin ? PlanAction::Recycle : PlanAction::Delete;
  }
  /// Whether another job's backup is to go: this folder, or this archive in it.
  void NotePlace(const Folder& folder, std::u16string_view archive, std::u16string_view path);

  RunPlan& plan_;
  std::unordered_set<std::u16string> gone_;  ///< paths, as far as the source has them
  std::u16string asked_;                     ///< path of the folder last asked what it takes
  bool takes_ = true;
  std::u16string place_of_others_;
};

}  // namespace kavrel
