// The scheduler: one tick of a timer after the other, each running what is due.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/job_store.h"
#include "core/run_host.h"
#include "files/run_state.h"
#include "platform/clock.h"
#include "schedule/pause.h"

namespace kavrel {

/// The job list, the timer and the rest of what shows the jobs. Row i shows job i of the store.
class SchedulerHost {
 public:
  virtual ~SchedulerHost() = default;

  /// Sets the timer whose every firing calls Tick.
  virtual void SetTickTimer(bool on, std::uint32_t milliseconds) = 0;
  /// Allows or forbids what must rest during a run: the job list, the toolbar, the clock.
  virtual void EnableControls(bool on) = 0;
  /// This job runs from now on: its row is selected and shows `now` as its last run.
  virtual void JobStarting(std::int32_t job_index, DateTime now) = 0;
  /// The run is over; the job's record holds its times and its result.
  virtual void JobEnded(std::int32_t job_index) = 0;
  /// The clock was set back: this job's times lay in a future that is not to come. NextRun was
  /// `was` and is the next one of its grid again.
  virtual void TimesSetRight(const BackupJob& job, DateTime was) = 0;
  /// The schedule is paused until then from now on, or goes on: a tick found it so.
  virtual void PauseChanged(const std::optional<DateTime>& end) = 0;
  /// A beep and two flashes of the window, when it can be seen.
  virtual void Attract() = 0;
  /// The named jobs have run; the program is to end.
  virtual void EndProgram() = 0;
};

/// What the scheduler has done for it.
struct SchedulerActions {
  std::function<void(BackupJob&)> RunBackupJob;
  std::function<void()> ApplyProcessPriority;    ///< the one that the user chose for runs
  std::function<void()> RestoreProcessPriority;  ///< the normal one
  std::function<void()> SaveProgramLog;
  /// Notes in the program log that the job's times were set right.
  std::function<void(const BackupJob&)> LogTimesSetRight;
  std::function<void()> PlayCompletionSound;  ///< when it is switched on
  /// A job that the command line names is not there.
  std::function<void(std::u16string_view name)> NoSuchJob;
  /// The position of the job that the command line means by this name; -1 when there is none.
  std::function<std::int32_t(std::u16string_view name)> FindJob;
};

class Scheduler {
 public:
  /// All references outlive the scheduler.
  Scheduler(Clock& clock, RunState& state, JobStore& store, const SchedulePause& pause,
            RunHost& run_host, SchedulerHost& host, SchedulerActions actions);

  /// Switches the ticks on, the first one in a second, or off.
  void SetSchedulerTimer(bool on);
  bool TimerOn() const { return timer_on_; }

  /// One firing of the timer. Runs the jobs that are due, in the order of the store, and chooses
  /// when to look again: in 2 s when something is due within the minute, else in 30 s. While the
  /// schedule is paused it runs none, and leaves what comes due for the end of the pause. With
  /// CommandLineRun it runs the jobs of `command_line` instead, and what came next meanwhile, and
  /// ends the program. Does nothing while a run is in progress.
  void Tick(std::u16string_view command_line);

  /// These jobs run next, due or not, in a pause as well: after the run at work and before all that
  /// is due. Where the timer is off they wait for it.
  void RunNext(std::vector<std::u16string> names);

  /// Sets right, and tells, what the program did to times while the clock was ahead; true when
  /// there was anything. Every tick does it, and stores it.
  bool SetTimesRight();

  /// The batch of all jobs that are switched on. While a run is in progress, cancels that instead.
  void RunCheckedJobs();

  /// Runs these jobs of the store in this order, due or not, then does what ends a batch. After
  /// each, `report` is told; when it gives false the rest is left.
  void RunInOrder(std::span<const std::int32_t> jobs,
                  const std::function<bool(std::int32_t job_index)>& report);

 private:
  bool Paused();
  void RunQueue();
  void RunDueJobs();
  void RunJobsByName(std::span<const std::u16string> names);
  void RunRow(std::int32_t row);
  void EndBatch();
  void RunRowIfDue(std::int32_t row);
  void SetTimer(bool on, std::uint32_t milliseconds);

  Clock& clock_;
  RunState& state_;
  JobStore& store_;
  const SchedulePause& pause_;
  RunHost& run_host_;
  SchedulerHost& host_;
  const SchedulerActions actions_;
  bool timer_on_ = false;
  std::optional<DateTime> paused_;     ///< as the last tick saw it
  std::vector<std::u16string> queue_;  ///< names of jobs that are to run next
  int ran_ = 0;                        ///< jobs run in this tick
  std::int64_t nearest_ = 0;           ///< whole minutes until some job is due, as this tick saw it
};

}  // namespace kavrel
