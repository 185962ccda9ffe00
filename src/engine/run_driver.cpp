#include "engine/run_driver.h"

#include <algorithm>

#include "archive/list_file.h"
#include "base/number.h"
#include "base/translation.h"
#include "engine/archive_recovery.h"
#include "engine/archive_sum.h"
#include "engine/backup_walk.h"
#include "engine/change_guard.h"
#include "engine/heal.h"
#include "engine/job_disks.h"
#include "engine/keep_newest.h"
#include "engine/new_state.h"
#include "engine/on_disk.h"
#include "engine/refusal.h"
#include "engine/run_summary.h"
#include "engine/space_check.h"
#include "engine/state_guard.h"
#include "files/path.h"
#include "platform/trace.h"
#include "rules/date_tokens.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {

BadEnd EndOf(const RunContext& context) {
  const RunOutcome outcome = OutcomeOf(context.Report);
  if (context.Report.Refusal == RunRefusal::ChangeGuard) return BadEnd::Changes;
  return outcome == RunOutcome::Guarded   ? BadEnd::Guard
         : outcome == RunOutcome::NoSpace ? BadEnd::Space
         : context.Report.HasNoPlace()    ? BadEnd::Place
         : context.Report.Alarm.empty()   ? BadEnd::Other
                                          : BadEnd::Changes;
}

/// Ends the run's bookkeeping in the job.
void RecordResult(RunContext& context, BackupJob& job, bool stopped) {
  const DateTime now = context.Time.Now();
  job.LastRunResult = ToLastRunResult(context.Report.Counters, stopped);
  const bool good = !stopped && IsComplete(context.Report.Counters) && context.Report.Alarm.empty();
  NoteEnd(job.Extras, good, EndOf(context), job.LastRun);
  job.LastRun = now;
  job.Extras.Unseen = context.Report.Counters.UnseenFiles > 0;
  // A clock that was set back meanwhile must not make the same time due again.
  job.NextRun = NextRunAfterNow(job, std::max(now, job.RunStarted));
  job.Extras.TimeMoved = job.RunStarted > now ? job.RunStarted : kZeroDate;
}

/// What was there when the run began may be gone at its end: then it has not seen the whole source,
/// and is a failed run.
bool SawAll(RunContext& context, BackupJob& job, std::u16string_view unit) {
  // What was agreed to is how things were when the run began.
  std::u16string objection = LostDisks(context, job);
  context.Report.LostDisk = !objection.empty();
  if (context.Report.LostDisk) RememberNewDisks(context, job);
  const bool agreed = context.Force || context.Report.Agreed;
  if (objection.empty() && !agreed && IsComplete(context.Report.Counters)) {
    objection = StateObjection(job, unit, FilesOfState(context.Report.Counters));
  }
  if (objection.empty()) return true;
  context.Fail(u": 備份途中來源或目標不見了 (失敗)：", objection);
  return false;
}

/// What the next runs have to know of this one; and the end of backups that are too old.
void RememberRun(RunContext& context, BackupJob& job, std::u16string_view unit) {
  if (context.Stopped() || !SawAll(context, job, unit)) return;
  if (IsOwnAfterRun(context.Place, job)) {
    // From now on the mark tells.
    job.Extras.Adopt = false;
    job.Extras.MirroredTo.clear();
  }
  if (!unit.empty()) {
    MarkWhole(context, job, unit);
    if (!NameState(context, unit)) return;
    KeepRecord(context, job, unit);
  }
  const bool own = NoteUnit(context, job, unit);
  if (own && IsComplete(context.Report.Counters)) {
    KeepNewest(context, job, unit);
    job.Extras.StateFiles = static_cast<std::int64_t>(FilesOfState(context.Report.Counters));
  }
  RememberDisks(context, job);
  if (!job.Compressed) NoteSourceSize(context, job);
  if (IsComplete(context.Report.Counters)) {
    NoteFiles(job, FilesOfState(context.Report.Counters));
  }
}

void BackUp(RunContext& context, BackupJob& job, std::u16string_view unit) {
  HealStaged(context);
  const NewStateScope making(context);
  context.Changes = ChangeWatch::Begin(context, job, unit);
  if (GiveIdentity(context, job)) BeginState(context, job, unit, true);
  {
    // Held open, so that no other folder can get its identity meanwhile.
    const Result<Folder> dest = context.Files.OpenFolder(DestinationPlace(context, job));
    context.DestRoot = dest ? IdentityOf(*dest) : FolderIdentity();
    if (EnterPlace(context, job) && PassStateCheck(context, job, unit) &&
        PassSpaceCheck(context, job)) {
      const BackupJob walked = WalkedJob(context, job);
      OnDisk effects(context, walked, u": 備份檔案 (失敗)：");
      effects.KeepSums();
      BackupFolder(context, walked, effects);
    }
    context.DestRoot = {};
  }
  // What a cancelled run had no time to clear away is left to the next one.
  if (!context.Stopped()) HealStaged(context);
  EndChanges(context, job, unit);
  RememberRun(context, job, unit);
}

/// The end of a run that has a log.
RunOutcome WriteEnd(RunContext& context, const BackupJob& job, std::uint64_t elapsed) {
  WriteRunSummary(context, job, elapsed > 0 ? ElapsedText(elapsed) : std::u16string());
  context.Log.CloseJobLog();
  context.Report.LogPath = context.Log.CurrentPath();
  context.History.TrimLogList(context.Preferences.LogRestrictions());
  return OutcomeOf(context.Report);
}

RunOutcome RunPlainJob(RunContext& context, BackupJob& job, std::u16string_view unit,
                       std::uint64_t started) {
  context.Host.ShowRunPanels(true);
  context.Log.OpenJobLog();
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  if (PassDiskCheck(context, job)) BackUp(context, job, unit);
  const std::uint64_t elapsed = context.Time.TickCount() - started;
  RecordResult(context, job, context.Stopped());
  const RunOutcome outcome = WriteEnd(context, job, elapsed);
  context.Store.SaveJobs();
  return outcome;
}

/// As CompressBackup, after the guards.
int Pack(RunContext& context, BackupJob& job, std::u16string_view archive) {
  if (!context.Archiver.Present()) return kNoArchiver;
  if (!PassDiskCheck(context, job)) return kCommandCancelled;
  HealStaged(context);
  if (!EnterPlace(context, job, archive)) return kCommandCancelled;
  if (!PassStateCheck(context, job, archive)) return kCommandCancelled;
  ArchiveContext archiving = context.Archiving();
  context.Changes = ChangeWatch::Begin(context, job, archive);
  if (context.Changes) {
    archiving.Look = [&changes = *context.Changes](const Folder& folder, std::u16string_view name,
                                                   const FileStatus& status) {
      changes.LookAtPacked(folder, name, status);
    };
    archiving.MayPack = [&changes = *context.Changes] { return changes.MayPack(); };
  }
  const int result = CompressBackup(archiving, job, archive, context.Compression);
  RemoveListFile(context.Files);
  return result;
}

/// Packs the job's source into its archive of this hour.
RunOutcome RunCompressedJob(RunContext& context, BackupJob& job, std::u16string_view archive,
                            std::uint64_t started) {
  ArchiveContext archiving = context.Archiving();
  context.Host.ShowRunPanels(true);
  const int result = Pack(context, job, archive);
  if (result == kNoArchiver) {
    NoteEnd(job.Extras, false, BadEnd::Other, job.LastRun);
    NoteUnbegun(job.Extras,
                {job.RunStarted, UnbegunRun::Cause::NoArchiver, std::u16string(kNoArchiverText)},
                job.LastRun);
    context.Store.SaveJobs();
    return RunOutcome::NoArchiver;
  }
  const std::uint64_t elapsed = context.Time.TickCount() - started;
  MarkArchive(context, job, archive);
  if (result == 0 || result == 1) SumArchive(context, job, archive);
  EndChanges(context, job, archive);
  if (result == 0) {
    RememberRun(context, job, archive);
  } else if (!context.Stopped()) {
    SawAll(context, job, archive);
  }
  if (result == 0 || result == 1) MakeRecovery(context, job, archive);
  RecordResult(context, job, context.Stopped());
  context.Store.SaveJobs();
  context.Log.OpenJobLog();
  if (result == 0) WriteArchiveListing(archiving, job, archive, job.Destination.WorkPath);
  return WriteEnd(context, job, elapsed);
}

const RunReport& TraceEnd(RunContext& context, const BackupJob& job, RunOutcome outcome) {
  constexpr std::u16string_view kWords[] = {
      u"not started", u"no source", u"no archive program", u"nothing picked", u"guarded",
      u"no space",    u"ran"};
  if (!Tracing()) return EndRun(context, outcome);
  const RunCounters& counters = context.Report.Counters;
  Trace("run", {job.Name, u": ", kWords[static_cast<std::size_t>(outcome)], u", copied ",
                Decimal(counters.CopiedFiles), u", unchanged ", Decimal(counters.UnchangedFiles),
                u", failed ", Decimal(counters.FailedFiles)});
  return EndRun(context, outcome);
}

}  // namespace

const RunReport& RunBackupJob(RunContext& context, BackupJob& job) {
  context.Report = {};
  if (context.State.CancelRequested) return context.Report;
  job.RunStarted = context.Time.Now();
  job.LastRunResult = {};
  job.Extras.NotBegun = false;
  context.Host.ResetProgress();
  context.Host.ShowRunPanels(false);
  const std::u16string unit = SetRunPaths(job, context.Time);
  const std::uint64_t started = context.Time.TickCount();
  Trace("run", {job.Name, u": from ", job.Source.WorkPath, u" to ", job.Destination.WorkPath});

  if (!context.Files.FolderExists(job.Source.WorkPath)) {
    context.Host.ShowRunPanels(false);
    ++context.Report.Counters.FailedFiles;
    RecordResult(context, job, true);
    context.Report.RefusalText = DiskObjection(context, job);
    NoteUnbegun(job.Extras,
                {job.RunStarted, UnbegunRun::Cause::NoSource,
                 NoSourceText(job.Source.WorkPath, context.Report.RefusalText)},
                job.LastRun);
    context.Store.SaveJobs();
    return TraceEnd(context, job, RunOutcome::SourceMissing);
  }
  const auto run = job.Compressed ? RunCompressedJob : RunPlainJob;
  const RunOutcome outcome = run(context, job, unit, started);
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  return TraceEnd(context, job, outcome);
}

std::u16string NoSourceText(std::u16string_view path, std::u16string_view disk) {
  std::u16string text = Fill(u"找不到來源資料夾 %1", {path});
  if (!disk.empty()) (text += u"，") += disk;
  return text;
}

std::u16string ElapsedText(std::uint64_t milliseconds) {
  if (milliseconds < 1000)
    return Fill(u"%1 奈秒", {Decimal(static_cast<std::int64_t>(milliseconds))});
  const auto seconds = [](std::uint64_t ms) {
    return Fill(TrCountLater(u"%1 秒"), {GroupedFixed(static_cast<double>(ms) / 1000, 3)});
  };
  if (milliseconds < 60000) return seconds(milliseconds);
  std::u16string text = Fill(TrCountLater(u"%1 分"), {Grouped(milliseconds / 60000)});
  const std::uint64_t rest = milliseconds % 60000;
  if (rest == 1000) {
    text += u", " + Fill(TrCountLater(u"%1 秒"), {u"1"});
  } else if (rest != 0) {
    text += u", " + seconds(rest);
  }
  return text;
}

std::u16string ExpandedDestination(const BackupJob& job, Clock& clock) {
  std::u16string path = ExpandDateTokens(job.Destination.Path, clock);
  if (job.AddSourceFolder) path += SourceFolderName(job.Source.Path);
  return path;
}

}  // namespace kavrel
