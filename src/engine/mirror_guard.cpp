#include "engine/mirror_guard.h"

#include <algorithm>
#include <atomic>
#include <chrono>

#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "engine/change_guard.h"
#include "engine/into_plan.h"
#include "engine/refusal.h"
#include "engine/sync_folder.h"
#include "files/disk_wait.h"
#include "files/path.h"
#include "walk/scope.h"

namespace kavrel {

namespace {

/// Hands a stop on to a thread that nobody watches.
class StopPump final : public MessagePump {
 public:
  StopPump(RunState& state, const std::atomic<bool>& stop) : state_(state), stop_(stop) {}
  void PumpMessages() override {
    if (stop_) state_.CancelRequested = true;
  }

 private:
  RunState& state_;
  const std::atomic<bool>& stop_;
};

/// Goes where the run's synchronisation will go; with a second thread from the first folder on that
/// has several subfolders, where the disks profit from it.
class LookAhead {
 public:
  LookAhead(const RunContext& context, const BackupJob& job, RunState& state, MessagePump& pump,
            ForeseenFolders& foreseen)
      : planning_(context, state, pump, plan_),
        effects_(planning_.Context, job, plan_),
        job_(job),
        changes_(context.Changes && context.Changes->Asks() ? context.Changes.get() : nullptr),
        foreseen_(foreseen),
        paths_(job.Source.WorkPath, job.Destination.WorkPath, context.Making.Place),
        scope_(context.Files, job, context.Exclusions, job.Destination.WorkPath) {
    plan_.Depth = RunPlan::Level::Counts;
  }

  void Run() { Walk(nullptr, {}); }

  std::uint64_t Removed() const {
    return std::uint64_t{context_.Report.Counters.SyncDeletedFiles} +
           context_.Report.Counters.RecycledFiles + removed_by_other_;
  }
  std::uint64_t Kept = 0;
  bool SourceEmpty = false;
  std::u16string PlaceOfOthers() const {
    return place_of_others_.empty() ? effects_.PlaceOfOthers() : place_of_others_;
  }

 private:
  /// That of the second thread, which begins where the first one is.
  LookAhead(const LookAhead& first, RunState& state, MessagePump& pump, ForeseenFolders& foreseen)
      : LookAhead(first.context_, first.job_, state, pump, foreseen) {
    changes_ = first.changes_;
    paths_ = first.paths_;
    scope_ = first.scope_;
    source_place_ = first.source_place_;
    synchronisation_.emplace(context_, job_, effects_, *first.source_root_, first.source_place_);
  }

  void Walk(const FolderPair* parent, std::u16string_view name) {
    if (scope_.IsExcluded(paths_.Source())) return;
    FolderPair pair = OpenPair(context_.Files, parent, name, paths_);
    CheckMounts(planning_.Context.Mounted, parent, paths_, pair);
    if (!pair.Source || !pair.Dest) return;
    const Result<FileStatus> dest = pair.Dest.Status();
    if (!dest) return;
    pair.DestFound = *dest;
    if (!synchronisation_) {
      scope_.SetOwn(pair.Dest, &pair.Source);
      if (scope_.IsOwnRoot(paths_.Source(), pair.Source)) return;
      source_root_ = &pair.Source;
      own_source_place_.emplace(context_.Files, paths_.Source(), pair.Source, pair.Dest);
      source_place_ = &*own_source_place_;
      synchronisation_.emplace(context_, job_, effects_, pair.Source, source_place_);
      SourceEmpty = !pair.SourceError && !FolderReader(pair.Source).Next();
      may_share_ = ProfitsFromThreads(context_, pair);
    }
    if (parent && scope_.IsOwn(paths_.Source(), pair.Source, pair.SourceStatus)) return;
    if (parent && source_place_->Is(pair.Dest)) return;
    if (parent && !PlaceOfOthersIn(context_.Files, pair.Dest, {}, paths_.Dest(), job_).empty())
      return;
    SeenEntries seen;
    if (!synchronisation_->SyncFolder(pair, paths_, &seen)) return;
    Kept += seen.KeptFiles;
    if (changes_) {
      changes_->LookAtFolder(pair.Source, pair.Dest, paths_.Source(), seen.Foreseen.Gone);
    }
    if (seen.Whole) foreseen_.Insert(*dest, std::move(seen.Foreseen));
    if (!job_.IncludeSubfolders) return;
    const bool share = may_share_ && seen.KeptFolders.size() > 1;
    may_share_ = may_share_ && !share;
    std::atomic<std::size_t> next = 0;
    if (share) return WalkTogether(pair, seen.KeptFolders, next);
    WalkSubfolders(pair, seen.KeptFolders, next);
  }

  /// Goes into those that nobody has gone into.
  void WalkSubfolders(const FolderPair& pair, const std::vector<std::u16string>& names,
                      std::atomic<std::size_t>& next) {
    for (std::size_t i = next++; i < names.size(); i = next++) {
      if (context_.State.CancelRequested) return;
      const WalkPaths::Step step(paths_, names[i]);
      Walk(&pair, names[i]);
    }
  }

  void WalkTogether(const FolderPair& pair, const std::vector<std::u16string>& names,
                    std::atomic<std::size_t>& next) {
    using namespace std::chrono_literals;
    RunState state;
    std::atomic<bool> stop = false;
    StopPump pump(state, stop);
    ForeseenFolders foreseen;
    LookAhead other(*this, state, pump, foreseen);
    const DiskWait others([&] {
      other.WalkSubfolders(pair, names, next);
      return 0;
    });
    WalkSubfolders(pair, names, next);
    for (stop = context_.State.CancelRequested; !others.Await(25ms);) {
      context_.Host.PumpMessages();
      stop = context_.State.CancelRequested;
    }
    removed_by_other_ = other.Removed();
    place_of_others_ = other.PlaceOfOthers();
    Kept += other.Kept;
    foreseen_.Add(std::move(foreseen));
  }

  RunPlan plan_;
  PlanningContext planning_;
  RunContext& context_ = planning_.Context;
  IntoPlan effects_;
  const BackupJob& job_;
  ChangeWatch* changes_;  ///< null: nobody looks at how files change
  ForeseenFolders& foreseen_;
  WalkPaths paths_;
  Scope scope_;
  const Folder* source_root_ = nullptr;  ///< while it is walked
  std::optional<SourcePlace> own_source_place_;
  const SourcePlace* source_place_ = nullptr;
  std::optional<Synchronisation> synchronisation_;
  bool may_share_ = false;
  std::uint64_t removed_by_other_ = 0;
  std::u16string place_of_others_;  ///< as the other thread has found it
};

/// Whether what the destination holds is what this job's runs have left there. Where a version that
/// wrote no marks was the last, most of it must be in the source still: its path proves nothing.
bool IsKnownMirror(const RunContext& context, const BackupJob& job, const LookAhead& ahead) {
  if (job.Extras.Adopt || IsOwnMirror(context.Place, job)) return true;
  return !context.Place.Marked && job.Extras.MirroredTo == MirrorPlace(job) &&
         ahead.Removed() <= ahead.Kept;
}

/// What is wrong with the run, in words; empty when nothing is.
std::u16string Objection(const RunContext& context, const BackupJob& job, const LookAhead& ahead) {
  const JobExtras& extras = job.Extras;
  if (ahead.SourceEmpty) return u"來源資料夾是空的：" + job.Source.WorkPath;
  // A run that has gone well once knows better than any table where the source is mounted.
  if (std::ranges::none_of(extras.Mounts, &KnownMount::OfSource)) {
    // The source's own path on this machine, whatever links lead to it.
    const std::u16string missing =
        context.Mounts.MissingPoint(context.Files.RealPath(job.Source.WorkPath));
    if (!missing.empty()) return u"來源磁碟沒有掛載：" + missing;
  }
  const std::u16string others = ahead.PlaceOfOthers();
  if (!others.empty()) return u"要移除的檔案中有其他排程的備份：" + others;
  if (ahead.Removed() > 0 && !IsKnownMirror(context, job, ahead)) {
    return u"目標資料夾中有不是這個排程所備份的檔案：" + job.Destination.WorkPath;
  }
  const std::uint64_t all = ahead.Removed() + ahead.Kept;
  if (ahead.Removed() >= static_cast<std::uint64_t>(extras.GuardFewest) &&
      ahead.Removed() * 100 > all * static_cast<std::uint64_t>(extras.GuardPercent)) {
    return Fill(u"要移除的檔案超過目標資料夾的 %1 %", {Decimal(extras.GuardPercent)});
  }
  return {};
}

std::u16string LookForObjection(const RunContext& context, const BackupJob& job,
                                ForeseenFolders& foreseen) {
  const bool looks = context.Changes && context.Changes->Asks();
  if (context.Force || !(job.Extras.GuardMirror || looks)) return {};
  LookAhead ahead(context, job, context.State, context.Host, foreseen);
  ahead.Run();
  if (!job.Extras.GuardMirror) return {};
  const std::u16string objection = Objection(context, job, ahead);
  if (objection.empty()) return {};
  return objection + u"，" + Fill(TrCountLater(u"將移除 %1 個檔案"), {Grouped(ahead.Removed())}) +
         u"，" + Fill(TrCountLater(u"保留 %1 個"), {Grouped(ahead.Kept)});
}

}  // namespace

bool PassMirrorGuard(RunContext& context, const BackupJob& job, ForeseenFolders& foreseen) {
  const std::u16string objection = LookForObjection(context, job, foreseen);
  if (context.State.CancelRequested) return false;
  if (!objection.empty()) {
    context.Place.Agreed =
        AskToGoOn(context, job, RunRefusal::MirrorGuard, u"同步刪除防護", objection);
    if (!context.Place.Agreed) return false;
  }
  return !context.Changes || context.Changes->Passes();
}

std::u16string MirrorObjection(const RunContext& context, const BackupJob& job) {
  ForeseenFolders foreseen;
  return LookForObjection(context, job, foreseen);
}

}  // namespace kavrel
