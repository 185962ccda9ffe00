#include "engine/verify.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

#include "archive/archive_check.h"
#include "base/text.h"
#include "engine/archive_sum.h"
#include "engine/job_disks.h"
#include "engine/run_summary.h"
#include "engine/states.h"
#include "engine/verify_walk.h"
#include "files/disk_wait.h"
#include "files/path.h"
#include "files/size_text.h"
#include "rules/date_tokens.h"

namespace kavrel {

namespace {

void CheckPicked(RunContext& context, const BackupJob& job, const std::u16string& archive,
                 VerifyReport& report) {
  ArchiveContext archiving = context.Archiving();
  const ArchiveCheck check = CheckArchive(archiving, job, archive);
  if (check.Result == kCommandCancelled) return;
  VerifyCounters& found = report.Counters;
  context.Report.Counters.SourceFiles = check.Files;
  context.Report.Counters.SourceBytes = report.Bytes = check.Bytes;
  if (check.Result != 0 && (check.Damaged.empty() || check.WrongPassword)) {
    // Without its password nothing of an archive is known to be damaged, nor to be whole.
    report.Bytes = 0;
    report.WrongPassword = check.WrongPassword;
    TellDifference(context, report, &VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：",
                   archive, check.WrongPassword ? u"密碼錯誤" : u"");
  } else {
    for (const std::u16string& name : check.Damaged) {
      TellDifference(context, report, &VerifyCounters::Damaged, u": 驗證檔案 (內容損壞)：", name);
    }
    found.Equal = check.Files - std::min(check.Files, found.Damaged);
    if (check.Result == 0 && check.Damaged.empty()) SumArchive(context, job, archive);
  }
  if (!check.Output.empty() && check.Result != 0) {
    context.Log.WriteJobLog(ReplaceAll(check.Output, u"\n", u"\r\n"));
  }
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

VerifyReport RunVerifyJob(RunContext& context, const BackupJob& stored,
                          std::u16string_view backup_folder, const ArchivePicker& picker,
                          std::u16string_view unit) {
  VerifyReport report;
  BackupJob job = JobOfState(stored, unit);
  job.Source.WorkPath = job.Source.Path;
  if (!unit.empty()) backup_folder = UnitFolder(unit);
  job.Destination.WorkPath =
      backup_folder.empty() ? ExpandedDestination(job, context.Clock) : backup_folder;
  job.RunStarted = context.Clock.Now();
  context.Report = {};
  const std::uint64_t started = context.Clock.TickCount();

  report.Outcome = RunOutcome::SourceMissing;
  Result<Folder> backup = context.Files.OpenFolder(job.Destination.WorkPath);
  if (!backup || (!job.Compressed && !context.Files.FolderExists(job.Source.WorkPath))) {
    return report;
  }
  // An empty mount point would have nothing to differ, and what a new disk hides is not missing.
  DiskScope needed;
  needed.Source = needed.NewInSource = !job.Compressed;
  std::u16string objection = DiskObjection(context, job, needed);
  if (!objection.empty()) {
    report.RefusalText = std::move(objection);
    report.Outcome = RunOutcome::Guarded;
    return report;
  }
  std::u16string archive;
  if (job.Compressed) {
    report.Outcome = RunOutcome::NoArchiver;
    if (!context.Archiver.Present()) return report;
    report.Outcome = RunOutcome::NothingPicked;
    if (unit.empty()) {
      const std::vector<ArchiveFile> archives =
          ListArchives(context.Files, job.Destination.WorkPath, &job);
      const auto picked = picker ? picker(archives) : NewestArchive(archives);
      if (!picked) return report;
      archive = JoinPath(job.Destination.WorkPath, *picked);
    } else {
      archive = unit;
      if (!context.Files.Status(archive)) return report;
    }
    report.Unit = archive;
  } else if (HasDateTags(job.Destination.Path)) {
    report.Unit = AddBackslash(job.Destination.WorkPath);
  }
  report.Outcome = RunOutcome::Ran;
  context.Host.ResetProgress();
  context.Host.ShowRunPanels(true);
  context.Log.OpenJobLog();
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  if (!unit.empty()) {
    context.LogTimed(job.Compressed ? u": 驗證的備份：" : u": 驗證的備份，與現在的來源比對：",
                     unit);
  }
  // What memory still holds of the last run proves nothing of the disk.
  const DiskWait on_disk(
      [folder = std::make_shared<Folder>(std::move(*backup))] { return folder->SyncDisk(); });
  while (!context.State.CancelRequested && !on_disk.Await(std::chrono::milliseconds(20))) {
    context.Host.PumpMessages();
  }
  if (job.Compressed) {
    CheckPicked(context, job, archive, report);
  } else {
    VerifyFolders(context, job, report);
  }
  report.Stopped = context.State.CancelRequested;
  WriteVerifySummary(context, job, report, context.Clock.TickCount() - started);
  context.Log.CloseJobLog();
  report.LogPath = context.Log.CurrentPath();
  context.ProgramLog.TrimLogList(context.Settings.LogRestrictions());
  return report;
}

}  // namespace kavrel
