#include "engine/run_driver.h"

#include "base/number.h"
#include "base/text.h"
#include "engine/backup_walk.h"
#include "files/path.h"
#include "files/size_text.h"
#include "rules/date_tokens.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {

/// Ends the run's bookkeeping in the job.
void RecordResult(RunContext& context, BackupJob& job) {
  const DateTime now = context.Clock.Now();
  job.LastRun = now;
  job.LastRunResult = ToLastRunResult(context.Counters, context.State.CancelRequested);
  job.NextRun = NextRunAfterNow(job, now);
}

std::u16string_view StatusText(const BackupJob& job) {
  return job.LastRunResult.Stopped ? u"備份中斷" : u"備份完成";
}

std::u16string SummaryText(const RunContext& context, const BackupJob& job,
                           std::u16string_view elapsed) {
  const RunCounters& run = context.Counters;
  const LastRunResult& last = job.LastRunResult;
  std::u16string text = u"備份排程名稱　　　：" + job.Name + u"\r\n";
  if (job.RunStarted == kZeroDate) return text;
  text += u"本次執行備份時間　：" + DateTimeText(job.RunStarted) + u"\r\n";
  text += u"下次執行備份時間　：" + DateTimeText(job.NextRun) + u"\r\n";
  text += u"備份執行狀態　　　：" + std::u16string(StatusText(job)) + u"\r\n";
  const struct {
    std::u16string_view Label;
    std::uint64_t Count;
  } lines[] = {
      {u"來源檔案總計　　　：", run.SourceFiles},
      {u"來源資料夾總計　　：", last.Folders},
      {u"已完成檔案總計　　：", last.CopiedFiles},
      {u"已完成資料夾總計　：", last.Folders},
      {u"備份失敗檔案總計　：", last.FailedFiles},
      {u"備份已存在檔案總計：", last.UnchangedFiles},
      {u"排除資料夾總計　　：", run.ExcludedFolders},
      {u"排除檔案總計　　　：", run.ExcludedFiles},
      {u"同步刪除檔案總計　：", last.SyncDeletedFiles},
      {u"同步刪除資料夾總計：", last.SyncDeletedFolders},
      {u"資源回收筒檔案總計：", run.RecycledFiles},
      {u"資源回收筒目錄總計：", run.RecycledFolders},
  };
  for (const auto& line : lines) {
    text += line.Label;
    text += Grouped(line.Count) + u"\r\n";
  }
  text += u"完成備份容量總計　：" + FormatSize(last.CopiedBytes, SizeMode::Both) + u"\r\n";
  text += u"執行備份所花費時間：";
  text += elapsed;
  return text;
}

void WriteRunSummary(RunContext& context, const BackupJob& job, std::u16string_view elapsed) {
  std::u16string separator;
  for (int i = 0; i < 49; ++i) separator += u"-=";
  JobLog& log = context.Log;
  log.WriteJobLog({});
  log.WriteJobLog(separator);
  log.WriteJobLog(u"來源備份資料夾　　：" + job.Source.Path);
  log.WriteJobLog(u"目標存放資料夾　　：" + ExpandedDestination(job, context.Clock));
  log.WriteJobLog(ReplaceAll(SummaryText(context, job, elapsed), u"&", u"&&"));
  log.WriteJobLog(separator);
  log.WriteJobLog({});
  const LastRunResult& last = job.LastRunResult;
  context.LogRows.Append({job.Name, std::u16string(StatusText(job)), Grouped(last.CopiedFiles),
                          Grouped(last.UnchangedFiles), Grouped(last.FailedFiles),
                          DateTimeText(job.RunStarted), DateTimeText(job.NextRun),
                          log.CurrentPath()});
}

void RunPlainJob(RunContext& context, BackupJob& job, std::uint64_t started) {
  context.Host.ShowRunPanels(true);
  context.Log.OpenJobLog();
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  BackupWalk(context, job).Run();
  const std::uint64_t elapsed = context.Clock.TickCount() - started;
  RecordResult(context, job);
  WriteRunSummary(context, job, elapsed > 0 ? ElapsedText(elapsed) : std::u16string());
  context.Log.CloseJobLog();
  context.ProgramLog.TrimLogList(context.Settings.LogRestrictions());
  context.Store.SaveJobs();
}

}  // namespace

RunOutcome RunBackupJob(RunContext& context, BackupJob& job) {
  RunState& state = context.State;
  if (state.CancelRequested) return RunOutcome::NotStarted;
  job.RunStarted = context.Clock.Now();
  job.LastRunResult = {};
  context.Host.ResetProgress();
  context.Counters = {};
  context.Host.ShowRunPanels(false);
  job.Source.WorkPath = job.Source.Path;
  job.Destination.WorkPath = ExpandedDestination(job, context.Clock);
  const std::uint64_t started = context.Clock.TickCount();

  if (!context.Files.FolderExists(job.Source.WorkPath)) {
    context.Host.ShowRunPanels(false);
    state.CancelRequested = true;
    ++context.Counters.FailedFiles;
    RecordResult(context, job);
    context.Store.SaveJobs();
    return RunOutcome::SourceMissing;
  }
  RunPlainJob(context, job, started);
  context.Files.MakeCurrent(context.Files.ProgramFolder());
  return RunOutcome::Ran;
}

std::u16string ElapsedText(std::uint64_t milliseconds) {
  if (milliseconds < 1000) return Decimal(static_cast<std::int64_t>(milliseconds)) + u" 奈秒";
  const auto seconds = [](std::uint64_t ms) {
    return GroupedFixed(static_cast<double>(ms) / 1000, 3) + u" 秒";
  };
  if (milliseconds < 60000) return seconds(milliseconds);
  std::u16string text = Grouped(milliseconds / 60000) + u" 分";
  const std::uint64_t rest = milliseconds % 60000;
  if (rest == 1000) {
    text += u", 1 秒";
  } else if (rest != 0) {
    text += u", " + seconds(rest);
  }
  return text;
}

std::u16string SourceFolderName(std::u16string_view path) {
  const char16_t separator = PathSeparator(path);
  path = DropBackslash(path);
  const std::size_t found = path.rfind(separator);
  return std::u16string(found == path.npos ? path.substr(0, 1) : path.substr(found + 1));
}

std::u16string ExpandedDestination(const BackupJob& job, Clock& clock) {
  std::u16string path = ExpandDateTokens(job.Destination.Path, clock);
  if (job.AddSourceFolder) path += SourceFolderName(job.Source.Path);
  return path;
}

}  // namespace kavrel
