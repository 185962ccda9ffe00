#include "engine/mirror_guard.h"

#include "base/number.h"
#include "base/text.h"
#include "engine/refusal.h"
#include "engine/sync_folder.h"
#include "files/path.h"

namespace kavrel {

namespace {

/// Goes where the run's synchronisation will go.
class LookAhead {
 public:
  LookAhead(const RunContext& context, const BackupJob& job, ForeseenFolders& foreseen)
      : context_(context),
        job_(job),
        foreseen_(foreseen),
        paths_(job.Source.WorkPath, job.Destination.WorkPath) {
    plan_.Depth = RunPlan::Level::Counts;
    context_.Plan = &plan_;
    context_.Counters = {};
  }

  void Run() { Walk(nullptr, {}); }

  std::uint64_t Removed() const {
    return std::uint64_t{context_.Counters.SyncDeletedFiles} + context_.Counters.RecycledFiles;
  }
  std::uint64_t Kept = 0;
  bool SourceEmpty = false;

 private:
  void Walk(const FolderPair* parent, std::u16string_view name) {
    if (context_.Exclusions.IsFolderExcluded(paths_.Source())) return;
    if (PathStartsWith(paths_.Source(), paths_.Dest().substr(0, root_length_))) return;
    const FolderPair pair = OpenPair(context_.Files, parent, name, paths_);
    if (!pair.Source || !pair.Dest) return;
    const Result<FileStatus> dest = pair.Dest.Status();
    if (!dest) return;
    if (!synchronisation_) {
      dest_root_ = {dest->Device, dest->Id, true};
      synchronisation_.emplace(context_, job_, pair.Source);
      SourceEmpty = !pair.SourceError && !FolderReader(pair.Source).Next();
    }
    if (dest_root_.Is(pair.SourceStatus)) return;
    SeenEntries seen;
    if (!synchronisation_->SyncFolder(pair, paths_, &seen)) return;
    Kept += seen.KeptFiles;
    if (seen.Whole) foreseen_.Insert(*dest, std::move(seen.Folder));
    if (!job_.IncludeSubfolders) return;
    for (const std::u16string& subfolder : seen.KeptFolders) {
      if (context_.State.CancelRequested) return;
      const WalkPaths::Step step(paths_, subfolder);
      Walk(&pair, subfolder);
    }
  }

  RunContext context_;
  const BackupJob& job_;
  ForeseenFolders& foreseen_;
  WalkPaths paths_;
  const std::size_t root_length_ = paths_.Dest().size();
  RunPlan plan_;
  FolderIdentity dest_root_;
  std::optional<Synchronisation> synchronisation_;
};

/// What is wrong with the run, in words; empty when nothing is.
std::u16string Objection(const RunContext& context, const BackupJob& job, const LookAhead& ahead) {
  const JobExtras& extras = job.Extras;
  if (ahead.SourceEmpty) return u"來源資料夾是空的：" + job.Source.WorkPath;
  // A run that has gone well once knows better than any table where the source is mounted.
  if (extras.Mounts.empty()) {
    // The source's own path on this machine, whatever links lead to it.
    const std::u16string missing =
        context.Mounts.MissingPoint(context.Files.RealPath(job.Source.WorkPath));
    if (!missing.empty()) return u"來源磁碟沒有掛載：" + missing;
  }
  if (ahead.Removed() > 0 && extras.MirroredTo != MirrorPlace(job)) {
    return u"目標資料夾中有不是這個排程所備份的檔案：" + job.Destination.WorkPath;
  }
  const std::uint64_t all = ahead.Removed() + ahead.Kept;
  if (ahead.Removed() >= static_cast<std::uint64_t>(extras.GuardFewest) &&
      ahead.Removed() * 100 > all * static_cast<std::uint64_t>(extras.GuardPercent)) {
    return u"要移除的檔案超過目標資料夾的 " + Decimal(extras.GuardPercent) + u" %";
  }
  return {};
}

std::u16string LookForObjection(const RunContext& context, const BackupJob& job,
                                ForeseenFolders& foreseen) {
  if (context.Force || !job.Extras.GuardMirror) return {};
  LookAhead ahead(context, job, foreseen);
  ahead.Run();
  const std::u16string objection = Objection(context, job, ahead);
  if (objection.empty()) return {};
  return objection + u"，將移除 " + Grouped(ahead.Removed()) + u" 個檔案，保留 " +
         Grouped(ahead.Kept) + u" 個";
}

}  // namespace

bool PassMirrorGuard(RunContext& context, const BackupJob& job, ForeseenFolders& foreseen) {
  const std::u16string objection = LookForObjection(context, job, foreseen);
  if (context.State.CancelRequested) return false;
  if (objection.empty()) return true;
  return AskToGoOn(context, job, RunRefusal::MirrorGuard, u"同步刪除防護", objection);
}

std::u16string MirrorObjection(const RunContext& context, const BackupJob& job) {
  ForeseenFolders foreseen;
  return LookForObjection(context, job, foreseen);
}

}  // namespace kavrel
