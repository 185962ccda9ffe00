#include "schedule/scheduler.h"

#include <gtest/gtest.h>

#include "app/program_host.h"
#include "base/text.h"
#include "schedule/next_run.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"

namespace kavrel {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

/// A scheduler over a store in memory whose runs take no time; what it does stands in `Events`.
class SchedulerTest : public testing::Test, protected ProgramHost {
 protected:
  BackupJob& Add(std::u16string name, DateTime next, bool enabled = true) {
    BackupJob job;
    job.Name = std::move(name);
    job.Enabled = enabled;
    job.NextRun = next;
    job.EveryMinutes = 10;
    return Store.Jobs.emplace_back(job);
  }
  void Note(const std::string& event) {
    if (!Events.empty()) Events += ' ';
    Events += event;
  }
  std::string Tick(std::u16string_view command_line = {}) {
    Events.clear();
    Scheduler.Tick(command_line);
    return Events;
  }
  /// The run driver's part in it.
  void RunBackupJob(BackupJob& job) {
    EXPECT_TRUE(State.RunBusy);
    if (State.CancelRequested) return;
    job.RunStarted = Clock.Now();
    Note("run:" + ToUtf8(job.Name));
    if (AtRun) AtRun(job);
    job.LastRun = Clock.Now();
    job.NextRun = NextRunAfterNow(job, std::max(job.LastRun, job.RunStarted));
  }

  void PumpMessages() override {}
  int ApiFileCopyCallback(std::uint64_t, std::uint64_t, std::uint32_t, std::uint64_t, std::uint64_t,
                          std::uint32_t) override {
    return 0;
  }
  void DrawCaptions(std::u16string_view, std::u16string_view, std::u16string_view) override {}
  void ShowRunPanels(bool show) override { Note(show ? "panels" : "no-panels"); }
  void RefreshJobRow(std::int32_t row) override { Note("row:" + std::to_string(row)); }
  void SetTickTimer(bool on, std::uint32_t milliseconds) override {
    TimerOn = on;
    Interval = milliseconds;
  }
  void EnableControls(bool on) override { Note(on ? "enable" : "disable"); }
  void JobStarting(std::int32_t row, DateTime now) override {
    EXPECT_EQ(now, Clock.Now());
    Note("start:" + std::to_string(row));
  }
  void JobEnded(std::int32_t) override {}
  void TimesSetRight(const BackupJob& job, DateTime) override { Note("right:" + ToUtf8(job.Name)); }
  void PauseChanged(const std::optional<DateTime>& end) override {
    Note(!end ? "goes-on" : *end == kNoEnd ? "paused" : "paused-until");
  }
  void Attract() override { Note("attract"); }
  void EndProgram() override { Note("end"); }

  TempFolder Temp;
  SetClock Clock{2009, 9, 23, 14, 8, 59};
  RunState State;
  JobStore Store{Temp.Files()};
  SchedulePause Pause{Temp.Files(), Clock};
  std::string Events;
  bool TimerOn = false;
  std::uint32_t Interval = 0;
  std::function<void(BackupJob&)> AtRun;
  kavrel::Scheduler Scheduler{
      Clock,
      State,
      Store,
      Pause,
      *this,
      *this,
      {[this](BackupJob& job) { RunBackupJob(job); }, [this] { Note("priority"); },
       [this] { Note("normal"); }, [this] { Note("save-log"); }, [](const BackupJob&) {},
       [this] { Note("sound"); },
       [this](std::u16string_view name) { Note("missing:" + ToUtf8(name)); },
       [this](std::u16string_view name) { return Store.FindJob(name); }}};
  const DateTime kTenPast = *FromCivil(2009, 9, 23, 14, 10);
};

constexpr char kBatchEnd[] = " attract enable normal no-panels save-log sound";

TEST_F(SchedulerTest, LooksAgainInTwoSecondsOnlyWhenSomethingIsDueWithinTheMinute) {
  Scheduler.SetSchedulerTimer(true);
  EXPECT_TRUE(TimerOn);
  EXPECT_EQ(Interval, 1000u);
  EXPECT_EQ(Tick(), "");
  EXPECT_EQ(Interval, 30000u);  // no job at all
  Add(u"A", kTenPast);
  Tick();
  EXPECT_EQ(Interval, 30000u);
  Clock.Advance(30000);
  Tick();  // 14:09:29
  EXPECT_EQ(Interval, 2000u);
  for (int ticks = 0; ticks < 15; ++ticks) {
    Clock.Advance(2000);
    EXPECT_EQ(Tick(), "") << ticks;
  }
  Clock.Advance(2000);  // 14:10:01
  EXPECT_EQ(Tick(), "priority disable start:0 run:A row:0" + std::string(kBatchEnd));
  EXPECT_TRUE(TimerOn);
  EXPECT_EQ(Interval, 30000u);
  EXPECT_EQ(Store.Jobs[0].NextRun, kTenPast + minutes(10));
}

TEST_F(SchedulerTest, RunsWhatIsDueInOrderAndMovesWhatIsOffForward) {
  Clock.Set(kTenPast);
  Add(u"A", kTenPast - hours(3));
  Add(u"off", kTenPast, false);
  Add(u"later", kTenPast + minutes(5));
  Add(u"B", kTenPast);
  Add(u"gone", kTenPast).Deleted = true;
  // While A runs, "later" becomes due; it comes after A in the list.
  AtRun = [&](const BackupJob& job) {
    if (job.Name == u"A") Clock.Advance(5 * 60000);
  };
  EXPECT_EQ(Tick(),
            "priority disable start:0 run:A row:0 row:1 priority disable start:2 run:later row:2 "
            "priority disable start:3 run:B row:3" +
                std::string(kBatchEnd));
  EXPECT_EQ(Store.Jobs[0].NextRun, kTenPast + minutes(10));
  EXPECT_EQ(Store.Jobs[1].NextRun, kTenPast + minutes(10));
}

TEST_F(SchedulerTest, ACancelLeavesTheLoopAndATickDuringARunDoesNothing) {
  Clock.Set(kTenPast);
  Add(u"A", kTenPast);
  Add(u"B", kTenPast);
  AtRun = [&](const BackupJob&) {
    Scheduler.Tick({});
    State.CancelRequested = true;
  };
  EXPECT_EQ(Tick(), "priority disable start:0 run:A row:0" + std::string(kBatchEnd));
  EXPECT_FALSE(State.CancelRequested);
  EXPECT_TRUE(TimerOn);
  AtRun = nullptr;
  EXPECT_EQ(Tick(), "priority disable start:1 run:B row:1" + std::string(kBatchEnd));
}

TEST_F(SchedulerTest, ARecordThatLeadsNowhereIsNeverRun) {
  Clock.Set(kTenPast);
  Add(u"no interval", kTenPast - hours(1)).EveryMinutes = 0;
  Add(u"no day", kTenPast - hours(1)).RefusedDays = 0xFE;
  EXPECT_EQ(Tick(), "");
  EXPECT_EQ(Interval, 30000u);
}

TEST_F(SchedulerTest, InAPauseNothingRunsByItselfAndAfterItOnceWhatCameDue) {
  Clock.Set(kTenPast);
  Add(u"A", kTenPast - hours(1));
  const DateTime off = Add(u"off", kTenPast - hours(1), false).NextRun;
  ASSERT_EQ(Pause.Begin(kTenPast + minutes(50)), 0);
  EXPECT_EQ(Tick(), "paused-until");
  EXPECT_EQ(Interval, 30000u);
  Clock.Advance(49 * 60000 + 30000);
  EXPECT_EQ(Tick(), "");
  EXPECT_EQ(Interval, 2000u) << "its end is near";
  EXPECT_EQ(Store.Jobs[1].NextRun, off);
  Events.clear();
  Scheduler.RunCheckedJobs();
  EXPECT_EQ(Events, "disable priority start:0 run:A row:0" + std::string(kBatchEnd))
      << "by hand all is as ever";
  Clock.Set(kTenPast + minutes(50));
  EXPECT_EQ(Tick(), "goes-on priority disable start:0 run:A row:0 row:1" + std::string(kBatchEnd))
      << "five times were missed";
  EXPECT_EQ(Tick(), "");
  ASSERT_EQ(Pause.Begin(kNoEnd), 0);
  Clock.Advance(3600000);
  EXPECT_EQ(Tick(), "paused");
  State.CommandLineRun = true;
  EXPECT_EQ(Tick(u"A"), "disable start:0 run:A row:0 normal no-panels save-log sound end");
  State.CommandLineRun = false;
  Clock.Advance(24 * 3600000);
  ASSERT_EQ(Pause.Resume(), 0);
  EXPECT_EQ(Tick(), "goes-on priority disable start:0 run:A row:0 row:1" + std::string(kBatchEnd));
}

TEST_F(SchedulerTest, WhatIsHandedOverRunsBeforeWhatIsDue) {
  Clock.Set(kTenPast);
  Add(u"A", kTenPast);
  Add(u"B", kTenPast);
  Add(u"off", kTenPast + hours(5), false);
  Scheduler.SetSchedulerTimer(true);
  AtRun = [&](const BackupJob& job) {
    if (job.Name == u"A") Scheduler.RunNext({u"off", u"gone"});
  };
  EXPECT_EQ(Tick(), "priority disable start:0 run:A row:0" + std::string(kBatchEnd));
  EXPECT_EQ(Interval, 1000u) << "the rest of what is due waits";
  EXPECT_EQ(Tick(),
            "priority disable start:2 run:off row:2 missing:gone attract priority disable start:1 "
            "run:B row:1" +
                std::string(kBatchEnd));
  EXPECT_EQ(Interval, 30000u);
  Scheduler.RunNext({u"A"});
  EXPECT_EQ(Interval, 1000u) << "nothing is at work";
  AtRun = nullptr;
  ASSERT_EQ(Pause.Begin(kNoEnd), 0);
  EXPECT_EQ(Tick(), "priority disable start:0 run:A row:0 paused" + std::string(kBatchEnd));

  State.CommandLineRun = true;
  AtRun = [&](const BackupJob& job) {
    if (job.Name == u"A") Scheduler.RunNext({u"B"});
  };
  EXPECT_EQ(Tick(u"A"),
            "disable start:0 run:A row:0 start:1 run:B row:1 normal no-panels save-log sound end");
}

TEST_F(SchedulerTest, NamedJobsRunInTheirOrderAndEndTheProgram) {
  State.CommandLineRun = true;
  Add(u"Daily docs", kTenPast + hours(5));
  Add(u"say \"hi\"", kTenPast, false);
  EXPECT_EQ(Tick(u"\"say \"\"HI\"\"\" nobody \"daily docs\" "),
            "disable start:1 run:say \"hi\" row:1 missing:nobody attract start:0 run:Daily docs "
            "row:0 normal "
            "no-panels save-log sound end");
  EXPECT_FALSE(TimerOn);
  // A cancel stops the job that runs; the next name is still taken.
  AtRun = [&](const BackupJob&) { State.CancelRequested = true; };
  EXPECT_EQ(Tick(u"\"Daily docs\" \"Daily docs\""),
            "disable start:0 run:Daily docs row:0 start:0 run:Daily docs row:0 normal no-panels "
            "save-log sound end");
}

TEST_F(SchedulerTest, TheBatchRunsWhatIsCheckedAndStopsAtACancel) {
  Add(u"A", kTenPast + hours(5));
  Add(u"off", kTenPast, false);
  Add(u"B", kTenPast);
  Scheduler.RunCheckedJobs();
  EXPECT_EQ(Events,
            "disable priority start:0 run:A row:0 start:2 run:B row:2" + std::string(kBatchEnd));
  EXPECT_TRUE(TimerOn);
  Events.clear();
  // The command given again during a run cancels it.
  AtRun = [&](const BackupJob&) { Scheduler.RunCheckedJobs(); };
  Scheduler.RunCheckedJobs();
  EXPECT_EQ(Events, "disable priority start:0 run:A row:0" + std::string(kBatchEnd));
  EXPECT_FALSE(State.RunBusy || State.CancelRequested);
}

TEST_F(SchedulerTest, AClockThatJumpsRunsNoTimeTwiceAndLosesNoJob) {
  BackupJob& job = Add(u"A", *FromCivil(2009, 10, 25, 1, 30));
  job.EveryMinutes = 0;
  job.EveryDays = 1;
  std::vector<DateTime> runs;
  AtRun = [&](const BackupJob& run) { runs.push_back(run.NextRun); };
  // The hour from one to two comes twice.
  for (int pass = 0; pass < 2; ++pass) {
    Clock.Set(*FromCivil(2009, 10, 25, 1));
    for (int tick = 0; tick < 120; ++tick, Clock.Advance(30000)) Tick();
  }
  ASSERT_EQ(runs.size(), 1u);
  // The hour of the job's time does not come at all.
  job.NextRun = *FromCivil(2010, 3, 28, 2, 30);
  Clock.Set(*FromCivil(2010, 3, 28, 1, 59, 59));
  Tick();
  ASSERT_EQ(runs.size(), 1u);
  Clock.Set(*FromCivil(2010, 3, 28, 3));
  Tick();
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(job.NextRun, *FromCivil(2010, 3, 29, 2, 30));
  // Asleep for days: one run, and the next time lies ahead.
  Clock.Set(*FromCivil(2010, 4, 9, 12));
  Tick();
  Tick();
  ASSERT_EQ(runs.size(), 3u);
  EXPECT_EQ(job.NextRun, *FromCivil(2010, 4, 10, 2, 30));
  // Set back during a run, and after it.
  Clock.Set(*FromCivil(2010, 4, 10, 2, 30));
  AtRun = [&](const BackupJob& run) {
    runs.push_back(run.NextRun);
    Clock.Set(*FromCivil(2010, 4, 10, 1));
  };
  for (int tick = 0; tick < 240; ++tick, Clock.Advance(30000)) Tick();
  ASSERT_EQ(runs.size(), 4u);
  EXPECT_EQ(job.NextRun, *FromCivil(2010, 4, 11, 2, 30));
}

TEST_F(SchedulerTest, TimesThatAClockAheadHasGivenAreSetRightAndTold) {
  const DateTime now = Clock.Now(), monday = *FromCivil(2009, 9, 28, 14, 10);
  const DateTime month = *FromCivil(2009, 9, 28, 14);
  Store.Jobs.reserve(6);
  const BackupJob& soon = Add(u"soon", kTenPast);
  const BackupJob& off = Add(u"off", kTenPast, false);
  BackupJob& weekdays = Add(u"weekdays", kTenPast);
  weekdays.RefusedDays = 0xFE & ~(1 << 2);
  BackupJob& monthly = Add(u"monthly", month);
  monthly.EveryMinutes = 0;
  monthly.EveryMonths = 1;
  // Nobody moved these two: a first time chosen far ahead, and a clock that is off by a zone.
  const BackupJob& chosen = Add(u"chosen", now + std::chrono::days(500));
  BackupJob& near = Add(u"near", kTenPast + hours(25));
  near.LastRun = now + hours(24);

  Clock.Set(now + std::chrono::days(366));
  Tick();
  EXPECT_EQ(soon.NextRun, Clock.Now() + seconds(61));
  EXPECT_GT(off.NextRun, Clock.Now());
  const DateTime near_next = near.NextRun;
  Clock.Set(now);
  EXPECT_EQ(Tick(),
            "row:0 right:soon row:1 right:off row:2 right:weekdays row:3 right:monthly row:5 "
            "right:near save-log");
  EXPECT_EQ(soon.NextRun, kTenPast);
  EXPECT_EQ(soon.LastRun, now);
  EXPECT_EQ(off.NextRun, kTenPast);
  EXPECT_EQ(weekdays.NextRun, monday - hours(14) - minutes(10));
  EXPECT_EQ(monthly.NextRun, month);
  EXPECT_EQ(chosen.NextRun, now + std::chrono::days(500));
  EXPECT_LT(near.NextRun, near_next);
  EXPECT_EQ(Tick(), "") << "told once";
}

}  // namespace
}  // namespace kavrel
