#include "app/run_end.h"

#include <algorithm>

#include "base/number.h"
#include "base/translation.h"
#include "engine/states.h"
#include "log/job_log.h"

namespace kavrel {

namespace {

/// What a run is called in what is told of its end. Each ends with a
/// colon, behind which parts follow that are shown by themselves.
struct RunWords {
  std::u16string_view Done, Stopped, NotBegun, Count;
};
constexpr RunWords kBackup = {u"備份完成：", u"備份中斷：", u"沒有備份：",
                              TrCountLater(u"備份 %1 個檔案")};
constexpr RunWords kRestore = {u"還原完成：", u"還原中斷：", u"沒有還原：",
                               TrCountLater(u"還原 %1 個檔案")};

std::u16string FailedText(std::uint64_t failed) {
  return Fill(TrCountLater(u"失敗 %1 個檔案"), {Grouped(failed)});
}

std::u16string Counted(const RunWords& words, bool stopped, std::uint64_t done,
                       std::uint64_t failed) {
  std::u16string text(stopped ? words.Stopped : words.Done);
  text += Fill(words.Count, {Grouped(done)});
  return (text += u"，") += FailedText(failed);
}

/// Of a run or a restore that took place.
void TellCounts(RunEnd& end, const RunWords& words, const LastRunResult& result) {
  end.Text = Counted(words, result.Stopped, result.CopiedFiles, result.FailedFiles);
  if (result.FailedFiles > 0) end.Why = FailedText(result.FailedFiles);
  if (result.UnseenFiles > 0) {
    const std::u16string unseen =
        Fill(TrCountLater(u"無法查看 %1 個檔案"), {Grouped(result.UnseenFiles)});
    end.Text += u"，" + unseen;
    end.Why += (end.Why.empty() ? u"" : u"，") + unseen;
  }
  end.Bad = result.Stopped || !end.Why.empty();
}

/// Of one that began and stopped by itself, or never began.
void TellRefusal(RunEnd& end, std::u16string_view state, const std::u16string& why) {
  end.Why = why;
  (end.Text = state) += why;
  end.Bad = true;
}

std::u16string NoBackupText(const std::u16string& path, const std::u16string& more) {
  const std::u16string text = Fill(u"找不到備份資料夾 %1", {path});
  return more.empty() ? text : text + u"，" + more;
}

std::u16string Differences(const VerifyReport& report) {
  const std::uint32_t differences = report.Counters.Differences();
  return differences == 0 ? u"" : Fill(TrCountLater(u"驗證發現 %1 個差異"), {Grouped(differences)});
}

/// What is the same for both directions.
void TellOutcome(RunEnd& end, const Program& program, const BackupJob& job, RunOutcome outcome,
                 const RunWords& words, const std::u16string& missing) {
  end.Failures = program.Context.Report.Failures;
  if (outcome == RunOutcome::SourceMissing) {
    TellRefusal(end, words.NotBegun, missing);
  } else if (outcome == RunOutcome::NoArchiver) {
    TellRefusal(end, words.NotBegun, std::u16string(kNoArchiverText));
  } else if (outcome == RunOutcome::Guarded || outcome == RunOutcome::NoSpace) {
    TellRefusal(end, words.Stopped, program.Context.Report.RefusalText);
    end.LogPath = program.RunLogPath();
  } else if (outcome == RunOutcome::Ran) {
    TellCounts(end, words, job.LastRunResult);
    end.LogPath = program.RunLogPath();
  }
}

}  // namespace

RunEnd EndOfBackup(const Program& program, const BackupJob& job, RunOutcome outcome) {
  RunEnd end{.Job = job.Name, .Text = {}, .Why = {}, .LogPath = {}};
  TellOutcome(end, program, job, outcome, kBackup,
              NoSourceText(job.Source.WorkPath, program.Context.Report.RefusalText));
  if (const std::u16string& alarm = program.Context.Report.Alarm;
      outcome == RunOutcome::Ran && !alarm.empty()) {
    end.Text += u"，" + alarm;
    end.Why += (end.Why.empty() ? u"" : u"，") + alarm;
    end.Bad = true;
  }
  const std::optional<VerifyReport>& verified = program.LastVerification();
  if (outcome != RunOutcome::Ran || !verified) return end;
  const std::u16string found = Differences(*verified);
  end.Text += verified->Stopped ? u"，" + std::u16string(u"驗證中斷")
              : found.empty()   ? u"，" + std::u16string(u"驗證沒有發現差異")
                                : u"";
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
  TellOutcome(end, program, job, outcome, kRestore,
              NoBackupText(job.Source.WorkPath, program.Context.Report.RefusalText));
  return end;
}

RunEnd EndOfVerification(const BackupJob& job, const VerifyReport& report) {
  RunEnd end{.Job = job.Name, .Text = {}, .Why = {}, .LogPath = {}, .Bad = false, .Backup = false};
  if (report.Outcome != RunOutcome::Ran) return end;
  end.LogPath = report.LogPath;
  end.Failures = report.Failures;
  end.Why = Differences(report);
  end.Bad = report.Stopped || !end.Why.empty();
  const std::u16string_view done = report.Drill ? u"試行還原完成：" : u"驗證完成：";
  const std::u16string_view stopped = report.Drill ? u"試行還原中斷：" : u"驗證中斷：";
  end.Text = std::u16string(report.Stopped ? stopped : done) +
             Fill(TrCountLater(u"%1 個檔案內容相同"), {Grouped(report.Counters.Equal)}) + u"，" +
             (end.Why.empty() ? u"沒有發現差異" : end.Why);
  return end;
}

RunEnd EndOfRow(const LogRow& row) {
  RunEnd end{.Job = row.Job, .Text = {}, .Why = {}, .LogPath = row.LogPath};
  const std::uint64_t failed = row.Failed.value_or(0);
  end.Bad = IsBadRun(row);
  end.Backup = row.Kind == LogKind::Backup;
  if (row.Kind == LogKind::Verification) {
    end.Text = StatusText(row) + u"：" +
               Fill(TrCountLater(u"%1 個檔案內容相同"), {Grouped(row.Unchanged.value_or(0))}) +
               u"，" + Fill(TrCountLater(u"%1 個差異"), {Grouped(failed)});
  } else if (end.Backup || row.Kind == LogKind::Restore) {
    end.Text =
        Counted(end.Backup ? kBackup : kRestore, row.Stopped, row.Copied.value_or(0), failed);
  }
  return end;
}

std::u16string RestoreWarning(const Program& program, std::int32_t job_index, RestoreMode mode) {
  const BackupJob& job = program.Store.Jobs[static_cast<std::size_t>(job_index)];
  const std::u16string unit = UnitTaken(program.Context, job);
  const std::u16string from = unit.empty() ? program.DestinationNow(job) : unit;
  std::u16string text = job.Compressed && unit.empty() ? Fill(u"從：%1 中您選擇的壓縮檔", {from})
                                                       : Fill(u"從：%1", {from});
  text += u"\n" + Fill(u"到：%1", {job.Source.Path}) + u"\n\n";
  // Nothing is compared with what an archive holds.
  return text +=
         mode == RestoreMode::Incremental && !job.Compressed
             ? u"與備份不同的同名檔案會被備份取代，比備份新的也一樣，其中的變更將會遺失；相同"
               u"的檔案不動。其他檔案不會移除。"
             : u"所有同名的檔案都會被備份取代，備份之後的變更將會遺失。其他檔案不會移除。";
}

std::u16string EndText(std::span<const RunEnd> ends) {
  if (ends.empty()) return {};
  const auto is_bad = [](const RunEnd& end) { return end.Bad; };
  const auto bad = std::count_if(ends.begin(), ends.end(), is_bad);
  const auto told = std::find_if(ends.begin(), ends.end(), is_bad);
  if (ends.size() > 1 && bad == 0) {
    return Fill(TrCountLater(u"%1 個排程備份完成"), {Grouped(ends.size())});
  }
  const RunEnd& one = bad > 0 ? *told : ends.front();
  if (ends.size() == 1) return Fill(TrLater(u"「%1」%2"), {one.Job, one.Text});
  return Fill(bad > 1 ? u"%1 個排程中有 %2 個沒有完整執行：「%3」%4 …"
                      : u"%1 個排程中有 %2 個沒有完整執行：「%3」%4",
              {Grouped(ends.size()), Grouped(static_cast<std::uint64_t>(bad)), one.Job, one.Text});
}

}  // namespace kavrel
