#include "app/run_health.h"

#include <algorithm>
#include <map>

#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "engine/change_guard.h"
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

struct Trouble {
  HealthCause Cause = HealthCause::None;
  std::u16string Text{};  ///< in a few words
};

/// Of a backup whose row tells no more than this.
HealthCause CauseOf(const BackupJob& job, HealthCause of_row) {
  constexpr HealthCause kCauses[kBadEnds] = {HealthCause::None, HealthCause::Guarded,
                                             HealthCause::NoSpace, HealthCause::NoPlace,
                                             HealthCause::Changes};
  const HealthCause noted =
      job.Extras.Bad ? kCauses[static_cast<std::size_t>(job.Extras.BadBy)] : HealthCause::None;
  return noted == HealthCause::None ? of_row : noted;
}

/// What went badly. A verification is later than the run.
Trouble TroubleOf(const BackupJob& job, const Last& last) {
  const auto failed = [](const LogRow& row) { return Grouped(row.Failed.value_or(0)); };
  if (job.Extras.NotBegun) {
    const bool archiver = !job.Extras.Unbegun.empty() &&
                          job.Extras.Unbegun.back().Why == UnbegunRun::Cause::NoArchiver;
    return {archiver ? HealthCause::NoArchiver : HealthCause::NoSource, u"沒有執行"};
  }
  if (IsAlarmed(job.Extras)) return {HealthCause::Changes, ChangeAlarmText(job)};
  if (last.Run && last.Run->Stopped) {
    return {CauseOf(job, HealthCause::Interrupted), StatusText(*last.Run)};
  }
  if (last.Run && IsBadRun(*last.Run)) {
    return {CauseOf(job, HealthCause::FilesFailed),
            Fill(TrCountLater(u"失敗 %1 個檔案"), {failed(*last.Run)})};
  }
  if (job.Extras.Unseen) return {HealthCause::FilesUnseen, u"有檔案無法查看"};
  // Its row has been removed from the list, or could not be written.
  if (job.Extras.Bad) return {CauseOf(job, HealthCause::NotKnown), u"沒有順利完成"};
  if (!last.Verification || !IsBadRun(*last.Verification)) return {};
  const LogRow& verified = *last.Verification;
  if (verified.Stopped) return {HealthCause::NotVerified, StatusText(verified)};
  return {HealthCause::Differences, Fill(TrCountLater(u"驗證發現 %1 個差異"), {failed(verified)})};
}

/// The log of what went badly.
std::u16string BadLog(const BackupJob& job, const Last& last) {
  if (job.Extras.NotBegun) return {};
  if (last.Run && (job.Extras.Unseen || IsAlarmed(job.Extras) || IsBadRun(*last.Run)))
    return last.Run->LogPath;
  return last.Verification ? last.Verification->LogPath : std::u16string();
}

JobHealth Judge(const BackupJob& job, const Last& last, DateTime now, bool paused) {
  if (Trouble trouble = TroubleOf(job, last); trouble.Cause != HealthCause::None) {
    return {Health::Failed, std::move(trouble.Text), BadLog(job, last), trouble.Cause};
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
    text += ShownName(names[i]);
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

JobWord WordOf(const BackupJob& job, Health health, DateTime now) {
  if (health == Health::Running) return JobWord::Running;
  if (!job.Enabled) return JobWord::Off;
  if (health == Health::Failed) return JobWord::Failed;
  if (health == Health::Overdue) return JobWord::Overdue;
  if (job.LastRun == kZeroDate || NeverRuns(job, now)) return JobWord::Never;
  return job.NextRun <= now ? JobWord::Waiting : JobWord::Ok;
}

DateTime LastSuccess(const BackupJob& job, const std::vector<LogRow>& rows) {
  if (job.Extras.Bad) return job.Extras.LastGood;
  // What earlier versions ran stands in the list alone.
  bool bad = job.Extras.NotBegun || job.Extras.Unseen;
  DateTime good = kZeroDate;
  for (const LogRow& row : rows) {
    if (row.Kind != LogKind::Backup || row.Job != job.Name) continue;
    const bool is_bad = IsBadRun(row);
    if (!is_bad) good = row.Started.value_or(good);
    bad = is_bad || job.Extras.NotBegun || job.Extras.Unseen;
  }
  return bad ? good : job.LastRun;
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
