#include "app/run_health.h"

#include <algorithm>
#include <map>

#include "base/number.h"
#include "base/text.h"
#include "schedule/next_run.h"
#include "schedule/pause.h"

namespace kavrel {

namespace {

// A tick may come late, and jobs wait for each other.
constexpr std::chrono::minutes kGrace{10};
constexpr std::size_t kNamesTold = 5;

struct Last {
  const LogRow* Run = nullptr;
  const LogRow* Verification = nullptr;  ///< since that run
};

std::map<std::u16string_view, Last> LastRows(const std::vector<LogRow>& rows) {
  std::map<std::u16string_view, Last> last;
  for (const LogRow& row : rows) {
    if (row.Kind == LogKind::Backup) {
      last[row.Job] = {&row, nullptr};
    } else if (row.Kind == LogKind::Verification) {
      last[row.Job].Verification = &row;
    }
  }
  return last;
}

/// What went badly, in a few words; empty when nothing did. A verification is later than the run.
std::u16string BadlyText(const BackupJob& job, const Last& last) {
  if (job.Extras.NotBegun) return u"沒有執行";
  const auto failed = [](const LogRow& row) { return Grouped(row.Failed.value_or(0)); };
  if (last.Run && last.Run->Stopped) return StatusText(*last.Run);
  if (last.Run && IsBadRun(*last.Run)) return u"失敗 " + failed(*last.Run) + u" 個檔案";
  if (job.Extras.Unseen) return u"有檔案無法查看";
  if (!last.Verification || !IsBadRun(*last.Verification)) return {};
  const LogRow& verified = *last.Verification;
  return verified.Stopped ? StatusText(verified) : u"驗證發現 " + failed(verified) + u" 個差異";
}

/// The log of what went badly.
std::u16string BadLog(const BackupJob& job, const Last& last) {
  if (job.Extras.NotBegun) return {};
  if (last.Run && (job.Extras.Unseen || IsBadRun(*last.Run))) return last.Run->LogPath;
  return last.Verification ? last.Verification->LogPath : std::u16string();
}

JobHealth Judge(const BackupJob& job, const Last& last, DateTime now, bool paused) {
  if (std::u16string badly = BadlyText(job, last); !badly.empty()) {
    return {Health::Failed, std::move(badly), BadLog(job, last)};
  }
  // A time that leads nowhere never comes.
  const bool waits = job.Enabled && !paused && NextRunAfterNow(job, now) > now;
  if (waits && job.NextRun + kGrace < now) return {Health::Overdue, u"逾期未備份", {}};
  if (last.Run) return {Health::Good, u"完成", {}};
  return {Health::Unknown, job.LastRun == kZeroDate ? u"尚未備份" : u"沒有紀錄", {}};
}

std::u16string Names(const std::vector<std::u16string>& names) {
  std::u16string text;
  for (std::size_t i = 0; i < std::min(names.size(), kNamesTold); ++i) {
    if (i > 0) text += u"、";
    text += names[i];
  }
  return names.size() > kNamesTold ? text + u" …" : text;
}

}  // namespace

std::vector<JobHealth> JudgeJobs(const std::vector<BackupJob>& jobs,
                                 const std::vector<LogRow>& rows, DateTime now,
                                 std::int32_t running, bool paused) {
  const std::map<std::u16string_view, Last> last_rows = LastRows(rows);
  std::vector<JobHealth> judged;
  for (const BackupJob& job : jobs) {
    const auto found = last_rows.find(job.Name);
    judged.push_back(
        std::ssize(judged) == running
            ? JobHealth{Health::Running, u"執行中", {}}
            : Judge(job, found == last_rows.end() ? Last() : found->second, now, paused));
  }
  return judged;
}

RunHealth JudgeRuns(const std::vector<BackupJob>& jobs, const std::vector<LogRow>& rows,
                    DateTime now, const std::optional<DateTime>& paused) {
  const std::vector<JobHealth> judged = JudgeJobs(jobs, rows, now, -1, paused.has_value());
  RunHealth health;
  health.Paused = paused;
  bool any = false;
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    if (jobs[i].Deleted || !jobs[i].Enabled) continue;
    any = any || judged[i].State == Health::Good;
    if (judged[i].State == Health::Failed) health.Failed.push_back(jobs[i].Name);
    if (judged[i].State == Health::Overdue) health.Overdue.push_back(jobs[i].Name);
  }
  // A pause that was forgotten means no backups: its mark goes before all others.
  health.State = paused                    ? Health::Paused
                 : !health.Failed.empty()  ? Health::Failed
                 : !health.Overdue.empty() ? Health::Overdue
                 : any                     ? Health::Good
                                           : Health::Unknown;
  return health;
}

std::u16string HealthText(const RunHealth& health) {
  std::u16string text;
  const auto line = [&text](std::u16string_view words) {
    if (!text.empty()) text += u'\n';
    text += words;
  };
  if (health.Paused) line(PauseText(*health.Paused));
  if (health.State == Health::Good) line(u"最近的備份都順利完成");
  if (!health.Failed.empty()) line(u"最近的備份有問題：" + Names(health.Failed));
  if (!health.Overdue.empty()) line(u"逾期未備份：" + Names(health.Overdue));
  return text;
}

}  // namespace kavrel
