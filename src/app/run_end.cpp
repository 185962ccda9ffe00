#include "app/run_end.h"

#include <algorithm>

#include "base/number.h"
#include "engine/states.h"
#include "log/job_log.h"

namespace kavrel {

namespace {

/// `kind` is 備份, 還原 or 驗證.
std::u16string Counted(std::u16string_view kind, bool stopped, std::uint64_t done,
                       std::uint64_t failed) {
  std::u16string text(kind);
  text += stopped ? u"中斷：" : u"完成：";
  ((text += kind) += u" ") += Grouped(done);
  return (text += u" 個檔案，失敗 ") += Grouped(failed) + u" 個檔案";
}

/// Of a run or a restore that took place.
void TellCounts(RunEnd& end, std::u16string_view kind, const LastRunResult& result) {
  end.Text = Counted(kind, result.Stopped, result.CopiedFiles, result.FailedFiles);
  if (result.FailedFiles > 0) end.Why = u"失敗 " + Grouped(result.FailedFiles) + u" 個檔案";
  if (result.UnseenFiles > 0) {
    const std::u16string unseen = u"無法查看 " + Grouped(result.UnseenFiles) + u" 個檔案";
    end.Text += u"，" + unseen;
    end.Why += (end.Why.empty() ? u"" : u"，") + unseen;
  }
  end.Bad = result.Stopped || !end.Why.empty();
}

/// Of one that began and stopped by itself, or never began.
void TellRefusal(RunEnd& end, std::u16string_view state, const std::u16string& why) {
  end.Why = why;
  ((end.Text = state) += u"：") += why;
  end.Bad = true;
}

std::u16string Missing(std::u16string_view what, const std::u16string& path,
                       const std::u16string& more) {
  std::u16string text(what);
  text += u" " + path;
  return more.empty() ? text : text + u"，" + more;
}

std::u16string Differences(const VerifyReport& report) {
  const std::uint32_t differences = report.Counters.Differences();
  return differences == 0 ? u"" : u"驗證發現 " + Grouped(differences) + u" 個差異";
}

/// What is the same for both directions.
void TellOutcome(RunEnd& end, const Program& program, const BackupJob& job, RunOutcome outcome,
                 std::u16string_view kind, const std::u16string& missing) {
  end.Failures = program.Context.Report.Failures;
  const std::u16string not_begun = u"沒有" + std::u16string(kind);
  if (outcome == RunOutcome::SourceMissing) {
    TellRefusal(end, not_begun, missing);
  } else if (outcome == RunOutcome::NoArchiver) {
    TellRefusal(end, not_begun, std::u16string(kNoArchiverText));
  } else if (outcome == RunOutcome::Guarded || outcome == RunOutcome::NoSpace) {
    TellRefusal(end, std::u16string(kind) + u"中斷", program.Context.Report.RefusalText);
    end.LogPath = program.RunLogPath();
  } else if (outcome == RunOutcome::Ran) {
    TellCounts(end, kind, job.LastRunResult);
    end.LogPath = program.RunLogPath();
  }
}

}  // namespace

RunEnd EndOfBackup(const Program& program, const BackupJob& job, RunOutcome outcome) {
  RunEnd end{.Job = job.Name, .Text = {}, .Why = {}, .LogPath = {}};
  TellOutcome(end, program, job, outcome, u"備份",
              NoSourceText(job.Source.WorkPath, program.Context.Report.RefusalText));
  const std::optional<VerifyReport>& verified = program.LastVerification();
  if (outcome != RunOutcome::Ran || !verified) return end;
  const std::u16string found = Differences(*verified);
  end.Text += verified->Stopped ? u"，驗證中斷" : found.empty() ? u"，驗證沒有發現差異" : u"";
  if (!found.empty()) {
    end.Text += u"，" + found;
    end.Why += (end.Why.empty() ? u"" : u"，") + found;
  }
  // Failed files stand in the run's own log, differences in that of the verification.
  if (!end.Bad && (verified->Stopped || !found.empty())) {
    end.LogPath = verified->LogPath;
    end.Failures = verified->Failures;
  }
  end.Bad = end.Bad || verified->Stopped || !found.empty();
  return end;
}

RunEnd EndOfRestore(const Program& program, const BackupJob& job, RunOutcome outcome) {
  RunEnd end{.Job = job.Name, .Text = {}, .Why = {}, .LogPath = {}, .Bad = false, .Backup = false};
  TellOutcome(
      end, program, job, outcome, u"還原",
      Missing(u"找不到備份資料夾", job.Source.WorkPath, program.Context.Report.RefusalText));
  return end;
}

RunEnd EndOfVerification(const BackupJob& job, const VerifyReport& report) {
  RunEnd end{.Job = job.Name, .Text = {}, .Why = {}, .LogPath = {}, .Bad = false, .Backup = false};
  if (report.Outcome != RunOutcome::Ran) return end;
  end.LogPath = report.LogPath;
  end.Failures = report.Failures;
  end.Why = Differences(report);
  end.Bad = report.Stopped || !end.Why.empty();
  end.Text = std::u16string(report.Stopped ? u"驗證中斷：" : u"驗證完成：") +
             Grouped(report.Counters.Equal) + u" 個檔案內容相同，" +
             (end.Why.empty() ? u"沒有發現差異" : end.Why);
  return end;
}

RunEnd EndOfRow(const LogRow& row) {
  RunEnd end{.Job = row.Job, .Text = {}, .Why = {}, .LogPath = row.LogPath};
  const std::uint64_t failed = row.Failed.value_or(0);
  end.Bad = IsBadRun(row);
  end.Backup = row.Kind == LogKind::Backup;
  if (row.Kind == LogKind::Verification) {
    end.Text = StatusText(row) + u"：" + Grouped(row.Unchanged.value_or(0)) + u" 個檔案內容相同，" +
               Grouped(failed) + u" 個差異";
  } else if (end.Backup || row.Kind == LogKind::Restore) {
    end.Text = Counted(end.Backup ? u"備份" : u"還原", row.Stopped, row.Copied.value_or(0), failed);
  }
  return end;
}

std::u16string RestoreWarning(const Program& program, std::int32_t job_index, RestoreMode mode) {
  const BackupJob& job = program.Store.Jobs[static_cast<std::size_t>(job_index)];
  const std::u16string unit = UnitTaken(program.Context, job);
  std::u16string text = u"從：" + (unit.empty() ? program.DestinationNow(job) : unit);
  if (job.Compressed && unit.empty()) text += u" 中您選擇的壓縮檔";
  text += u"\n到：" + job.Source.Path + u"\n\n";
  // Nothing is compared with what an archive holds.
  if (mode == RestoreMode::Incremental && !job.Compressed) {
    text +=
        u"與備份不同的同名檔案會被備份取代，比備份新的也一樣，其中的變更將會遺失；相同的檔案不動。";
  } else {
    text += u"所有同名的檔案都會被備份取代，備份之後的變更將會遺失。";
  }
  return text + u"其他檔案不會移除。";
}

std::u16string EndText(std::span<const RunEnd> ends) {
  if (ends.empty()) return {};
  const auto is_bad = [](const RunEnd& end) { return end.Bad; };
  const auto bad = std::count_if(ends.begin(), ends.end(), is_bad);
  const auto told = std::find_if(ends.begin(), ends.end(), is_bad);
  const std::u16string all = Grouped(ends.size()) + u" 個排程";
  if (ends.size() > 1 && bad == 0) return all + u"備份完成";
  const RunEnd& one = bad > 0 ? *told : ends.front();
  const std::u16string text = u"「" + one.Job + u"」" + one.Text;
  if (ends.size() == 1) return text;
  return all + u"中有 " + Grouped(static_cast<std::uint64_t>(bad)) + u" 個沒有完整執行：" + text +
         (bad > 1 ? u" …" : u"");
}

}  // namespace kavrel
