#include "engine/restore.h"

#include <algorithm>

#include "engine/archive_sum.h"
#include "engine/heal.h"
#include "engine/into_plan.h"
#include "engine/job_disks.h"
#include "engine/on_disk.h"
#include "engine/refusal.h"
#include "engine/run_summary.h"
#include "engine/states.h"
#include "engine/tree_walk.h"
#include "files/folder_identity.h"
#include "files/open_along.h"
#include "files/path.h"
#include "files/place.h"
#include "platform/error_codes.h"
#include "rules/date_tokens.h"
#include "walk/traverse.h"

namespace kavrel {

namespace {

bool IsKnown(RestoreMode mode) {
  return mode == RestoreMode::Full || mode == RestoreMode::Incremental;
}

/// Back from the job's backup, of which nothing that another job made is a part.
class RestoreWalk : public TreeWalk {
 public:
  /// All of it, in this mode.
  RestoreWalk(RunContext& context, const BackupJob& job, Effects& effects, RestoreMode mode)
      : RestoreWalk(context, job, effects, Scope::OfRestore(job.IncludeSubfolders, IsKnown(mode)),
                    mode == RestoreMode::Incremental, false) {}

 protected:
  RestoreWalk(RunContext& context, const BackupJob& job, Effects& effects, Scope scope,
              bool compare, bool keep_newer)
      : TreeWalk(context, job, effects, std::move(scope), {compare, keep_newer}) {}

  bool EnterFolder() override { return !Cancelled(); }
  std::u16string_view PlaceOfOthers(const FolderPair& pair, std::u16string_view archive) override {
    path_.assign(paths_.Source()) += archive;
    return PlaceOfOthersIn(context_.Files, pair.Source, archive, path_, job_);
  }

 private:
  std::u16string path_;
};

/// Enters only what leads to something picked.
class PickedWalk final : public RestoreWalk {
 public:
  PickedWalk(RunContext& context, const BackupJob& job, Effects& effects, const RestorePick& pick)
      : RestoreWalk(context, job, effects, Scope::OfPicked(job.Source.WorkPath, pick.Paths),
                    !pick.ReplaceNewer, !pick.ReplaceNewer),
        paths_wanted_(pick.Paths) {}

 protected:
  /// A folder that only leads to something picked, or the target itself, is not a copy.
  bool FinishesFolder(const FolderPair& pair) override {
    const std::u16string at = scope_.Relative(paths_.Source());
    return pair.DestIsNew || (!at.empty() && paths_wanted_.Holds(at));
  }

 private:
  const PathSet& paths_wanted_;
};

bool IsInBackup(const FileSystem& files, std::u16string_view root, std::u16string_view path) {
  if (path.empty()) return true;
  const Result<Folder> folder = OpenBelow(files.OpenFolder(root), RelativeFolder(path));
  return folder && folder->Status(RelativeName(path));
}

void RestorePicked(RunContext& context, const BackupJob& job, Effects& effects,
                   const RestorePick& pick) {
  RestorePick there = pick;
  there.Paths.Clear();
  for (const std::u16string& path : pick.Paths.Paths()) {
    if (IsInBackup(context.Files, job.Source.WorkPath, path)) {
      there.Paths.Add(path);
    } else {
      context.Fail(u": 備份中找不到檔案 (失敗)：", path);
      context.Notes.Add(PlanAction::Fail, PlanReason::NotInSource, false, path);
    }
  }
  if (!there.Paths.Empty()) PickedWalk(context, job, effects, there).Run();
}

/// Whether a target is the source's own folder, or in it, whatever path leads there.
bool LiesInSource(const FileSystem& files, const BackupJob& job, std::u16string_view target) {
  if (IsAtOrBelow(RealPlace(files, target), RealPlace(files, job.Source.Path))) return true;
  // By a mount of its own, too.
  const Result<Folder> source = files.OpenFolder(job.Source.Path);
  const FolderIdentity known = source ? IdentityOf(*source) : FolderIdentity();
  const Place place = FindPlace(files, target);
  const auto lineage =
      place.Nearest ? place.Nearest.Lineage() : Result<std::vector<FileStatus>>::Fail(kErrNotFound);
  return lineage && std::any_of(lineage->begin(), lineage->end(),
                                [&](const FileStatus& above) { return known.Is(above); });
}

/// Why the backup may be another job's, or the target part of one, in words; empty when it may be
/// restored.
std::u16string PlaceObjection(const RunContext& context, const BackupJob& job,
                              std::u16string_view archive) {
  std::u16string objection = RestoreObjection(context, job, job.Source.WorkPath, archive);
  // The source itself may be somebody's backup, and is the job's own place all the same.
  if (objection.empty() && !LiesInSource(context.Files, job, job.Destination.WorkPath)) {
    objection = TargetObjection(context.Files, job, job.Destination.WorkPath);
  }
  return objection;
}

/// False when there is such an objection, and nobody wants it all the same.
bool MayBeRestored(RunContext& context, const BackupJob& job, std::u16string_view archive) {
  const std::u16string objection = PlaceObjection(context, job, archive);
  return objection.empty() || context.Force ||
         AskToGoOn(context, job, RunRefusal::PlaceOfOthers, u"備份歸屬檢查", objection);
}

/// Asks whether the disks are there, and stay: that of the backup, and those that the restore would
/// fill.
class RestoreDisks {
 public:
  RestoreDisks(const FileSystem& files, const BackupJob& job, const RestorePick* pick)
      : job_(job), filled_(job) {
    // Another folder may be the source's own, or lie in it, whatever path leads there.
    const std::u16string& target = job.Destination.WorkPath;
    // What is restored onto a new disk is meant to be there; what hides the backup is no backup.
    scope_.NewInSource = false;
    scope_.Restores = true;
    scope_.Source = LiesInSource(files, job, target);
    lost_.Picked = pick ? &pick->Paths : nullptr;
    lost_.IsTarget = !scope_.Source;
    const bool is_source = RealPlace(files, target) == RealPlace(files, job.Source.Path);
    if (pick && (is_source || !scope_.Source)) scope_.Picked = &pick->Paths;
    // A run reads the one and writes the other.
    job_.Source.WorkPath = job.Source.Path;
    job_.Destination.WorkPath = job.Source.WorkPath;
    filled_.Source.WorkPath = target;
    filled_.Destination.WorkPath = job.Source.WorkPath;
    filled_.Extras.Mounts.clear();
  }
  bool Pass(RunContext& context) const {
    // What is there from now on is what the target lies on, and that may be any folder.
    return PassDiskCheck(context, job_, scope_) && PassDiskCheck(context, filled_);
  }
  /// Tells of those that have gone since: what was written then lies on other disks.
  void TellLost(RunContext& context) const {
    const std::u16string lost = LostDisks(context, filled_, lost_);
    if (!lost.empty()) context.Fail(u": 還原途中備份或還原的位置不見了 (失敗)：", lost);
  }
  std::u16string Objection(const RunContext& context) const {
    return DiskObjection(context, job_, scope_);
  }

 private:
  BackupJob job_;
  BackupJob filled_;  ///< the same from the target's view: nothing is known of it beforehand
  DiskScope scope_, lost_;
};

/// The job as this request takes it, its work paths set; and the request, its state.
BackupJob JobOf(const RunContext& context, const BackupJob& stored, RestoreRequest& request) {
  request.Unit = UnitStillTaken(context, stored, request.Unit);
  BackupJob job = JobOfState(stored, request.Unit);
  const RestorePick* pick = request.Pick;
  job.Source.WorkPath = request.Unit.empty() ? ExpandedDestination(job, context.Time)
                                             : std::u16string(UnitFolder(request.Unit));
  job.Destination.WorkPath = pick && !pick->Target.empty() ? pick->Target : job.Source.Path;
  return job;
}

/// Whether there is something to restore; of a compressed job, which archive.
RunOutcome FindBackup(const RunContext& context, const BackupJob& job,
                      const RestoreRequest& request, std::u16string& archive) {
  const std::u16string& folder = job.Source.WorkPath;
  if (!context.Files.FolderExists(folder)) return RunOutcome::SourceMissing;
  if (!job.Compressed) return RunOutcome::Ran;
  if (!context.Archiver.Present()) return RunOutcome::NoArchiver;
  archive = request.Unit;
  if (!archive.empty()) {
    return context.Files.Status(archive) ? RunOutcome::Ran : RunOutcome::NothingPicked;
  }
  const auto picked =
      request.Picker ? request.Picker(ListArchives(context.Files, folder, &job)) : std::nullopt;
  if (!picked) return RunOutcome::NothingPicked;
  archive = JoinPath(folder, *picked);
  return RunOutcome::Ran;
}

/// Finds the numbers of all files that have other names somewhere.
class LinkedFiles final : public TreeVisitor {
 public:
  explicit LinkedFiles(const RunContext& context) : context_(context) {}

  bool GoesOn() override {
    context_.Host.PumpMessages();
    return !context_.State.CancelRequested;
  }
  void TakeFile(const TraversedFolder& in, const FolderEntry& file, std::uint32_t) override {
    if (file.Kind != FileKind::File) return;
    const Result<FileStatus> status = in.Opened.Status(file.Name);
    if (status && status->Links > 1) Ids.push_back(status->Id);
  }
  std::vector<std::uint64_t> Ids;

 private:
  const RunContext& context_;
};

/// The files that have several names in this very state: most of what two states share has one
/// name in each.
std::vector<std::uint64_t> LinkedWithin(const RunContext& context, const BackupJob& job) {
  LinkedFiles linked(context);
  Traverse(context.Files, job.Source.WorkPath, {}, Scope::OfRestore(job.IncludeSubfolders), linked)
      .Run();
  std::vector<std::uint64_t>& ids = linked.Ids;
  std::vector<std::uint64_t> several;
  std::sort(ids.begin(), ids.end());
  for (std::size_t i = 1; i < ids.size(); ++i) {
    const bool again = ids[i] == ids[i - 1];
    if (again && (several.empty() || several.back() != ids[i])) several.push_back(ids[i]);
  }
  return several;
}

/// Of a job that is not compressed.
void RestoreFolder(RunContext& context, const BackupJob& job, Effects& effects, RestoreMode mode,
                   const RestorePick* pick) {
  if (pick) {
    RestorePicked(context, job, effects, *pick);
  } else {
    if (job.Extras.KeepHardLinks && HasDateTags(job.Destination.Path)) {
      effects.Links().Only(LinkedWithin(context, job));
    }
    RestoreWalk(context, job, effects, mode).Run();
  }
}

void RestoreAll(RunContext& context, const BackupJob& job, RestoreMode mode,
                const RestorePick* pick, std::u16string_view archive) {
  HealStaged(context);
  if (job.Compressed) {
    if (LookUpArchiveSum(context, archive) == ArchiveSum::Differs) {
      ++context.Report.Counters.WarningFiles;
      context.Tell(u": 壓縮檔與備份時的校驗碼不符 (警告)：", archive);
    }
    ArchiveContext archiving = context.Archiving();
    const int result = ExtractArchive(archiving, job, archive, job.Destination.WorkPath, pick);
    context.Report.WrongPassword = result == kWrongPassword;
  } else {
    OnDisk effects(context, job, u": 還原檔案 (失敗)：");
    effects.ProveBySums();
    RestoreFolder(context, job, effects, mode, pick);
  }
  if (!context.Stopped()) HealStaged(context);
}

/// A restore from end to end.
RunOutcome Restore(RunContext& context, BackupJob& job, const RestoreRequest& request) {
  const DateTime started = context.Time.Now();
  const RestoreDisks disks(context.Files, job, request.Pick);
  std::u16string archive;
  const RunOutcome found = FindBackup(context, job, request, archive);
  if (found == RunOutcome::SourceMissing) {
    context.Host.ShowRunPanels(false);
    context.Report.RefusalText = disks.Objection(context);
  }
  if (found != RunOutcome::Ran) return found;
  if (request.InLog) {
    context.Report.RefusalText = disks.Objection(context);
    if (context.Report.RefusalText.empty()) {
      context.Report.RefusalText = PlaceObjection(context, job, archive);
    }
    if (!context.Report.RefusalText.empty()) return RunOutcome::Guarded;
    RestoreAll(context, job, request.Mode, request.Pick, archive);
    return RunOutcome::Ran;
  }
  context.Host.ShowRunPanels(true);
  context.Log.OpenJobLog();
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  if (!request.Unit.empty()) context.LogTimed(u": 還原的備份：", request.Unit);
  if (disks.Pass(context) && MayBeRestored(context, job, archive)) {
    RestoreAll(context, job, request.Mode, request.Pick, archive);
    if (!context.Stopped()) disks.TellLost(context);
  }
  job.LastRunResult = ToLastRunResult(context.Report.Counters, context.Stopped());
  WriteRestoreSummary(context, job, started);
  context.Log.CloseJobLog();
  context.Report.LogPath = context.Log.CurrentPath();
  context.History.TrimLogList(context.Preferences.LogRestrictions());
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  return OutcomeOf(context.Report);
}

}  // namespace

RunOutcome PlanRestore(const RunContext& context, RunHost& host, RunState& state,
                       const BackupJob& stored, const RestoreRequest& asked, RunPlan& plan,
                       RunCounters& counters) {
  RestoreRequest request = asked;
  const BackupJob job = JobOf(context, stored, request);
  PlanningContext apart(context, state, host, plan);
  RunContext& planning = apart.Context;
  plan.OfRestore = true;
  const auto warn = [&](std::u16string warning) {
    if (!warning.empty()) plan.Warnings.push_back(std::move(warning));
  };
  warn(RestoreDisks(context.Files, job, request.Pick).Objection(planning));
  std::u16string archive;
  const RunOutcome found = FindBackup(planning, job, request, archive);
  if (found != RunOutcome::Ran) return found;
  warn(PlaceObjection(planning, job, archive));
  if (job.Compressed) {
    ArchiveContext archiving = planning.Archiving();
    PlanExtraction(archiving, job, archive, job.Destination.WorkPath, request.Pick);
  } else {
    warn(NoPlaceText(planning.Files, job.Destination.WorkPath));
    IntoPlan effects(planning, job, plan);
    RestoreFolder(planning, job, effects, request.Mode, request.Pick);
  }
  counters = planning.Report.Counters;
  return RunOutcome::Ran;
}

const RunReport& RunRestoreJob(RunContext& context, BackupJob& stored,
                               const RestoreRequest& asked) {
  context.Report = {};
  if (context.State.CancelRequested) return EndRun(context, RunOutcome::NotStarted);
  stored.LastRunResult = {};
  RestoreRequest request = asked;
  BackupJob job = JobOf(context, stored, request);
  const RunOutcome outcome = Restore(context, job, request);
  stored.LastRunResult = job.LastRunResult;
  stored.Source.WorkPath = std::move(job.Source.WorkPath);
  stored.Destination.WorkPath = std::move(job.Destination.WorkPath);
  return EndRun(context, outcome);
}

}  // namespace kavrel
