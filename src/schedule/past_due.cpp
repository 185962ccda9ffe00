#include "schedule/past_due.h"

#include "base/number.h"
#include "base/translation.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {
constexpr int kPatience = 20;  // seconds
}

void PastDueQuestion::SetJob(const BackupJob& job) {
  job_name_ = job.Name;
  job_start_ = job.NextRun;
  message_ = Fill(u"Kavrel發現到【%1】在【%2】時間內並未做備份，您要：",
                  {job.Name, DateTimeText(job.NextRun)});
}

void PastDueQuestion::Load() {
  Later = TimedOut = answered_ = false;
  ticks_ = 0;
  counting_ = true;
}

void PastDueQuestion::Tick() {
  if (!counting_) return;
  ++ticks_;
  if (ticks_ > 1) {
    caption_ = Fill(u"Kavrel將於 %1 秒後將會立即執行【%2】", {Decimal(kPatience - ticks_), Action});
  }
  if (ticks_ < kPatience) return;
  TimedOut = true;
  Answer(DefaultLater);
}

void PastDueQuestion::Answer(bool later) {
  counting_ = false;
  Later = later;
  answered_ = true;
}

std::vector<std::size_t> AskAboutPastDue(const std::vector<BackupJob>& jobs, Clock& clock,
                                         const AskPastDue& ask) {
  std::vector<std::size_t> put_off;
  bool asking = true, later = false;
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    const BackupJob& job = jobs[i];
    const DateTime now = clock.Now();
    if (job.NextRun >= now || NeverRuns(job, now)) continue;
    if (job.Enabled && asking) {
      PastDueQuestion question;
      question.Action = u"立刻備份";
      question.SetJob(job);
      question.Load();
      ask(question);
      asking = !question.TimedOut;
      later = question.Later;
    }
    if (!job.Enabled || later) put_off.push_back(i);
  }
  return put_off;
}

bool PutOff(BackupJob& job, DateTime now) {
  const DateTime next = NextRunTime(job, now);
  if (next == job.NextRun) return false;
  job.NextRun = next;
  job.Extras.TimeMoved = now;
  return true;
}

}  // namespace kavrel
