#include "engine/run_summary.h"

#include "base/number.h"
#include "base/text.h"
#include "engine/run_driver.h"
#include "files/size_text.h"
#include "log/log_end.h"

namespace kavrel {

std::u16string SummaryLine(std::u16string_view label, std::uint64_t count) {
  std::u16string line(label);
  line += Grouped(count) + u"\r\n";
  return line;
}

void WriteSummaryBlock(RunContext& context, const BackupJob& job, std::u16string_view backup,
                       std::u16string_view summary) {
  std::u16string separator;
  for (int i = 0; i < 49; ++i) separator += u"-=";
  JobLog& log = context.Log;
  log.WriteJobLog({});
  log.WriteJobLog(separator);
  log.WriteJobLog(u"來源備份資料夾　　：" + job.Source.Path);
  log.WriteJobLog(std::u16string(kDestinationLine).append(backup));
  log.WriteJobLog(ReplaceAll(summary, u"&", u"&&"));
  log.WriteJobLog(separator);
  log.WriteJobLog({});
}

LogRow RowOf(const RunContext& context, const BackupJob& job, LogKind kind) {
  const LastRunResult& last = job.LastRunResult;
  LogRow row;
  row.Job = job.Name;
  row.Kind = kind;
  row.Stopped = last.Stopped;
  row.Copied = last.CopiedFiles;
  row.Unchanged = last.UnchangedFiles;
  row.Failed = last.FailedFiles;
  row.Started = job.RunStarted;
  row.NextRun = job.NextRun;
  row.LogPath = context.Log.ListedPath();
  return row;
}

void WriteRunSummary(RunContext& context, const BackupJob& job, std::u16string_view elapsed) {
  const RunCounters& run = context.Report.Counters;
  const LastRunResult& last = job.LastRunResult;
  LogRow row = RowOf(context, job, LogKind::Backup);
  std::u16string text = u"備份排程名稱　　　：" + job.Name + u"\r\n";
  if (job.RunStarted != kZeroDate) {
    text += u"本次執行備份時間　：" + DateTimeText(job.RunStarted) + u"\r\n";
    text += u"下次執行備份時間　：" + DateTimeText(job.NextRun) + u"\r\n";
    text += u"備份執行狀態　　　：" + StatusText(row) + u"\r\n";
    text += SummaryLine(u"來源檔案總計　　　：", run.SourceFiles);
    text += SummaryLine(u"來源資料夾總計　　：", last.Folders);
    text += SummaryLine(u"已完成檔案總計　　：", last.CopiedFiles);
    text += SummaryLine(u"已完成資料夾總計　：", last.Folders);
    text += SummaryLine(u"備份失敗檔案總計　：", last.FailedFiles);
    text += SummaryLine(u"備份已存在檔案總計：", last.UnchangedFiles);
    if (run.UpdatedAttributes > 0) {
      text += SummaryLine(u"更新屬性總計　　　：", run.UpdatedAttributes);
    }
    text += SummaryLine(u"排除資料夾總計　　：", run.ExcludedFolders);
    text += SummaryLine(u"排除檔案總計　　　：", run.ExcludedFiles);
    text += SummaryLine(u"同步刪除檔案總計　：", last.SyncDeletedFiles);
    text += SummaryLine(u"同步刪除資料夾總計：", last.SyncDeletedFolders);
    text += SummaryLine(u"資源回收筒檔案總計：", run.RecycledFiles);
    text += SummaryLine(u"資源回收筒目錄總計：", run.RecycledFolders);
    text += u"完成備份容量總計　：" + FormatSize(last.CopiedBytes, SizeMode::Both) + u"\r\n";
    text += u"執行備份所花費時間：";
    text += elapsed;
  }
  WriteSummaryBlock(context, job, job.Destination.WorkPath, text);
  context.LogRows.Append(std::move(row));
}

void WriteRestoreSummary(RunContext& context, const BackupJob& job, DateTime started) {
  const LastRunResult& last = job.LastRunResult;
  LogRow row = RowOf(context, job, LogKind::Restore);
  row.Started = started;
  std::u16string more;
  if (context.Report.Counters.NewerFiles > 0) {
    more += SummaryLine(u"保留較新檔案總計　：", context.Report.Counters.NewerFiles);
  }
  if (job.Destination.WorkPath != job.Source.Path) {
    more += u"還原到資料夾　　　：" + job.Destination.WorkPath + u"\r\n";
  }
  WriteSummaryBlock(context, job, job.Source.WorkPath,
                    u"還原排程名稱　　　：" + job.Name + u"\r\n" + u"還原執行狀態　　　：" +
                        StatusText(row) + u"\r\n" +
                        SummaryLine(u"來源檔案總計　　　：", context.Report.Counters.SourceFiles) +
                        SummaryLine(u"來源資料夾總計　　：", last.Folders) +
                        SummaryLine(u"已完成還原檔案總計：", last.CopiedFiles) +
                        SummaryLine(u"已完成還原目錄總計：", last.Folders) +
                        SummaryLine(u"已還原失敗檔案總計：", last.FailedFiles) +
                        SummaryLine(u"還原已存在檔案總計：", last.UnchangedFiles) + more +
                        u"完成還原容量總計　：" + FormatSize(last.CopiedBytes, SizeMode::Both));
  context.LogRows.Append(std::move(row));
}

}  // namespace kavrel
