// Jobs whose time passed while the program was not running: the question that is asked about each,
// and the rule that follows from the answer.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/backup_job.h"
#include "platform/clock.h"

namespace kavrel {

/// What the dialog FrmPastDue decides: a question that answers itself after 20 seconds.
class PastDueQuestion {
 public:
  /// Words in the caption for the default action, and which action that is; set by the caller.
  std::u16string Action;
  bool DefaultLater = false;
  /// The answer: back up later, or now. TimedOut tells that nobody gave it.
  bool Later = false, TimedOut = false;

  /// The job that it is about, as the message names it.
  void SetJob(const BackupJob& job);
  const std::u16string& JobName() const { return job_name_; }
  DateTime JobStart() const { return job_start_; }
  const std::u16string& Message() const { return message_; }
  /// The window's caption: a blank, later how many seconds are left.
  const std::u16string& Caption() const { return caption_; }

  /// Begins the countdown.
  void Load();
  /// To be called each second while it counts.
  void Tick();
  /// The user is looking: wait for an answer.
  void StopCountdown() { counting_ = false; }
  bool Counting() const { return counting_; }

  void Answer(bool later);
  /// Until this is true, the dialog must not be closed.
  bool Answered() const { return answered_; }

 private:
  std::u16string job_name_, message_, caption_{u" "};
  DateTime job_start_ = kZeroDate;
  int ticks_ = 0;
  bool counting_ = false, answered_ = false;
};

/// Shows the question until it is answered.
using AskPastDue = std::function<void(PastDueQuestion&)>;

/// The positions of the overdue jobs that are not to be run now, because they are off or the user
/// wants them later; the others stay in the past, for the first tick to run. After a question that
/// nobody answered, its default is taken for all further jobs. Nothing is changed; what `ask` does
/// meanwhile to the store is no matter where `jobs` is a copy.
std::vector<std::size_t> AskAboutPastDue(const std::vector<BackupJob>& jobs, Clock& clock,
                                         const AskPastDue& ask);

/// Moves NextRun of such a job on to what is next from the present. True when that changed it.
bool PutOff(BackupJob& job, DateTime now);

}  // namespace kavrel
