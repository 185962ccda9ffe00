#include "app/job_status.h"

#include "base/translation.h"

#include "log/log_end.h"
#include "log/log_troubles.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {

std::string_view CauseWord(HealthCause cause) {
  constexpr std::string_view kWords[] = {
      "",          "source-missing", "no-archive-program", "guarded",      "no-space",
      "no-place",  "changes",        "interrupted",        "files-failed", "files-unseen",
      "not-known", "differences",    "not-verified"};
  return kWords[static_cast<std::size_t>(cause)];
}

void TellFailure(JobStatus& status, const FileSystem& files, const BackupJob& job,
                 const JobHealth& health) {
  status.Cause = CauseWord(health.Cause);
  status.Reason = health.Text;
  std::u16string more;
  if (job.Extras.NotBegun && !job.Extras.Unbegun.empty()) {
    more = job.Extras.Unbegun.back().Text;
  } else if (const Result<std::u16string> log = ReadJobLog(files, health.LogPath); log) {
    more = FirstTroubleIn(*log);
    const bool no_key =
        health.Cause == HealthCause::Differences && EndTold(*log) == LogEnd::WrongPassword;
    if (no_key) status.Cause = "wrong-password";
  }
  if (!more.empty()) status.Reason += u"：" + more;
}

void Tell(JobStatus& status, const FileSystem& files, const BackupJob& job, const JobHealth& health,
          const std::optional<DateTime>& pause) {
  switch (status.Word) {
    case JobWord::Failed:
      return TellFailure(status, files, job, health);
    case JobWord::Overdue:
      status.Cause = "not-run";
      status.Reason = health.Text + u"：" + DateTimeText(job.NextRun);
      return;
    case JobWord::Never:
      status.Cause = job.LastRun == kZeroDate ? "never-ran" : "never-runs";
      status.Reason = job.LastRun == kZeroDate ? u"尚未備份" : kNeverRunsText;
      return;
    case JobWord::Waiting:
      status.Cause = pause ? "paused" : "due";
      status.Reason = pause ? PauseText(*pause) : u"時間已到";
      return;
    default:
      return;
  }
}

}  // namespace

std::u16string FirstFailure(const std::vector<RunFailure>& failures) {
  if (failures.empty()) return {};
  const RunFailure& first = failures.front();
  std::u16string text = first.What + u" " + first.Path;
  if (!first.Reason.empty()) text += u" (" + first.Reason + u")";
  return text;
}

std::u16string FirstTroubleIn(std::u16string_view log) {
  return FirstFailure(ReadTroubles(log, 1));
}

std::vector<JobStatus> StatusOfJobs(Program& program, DateTime now,
                                    std::optional<std::chrono::minutes> oldest) {
  const std::vector<BackupJob>& jobs = program.Store.Jobs;
  const std::vector<LogRow>& rows = program.LogRows.Rows();
  const std::optional<DateTime> pause = program.Pause.End();
  const std::u16string work = ProcessLock::WorkOfHolder(program.Files.ProgramFolder());
  const std::vector<JobHealth> judged = JudgeJobs(
      jobs, rows, now, work.empty() ? -1 : program.Store.FindJob(work), pause.has_value());
  std::vector<JobStatus> told(jobs.size());
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    JobStatus& status = told[i];
    status.Word = WordOf(jobs[i], judged[i].State, now);
    status.LastGood = LastSuccess(jobs[i], rows);
    status.LogPath = judged[i].LogPath;
    Tell(status, program.Files, jobs[i], judged[i], pause);
    const bool well = status.Word == JobWord::Ok || status.Word == JobWord::Waiting;
    if (oldest && well && status.LastGood + *oldest < now) {
      status.Word = JobWord::Overdue;
      status.Cause = "too-old";
      status.Reason = u"最近一次順利的備份太久以前：" + DateTimeText(status.LastGood);
    }
  }
  return told;
}

std::string_view StatusWord(JobWord word) {
  constexpr std::string_view kWords[kJobWords] = {
      TrLater("ok"),     TrLater("running"), TrLater("waiting"), TrLater("overdue"),
      TrLater("failed"), TrLater("never"),   TrLater("off")};
  return kWords[static_cast<std::size_t>(word)];
}

}  // namespace kavrel
