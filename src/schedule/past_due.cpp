#include "schedule/past_due.h"

#include "base/number.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {
constexpr int kPatience = 20;  // seconds
}

void PastDueQuestion::SetJob(const BackupJob& job) {
  job_name_ = job.Name;
  job_start_ = job.NextRun;
  message_ = u"Kavrel發現到【" + job.Name + u"】在【" + DateTimeText(job.NextRun) +
             u"】時間內並未做備份，您要：";
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
    caption_ =
        u"Kavrel將於 " + Decimal(kPatience - ticks_) + u" 秒後將會立即執行【" + Action + u"】";
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

bool ApplyPastDueRule(BackupJob& job, DateTime now, PastDueState& state, const AskPastDue& ask) {
  if (job.NextRun >= now || NeverRuns(job, now)) return false;
  if (job.Enabled) {
    if (!state.TimedOut) {
      PastDueQuestion question;
      question.Action = u"立刻備份";
      question.SetJob(job);
      question.Load();
      ask(question);
      state = {question.TimedOut, question.Later};
    }
    if (!state.Later) return false;
  }
  const DateTime next = NextRunTime(job, now);
  const bool changed = next != job.NextRun;
  job.NextRun = next;
  if (changed) job.Extras.TimeMoved = now;
  return changed;
}

}  // namespace kavrel
