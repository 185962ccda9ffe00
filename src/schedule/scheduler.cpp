#include "schedule/scheduler.h"

#include <algorithm>

#include "core/command_line.h"
#include "platform/trace.h"
#include "schedule/next_run.h"

namespace kavrel {

using namespace std::chrono;

namespace {

constexpr std::uint32_t kFirstTick = 1000, kSoon = 2000, kLater = 30000;  // milliseconds
constexpr std::int64_t kFarAway = 999;                                    // minutes

/// Why a job runs or does not.
void TraceJob(const BackupJob& job, std::u16string_view why) {
  if (Tracing()) Trace("schedule", {job.Name, u": ", why, u", next ", DateTimeText(job.NextRun)});
}

/// Minute boundaries from `now` to `time`.
std::int64_t MinutesUntil(DateTime time, DateTime now) {
  return (floor<minutes>(time) - floor<minutes>(now)).count();
}

}  // namespace

Scheduler::Scheduler(Clock& clock, RunState& state, JobStore& store, const SchedulePause& pause,
                     RunHost& run_host, SchedulerHost& host, SchedulerActions actions)
    : clock_(clock),
      state_(state),
      store_(store),
      pause_(pause),
      run_host_(run_host),
      host_(host),
      actions_(std::move(actions)) {}

void Scheduler::SetTimer(bool on, std::uint32_t milliseconds) {
  timer_on_ = on;
  host_.SetTickTimer(on, milliseconds);
}

void Scheduler::SetSchedulerTimer(bool on) {
  SetTimer(on, kFirstTick);
}

void Scheduler::Tick(std::u16string_view command_line) {
  if (state_.RunBusy) return Trace("schedule", {u"no tick: a run is at work"});
  state_.RunBusy = true;
  SetTimer(false, kSoon);
  state_.CancelRequested = false;
  ran_ = 0;
  nearest_ = kFarAway;
  if (SetTimesRight()) {
    store_.SaveJobs();
    actions_.SaveProgramLog();
  }
  if (state_.CommandLineRun) {
    host_.EnableControls(false);
    RunJobsByName(SplitArguments(command_line));
    while (!queue_.empty()) RunJobsByName(std::exchange(queue_, {}));
    ran_ = 1;
  } else {
    RunQueue();
    if (!Paused()) RunDueJobs();
  }
  if (ran_ > 0) EndBatch();
  state_.RunBusy = false;
  // At the end of a batch the windows' events are handled: somebody may have come.
  if (!queue_.empty()) {
    SetTimer(true, kFirstTick);
  } else if (state_.CommandLineRun) {
    host_.EndProgram();
  } else if (state_.CancelRequested) {
    SetSchedulerTimer(false);
  } else {
    SetTimer(true, nearest_ <= 1 ? kSoon : kLater);
  }
}

void Scheduler::RunNext(std::vector<std::u16string> names) {
  for (std::u16string& name : names) queue_.push_back(std::move(name));
  if (!state_.RunBusy && timer_on_) SetTimer(true, kFirstTick);
}

void Scheduler::RunQueue() {
  if (queue_.empty()) return;
  actions_.ApplyProcessPriority();
  host_.EnableControls(false);
  while (!queue_.empty()) RunJobsByName(std::exchange(queue_, {}));
  ran_ = 1;
}

bool Scheduler::SetTimesRight() {
  bool any = false;
  for (std::int32_t row = 0; row < std::ssize(store_.Jobs); ++row) {
    BackupJob& job = store_.Jobs[static_cast<std::size_t>(row)];
    const DateTime now = clock_.Now();
    if (job.Deleted || !TimesAreAhead(job, now)) continue;
    const DateTime was = job.NextRun;
    kavrel::SetTimesRight(job, now);
    run_host_.RefreshJobRow(row);
    any = true;
    // A last run that lay ahead changes nothing of what is to come.
    if (job.NextRun == was) continue;
    actions_.LogTimesSetRight(job);
    host_.TimesSetRight(job, was);
  }
  return any;
}

bool Scheduler::Paused() {
  const std::optional<DateTime> end = pause_.End();
  if (end != paused_) {
    paused_ = end;
    host_.PauseChanged(end);
  }
  if (!end) return false;
  Trace("schedule", {PauseText(*end)});
  if (*end != kNoEnd) nearest_ = std::min(nearest_, MinutesUntil(*end, clock_.Now()));
  return true;
}

void Scheduler::RunDueJobs() {
  for (std::int32_t row = 0; row < std::ssize(store_.Jobs); ++row) {
    if (state_.CancelRequested || !queue_.empty()) return;
    const BackupJob& job = store_.Jobs[static_cast<std::size_t>(row)];
    if (job.Deleted) continue;
    // It would stay due for ever and run again and again.
    if (NeverRuns(job, clock_.Now())) {
      TraceJob(job, u"its interval leads nowhere");
      continue;
    }
    RunRowIfDue(row);
    nearest_ = std::min(nearest_, MinutesUntil(job.NextRun, clock_.Now()));
  }
}

void Scheduler::RunRowIfDue(std::int32_t row) {
  BackupJob& job = store_.Jobs[static_cast<std::size_t>(row)];
  const DateTime now = clock_.Now();
  if (job.NextRun > now) return TraceJob(job, u"not due yet");
  TraceJob(job, job.Enabled ? u"due" : u"due, but switched off");
  if (job.Enabled) {
    actions_.ApplyProcessPriority();
    host_.EnableControls(false);
    RunRow(row);
    ++ran_;
  } else {
    job.NextRun = NextRunAfterNow(job, now);
    job.Extras.TimeMoved = now;
    run_host_.RefreshJobRow(row);
  }
}

void Scheduler::RunRow(std::int32_t row) {
  TraceJob(store_.Jobs[static_cast<std::size_t>(row)], u"runs");
  host_.JobStarting(row, clock_.Now());
  actions_.RunBackupJob(store_.Jobs[static_cast<std::size_t>(row)]);
  run_host_.RefreshJobRow(row);
  host_.JobEnded(row);
}

void Scheduler::RunJobsByName(std::span<const std::u16string> names) {
  for (const std::u16string& name : names) {
    const std::int32_t row = actions_.FindJob(name);
    if (row < 0) {
      Trace("schedule", {name, u": no such job"});
      if (!name.empty()) actions_.NoSuchJob(name);
      if (!name.empty() && !store_.Jobs.empty()) host_.Attract();
      // Between two runs nobody has a job to cancel but the list itself.
      if (std::exchange(state_.CancelRequested, false)) return;
      continue;
    }
    RunRow(row);
    state_.CancelRequested = false;
  }
}

void Scheduler::RunCheckedJobs() {
  if (state_.RunBusy) {
    state_.CancelRequested = true;
    return;
  }
  SetSchedulerTimer(false);
  state_.RunBusy = true;
  host_.EnableControls(false);
  actions_.ApplyProcessPriority();
  for (std::int32_t row = 0; row < std::ssize(store_.Jobs) && !state_.CancelRequested; ++row) {
    const BackupJob& job = store_.Jobs[static_cast<std::size_t>(row)];
    if (job.Enabled && !job.Deleted) RunRow(row);
  }
  EndBatch();
  SetSchedulerTimer(true);
}

void Scheduler::RunInOrder(std::span<const std::int32_t> jobs,
                           const std::function<bool(std::int32_t job_index)>& report) {
  state_.RunBusy = true;
  actions_.ApplyProcessPriority();
  for (const std::int32_t row : jobs) {
    state_.CancelRequested = false;
    RunRow(row);
    if (!report(row)) break;
  }
  EndBatch();
}

void Scheduler::EndBatch() {
  if (!state_.CommandLineRun) {
    host_.Attract();
    host_.EnableControls(true);
  }
  actions_.RestoreProcessPriority();
  run_host_.ShowRunPanels(false);
  state_.RunBusy = state_.CancelRequested = false;
  run_host_.PumpMessages();
  actions_.SaveProgramLog();
  actions_.PlayCompletionSound();
}

}  // namespace kavrel
