#include "engine/verify.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "archive/archive_check.h"
#include "archive/recovery_data.h"
#include "base/text.h"
#include "engine/archive_recovery.h"
#include "engine/archive_sum.h"
#include "engine/job_disks.h"
#include "engine/run_summary.h"
#include "engine/scrub.h"
#include "engine/states.h"
#include "engine/verify_walk.h"
#include "files/disk_wait.h"
#include "files/path.h"
#include "files/size_text.h"
#include "log/log_end.h"
#include "rules/date_tokens.h"

namespace kavrel {

namespace {

/// Has an archive that its sum convicts made good, where that is wished and it has recovery data.
void MendPicked(RunContext& context, const BackupJob& job, const std::u16string& archive, bool mend,
                VerifyReport& report) {
  const bool possible = HasRecovery(context.Files, archive);
  if (possible) ++report.BadCopies;
  if (possible && !mend) context.LogTimed(kMayBeRepaired, archive);
  if (!mend) return;
  std::u16string why = u"旁邊沒有修復資料";
  const std::u16string kept =
      possible ? RepairArchive(context, job, archive, why) : std::u16string();
  if (kept.empty()) {
    report.NotMended = why;
    return LogFailure(context.Log, report.Failures, u": 修復壓縮檔 (失敗)：", archive, why);
  }
  ++report.Mended;
  context.LogTimed(u": 壓縮檔已用修復資料修復，損壞的保留為：", kept);
}

/// Recovery data of a whole archive: rotten, it would be missed only when it is needed.
void CheckRecovery(RunContext& context, const BackupJob& job, const std::u16string& archive,
                   bool mend, VerifyReport& report) {
  const std::u16string recovery = RecoveryName(archive);
  if (LookUpArchiveSum(context, recovery) != ArchiveSum::Differs) return;
  TellDifference(context, report, &VerifyCounters::Damaged, u": 驗證檔案 (內容損壞)：", recovery,
                 kNotItsSum, ChangedSide::Copy);
  if (job.Extras.RecoveryPercent == 0) return;
  ++report.BadCopies;
  if (!mend) return context.LogTimed(kMayBeRemade, recovery);
  const std::u16string why = RemakeRecovery(context, job, archive);
  if (why.empty()) {
    ++report.Mended;
  } else {
    report.NotMended = why;
    LogFailure(context.Log, report.Failures, u": 建立修復資料 (失敗)：", archive, why);
  }
}

void CheckPicked(RunContext& context, const BackupJob& job, const std::u16string& archive,
                 bool mend, VerifyReport& report) {
  ArchiveContext archiving = context.Archiving();
  const ArchiveCheck check = CheckArchive(archiving, job, archive);
  if (check.Result == kCommandCancelled) return;
  VerifyCounters& found = report.Counters;
  context.Report.Counters.SourceFiles = check.Files;
  context.Report.Counters.SourceBytes = report.Bytes = check.Bytes;
  const ArchiveSum sum = LookUpArchiveSum(context, archive);
  if (context.State.CancelRequested) return;
  // A damaged archive may look like one of another password, or like none.
  const bool convicted = check.Result != 0 && sum == ArchiveSum::Differs;
  const bool unread = check.Result != 0 && (check.Damaged.empty() || check.WrongPassword);
  if (unread && !convicted) {
    // Without its password nothing of an archive is known to be damaged, nor to be whole.
    report.Bytes = 0;
    report.WrongPassword = check.WrongPassword;
    TellDifference(context, report, &VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：",
                   archive, check.WrongPassword ? kPasswordWrong : u"");
  } else if (unread || (check.Damaged.empty() && sum == ArchiveSum::Differs)) {
    // Another archive in its place may be as good by its own checksums as the one that was made.
    // Which of the two is wrong then, the archive or the list, nothing tells.
    if (unread) report.Bytes = 0;
    TellDifference(context, report, &VerifyCounters::Damaged, u": 驗證檔案 (內容損壞)：", archive,
                   unread ? kNotItsSum : u"壓縮檔本身完好，但與備份時的校驗碼不符",
                   unread ? ChangedSide::Copy : ChangedSide::Unknown);
    found.Equal = unread ? 0 : check.Files;
  } else {
    for (const std::u16string& name : check.Damaged) {
      TellDifference(context, report, &VerifyCounters::Damaged, u": 驗證檔案 (內容損壞)：", name,
                     {}, ChangedSide::Copy);
    }
    found.Equal = check.Files - std::min(check.Files, found.Damaged);
    if (check.Damaged.empty() && sum == ArchiveSum::Unknown) SumArchive(context, job, archive);
  }
  if (!check.Output.empty() && check.Result != 0) {
    context.Log.WriteJobLog(ReplaceAll(check.Output, u"\n", u"\r\n"));
  }
  // Where what is made from the recovery data has the sum, those two outvote the archive.
  const bool exchanged =
      check.Result == 0 && sum == ArchiveSum::Differs && HasRecovery(context.Files, archive);
  if (convicted || exchanged) MendPicked(context, job, archive, mend, report);
  if (sum == ArchiveSum::Same) CheckRecovery(context, job, archive, mend, report);
}

void WriteVerifySummary(RunContext& context, BackupJob job, const VerifyReport& report,
                        std::uint64_t elapsed) {
  const VerifyCounters& found = report.Counters;
  job.LastRunResult = {};
  job.LastRunResult.Stopped = report.Stopped;
  job.LastRunResult.UnchangedFiles = found.Equal;
  job.LastRunResult.FailedFiles = found.Differences();
  LogRow row = RowOf(context, job, LogKind::Verification);
  WriteSummaryBlock(
      context, job, job.Destination.WorkPath,
      u"驗證排程名稱　　　：" + job.Name + u"\r\n" + u"驗證執行狀態　　　：" + StatusText(row) +
          u"\r\n" + SummaryLine(u"來源檔案總計　　　：", context.Report.Counters.SourceFiles) +
          SummaryLine(u"內容相同檔案總計　：", found.Equal) +
          SummaryLine(u"缺少檔案總計　　　：", found.Missing) +
          SummaryLine(u"尚未備份變更總計　：", found.Changed) +
          SummaryLine(u"內容損壞檔案總計　：", found.Damaged) +
          SummaryLine(u"多出項目總計　　　：", found.Extra) +
          SummaryLine(u"無法讀取檔案總計　：", found.Unreadable) +
          SummaryLine(u"排除檔案總計　　　：", context.Report.Counters.ExcludedFiles) +
          u"完成驗證容量總計　：" + FormatSize(report.Bytes, SizeMode::Both) + u"\r\n" +
          u"執行驗證所花費時間：" + ElapsedText(elapsed));
  context.LogRows.Append(std::move(row));
}

}  // namespace

void TellDifference(RunContext& context, VerifyReport& report, std::uint32_t VerifyCounters::*kind,
                    std::u16string_view text, std::u16string_view path, std::u16string_view why,
                    ChangedSide side) {
  LogFailure(context.Log, report.Failures, text, path, why);
  ++(report.Counters.*kind);
  if (report.Differing.size() < kDifferencesNoted) {
    report.Differing.push_back({kind, std::u16string(path), side});
  }
}

void LogVerification(RunContext& context, const BackupJob& job, VerifyReport& report,
                     const std::function<void()>& compare) {
  const std::uint64_t started = context.Time.TickCount();
  report.Outcome = RunOutcome::Ran;
  context.Host.ResetProgress();
  context.Host.ShowRunPanels(true);
  context.Log.OpenJobLog();
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  compare();
  report.Stopped = context.State.CancelRequested;
  WriteVerifySummary(context, job, report, context.Time.TickCount() - started);
  context.Log.CloseJobLog();
  report.LogPath = context.Log.CurrentPath();
  context.History.TrimLogList(context.Preferences.LogRestrictions());
}

namespace {

/// What memory still holds of the last run proves nothing of the disk.
void AwaitDisk(RunContext& context, Result<Folder> folder) {
  if (!folder) return;
  const DiskWait on_disk(
      [folder = std::make_shared<Folder>(std::move(*folder))] { return folder->SyncDisk(); });
  while (!context.State.CancelRequested && !on_disk.Await(std::chrono::milliseconds(20))) {
    context.Host.PumpMessages();
  }
}

/// The archive that is to be tested; nothing, and the report's outcome, where there is none.
std::optional<std::u16string> ArchiveToTest(const RunContext& context, const BackupJob& job,
                                            const ArchivePicker& picker, std::u16string_view unit,
                                            VerifyReport& report) {
  report.Outcome = RunOutcome::NoArchiver;
  if (!context.Archiver.Present()) return std::nullopt;
  report.Outcome = RunOutcome::NothingPicked;
  if (!unit.empty()) {
    const bool there = bool(context.Files.Status(unit));
    return there ? std::optional(std::u16string(unit)) : std::nullopt;
  }
  const std::vector<ArchiveFile> archives =
      ListArchives(context.Files, job.Destination.WorkPath, &job);
  const auto picked = picker ? picker(archives) : NewestArchive(archives);
  if (!picked) return std::nullopt;
  return JoinPath(job.Destination.WorkPath, *picked);
}

/// Which disk of the backup is away, in words; empty when all are there.
std::u16string BackupAway(const RunContext& context, const BackupJob& job) {
  DiskScope needed;
  needed.Source = needed.NewInSource = false;
  return DiskObjection(context, job, needed);
}

/// Which disk of the source is away, or hides a part of it, in words; empty when all are as they
/// were. An empty mount point would have nothing to differ, and what a new disk hides is not
/// missing.
std::u16string SourceAway(const RunContext& context, const BackupJob& job) {
  return job.Compressed ? std::u16string() : DiskObjection(context, job, {});
}

}  // namespace

VerifyReport RunVerifyJob(RunContext& context, const BackupJob& stored,
                          std::u16string_view backup_folder, const ArchivePicker& picker,
                          std::u16string_view unit, bool mend) {
  VerifyReport report;
  report.Mends = mend;
  const std::u16string taken =
      backup_folder.empty() ? UnitStillTaken(context, stored, unit) : std::u16string(unit);
  unit = taken;
  BackupJob job = JobOfState(stored, unit);
  job.Source.WorkPath = job.Source.Path;
  if (!unit.empty()) backup_folder = UnitFolder(unit);
  job.Destination.WorkPath =
      backup_folder.empty() ? ExpandedDestination(job, context.Time) : backup_folder;
  job.RunStarted = context.Time.Now();
  context.Report = {};

  report.Outcome = RunOutcome::SourceMissing;
  const std::u16string place = AddBackslash(job.Destination.WorkPath);
  if (!context.Files.OpenFolder(place)) return report;
  report.BySums = !job.Compressed && !context.Files.FolderExists(job.Source.WorkPath);
  if (report.BySums && !NeedsNoSums(context.Files, place)) return report;
  report.RefusalText = report.BySums ? BackupAway(context, job) : SourceAway(context, job);
  if (!report.RefusalText.empty()) {
    report.Outcome = RunOutcome::Guarded;
    return report;
  }
  std::u16string archive;
  if (job.Compressed) {
    const auto found = ArchiveToTest(context, job, picker, unit, report);
    if (!found) return report;
    report.Unit = archive = *found;
  } else if (HasDateTags(job.Destination.Path)) {
    report.Unit = place;
  }
  LogVerification(context, job, report, [&] {
    if (report.BySums) {
      context.LogTimed(u": 來源不在，改與備份的校驗碼比對：", job.Source.Path);
    } else if (!unit.empty()) {
      context.LogTimed(job.Compressed ? u": 驗證的備份：" : u": 驗證的備份，與現在的來源比對：",
                       unit);
    }
    AwaitDisk(context, context.Files.OpenFolder(place));
    if (job.Compressed) {
      CheckPicked(context, job, archive, mend, report);
    } else if (report.BySums) {
      ReadAgain(context, {{place, {}}}, report);
    } else {
      VerifyFolders(context, job, report, mend);
    }
  });
  return report;
}

VerifyReport RunScrubJob(RunContext& context, BackupJob& stored, std::u16string_view unit,
                         bool part) {
  VerifyReport report;
  report.BySums = true;
  BackupJob job = JobOfState(stored, unit);
  job.Source.WorkPath = job.Source.Path;
  job.Destination.WorkPath =
      unit.empty() ? ExpandedDestination(job, context.Time) : std::u16string(UnitFolder(unit));
  job.RunStarted = context.Time.Now();
  context.Report = {};
  report.RefusalText = BackupAway(context, job);
  if (!report.RefusalText.empty()) {
    report.Outcome = RunOutcome::Guarded;
    return report;
  }
  const std::vector<ScrubPlace> places = ScrubPlaces(context, job, unit);
  const auto there = [&](const ScrubPlace& place) {
    return context.Files.FolderExists(place.Folder);
  };
  report.Outcome = std::any_of(places.begin(), places.end(), there) ? RunOutcome::NothingPicked
                                                                    : RunOutcome::SourceMissing;
  // Of one that has lost its list it is told that nothing is known, where others have theirs.
  const auto listed = [&](const ScrubPlace& place) {
    return place.Archives.empty() ? NeedsNoSums(context.Files, place.Folder)
                                  : HasSums(context.Files, place.Folder);
  };
  if (std::none_of(places.begin(), places.end(), listed)) return report;
  LogVerification(context, job, report, [&] {
    AwaitDisk(context, context.Files.OpenFolder(places.front().Folder));
    ScrubTurn turn = ParseScrubTurn(stored.Extras.ScrubAt);
    turn.Parts = part ? kScrubParts : 1;
    ReadAgain(context, places, report, &turn);
    if (part) stored.Extras.ScrubAt = ScrubTurnText(turn);
  });
  // An archive is tested by itself, which tells more; of one part nothing is known of the whole.
  const auto no_state = [&](const VerifiedState& one) {
    return part || report.Stopped || !HasDateTags(job.Destination.Path) || one.Unit.empty();
  };
  std::erase_if(report.Units, no_state);
  return report;
}

}  // namespace kavrel
