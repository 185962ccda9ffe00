// The scheduler without a window, as a service would run it.
#include <gtest/gtest.h>
#include <signal.h>

#include <functional>

#include "core/job_store.h"
#include "platform/clock.h"
#include "support/command.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class WatchTest : public testing::Test {
 protected:
  TempFolder temp_;
  fs::path source_ = temp_.Root() / "src", dest_ = temp_.Root() / "dest";

  std::vector<std::string> Command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {KAVRELCTL, "--home", temp_.Home().string()});
    return arguments;
  }
  CommandResult Ctl(std::vector<std::string> arguments) {
    return RunCommand(Command(std::move(arguments)));
  }
  void Add(const std::string& name, const std::string& start, const std::string& more) {
    const CommandResult result =
        Ctl({"add", "--name", name, "--source", source_, "--dest", (dest_ / name).string() + "/",
             "--no-source-folder", "--type", "full", "--every", "1d", "--start", start, more});
    ASSERT_EQ(result.ExitCode, 0) << result.Errors;
  }
  void ChangeJobs(const std::function<void(BackupJob&)>& change) {
    JobStore store(temp_.Files());
    ASSERT_TRUE(store.LoadJobs());
    for (BackupJob& job : store.Jobs) change(job);
    ASSERT_TRUE(store.SaveJobs());
  }
  /// Puts the stored time of every job a day back.
  void MakeOverdue() {
    ChangeJobs([](BackupJob& job) { job.NextRun -= std::chrono::days(1); });
  }
  static bool Await(const std::function<bool()>& condition) {
    SystemClock clock;
    for (int tries = 0; tries < 1500 && !condition(); ++tries) clock.Sleep(10);
    return condition();
  }
};

std::string ReplaceFirst(std::string text, std::string_view what, std::string_view with) {
  return text.replace(text.find(what), what.size(), with);
}

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != text.npos;
}

TEST_F(WatchTest, RunsWhatIsOverdueHasTheFolderAloneAndEndsCalmly) {
  WriteTestFile(source_ / "a.txt", "a");
  Add("late", "01:00", "--enable");
  Add("off", "01:00", "--disable");
  MakeOverdue();
  const CommandResult next = Ctl({"next", "--json", "--times", "2"});
  EXPECT_TRUE(Holds(next.Output, "\"state\": \"due\"")) << next.Output;
  EXPECT_TRUE(Holds(next.Output, "\"state\": \"switched-off\"")) << next.Output;

  BackgroundCommand watch(Command({"watch"}));
  ASSERT_TRUE(Await([&] { return Holds(watch.Output(), " 完成：late，複製 1，"); }))
      << watch.Output();
  EXPECT_TRUE(Holds(watch.Output(), " 逾期：late，應在 ")) << watch.Output();
  EXPECT_FALSE(Holds(watch.Output(), "開始：off"));
  EXPECT_EQ(ReadTestFile(dest_ / "late/a.txt"), "a");

  // A second one says who is there, and so does whatever would change something.
  for (const char* command : {"watch", "run"}) {
    const CommandResult second =
        Ctl(command == std::string("run") ? std::vector<std::string>{command, "late"}
                                          : std::vector<std::string>{command});
    EXPECT_EQ(second.ExitCode, 8);
    EXPECT_TRUE(Holds(second.Errors, "程式資料夾正由 kavrelctl watch (process ")) << second.Errors;
  }
  EXPECT_EQ(Ctl({"next"}).ExitCode, 0);

  kill(watch.Process(), SIGTERM);
  EXPECT_EQ(watch.Wait(), 0);
  EXPECT_TRUE(Holds(watch.Output(), " 結束：")) << watch.Output();
}

TEST_F(WatchTest, AStoreThatSomebodyElseChangedMeanwhileIsKeptBesideItsOwn) {
  fs::create_directories(source_);
  Add("mine", "2126/1/1 01:00", "--enable");
  const fs::path store = temp_.Home() / "Backup.rtm";
  BackgroundCommand watch(Command({"watch"}));
  ASSERT_TRUE(Await([&] { return Holds(watch.Output(), " 監看中："); }));
  const std::string theirs = ReplaceFirst(ReadTestFile(store), "mine", "their");
  WriteTestFile(store, theirs);
  // Its memory is in no dump, should it crash.
  const std::string limits = ReadTestFile("/proc/" + std::to_string(watch.Process()) + "/limits");
  EXPECT_TRUE(Holds(limits, "Max core file size        1 ")) << limits;
  kill(watch.Process(), SIGTERM);
  EXPECT_EQ(watch.Wait(), 0);
  EXPECT_TRUE(Holds(watch.Output(), " 另存：" + store.string() + " 已被其他程式變更"))
      << watch.Output();
  EXPECT_TRUE(Holds(ReadTestFile(store), "mine"));
  EXPECT_EQ(ReadTestFile(temp_.Home() / "other_Backup.rtm"), theirs);
}

TEST_F(WatchTest, EndsInTheMidstOfARunWithItsBookkeepingDone) {
  for (int i = 0; i < 5000; ++i) WriteTestFile(source_ / std::to_string(i), "content");
  Add("big", "01:00", "--enable");
  MakeOverdue();
  BackgroundCommand watch(Command({"watch"}));
  ASSERT_TRUE(Await([&] { return fs::exists(dest_ / "big") && !fs::is_empty(dest_ / "big"); }));
  kill(watch.Process(), SIGTERM);
  EXPECT_EQ(watch.Wait(), 0);
  EXPECT_TRUE(Holds(watch.Output(), " 中斷：big，")) << watch.Output();
  EXPECT_TRUE(Holds(Ctl({"log"}).Output, "備份中斷"));
}

TEST_F(WatchTest, AKilledRunIsRunAgainFromAWholeStore) {
  for (int i = 0; i < 5000; ++i) WriteTestFile(source_ / std::to_string(i), "content");
  Add("big", "01:00", "--enable");
  Add("other", "01:00", "--disable");
  MakeOverdue();
  {
    BackgroundCommand watch(Command({"watch"}));
    ASSERT_TRUE(Await([&] { return fs::exists(dest_ / "big") && !fs::is_empty(dest_ / "big"); }));
    kill(watch.Process(), SIGKILL);
    EXPECT_EQ(watch.Wait(), 128 + SIGKILL);
  }
  JobStore store(temp_.Files());
  ASSERT_TRUE(store.LoadJobs());
  ASSERT_EQ(store.Jobs.size(), 2u);
  EXPECT_EQ(store.Jobs[0].LastRun, kZeroDate);
  BackgroundCommand again(Command({"watch"}));
  EXPECT_TRUE(Await([&] { return Holds(again.Output(), " 完成：big，複製 5,000，"); }))
      << again.Output();
}

TEST_F(WatchTest, WhatNeverComesDueIsToldAlikeAndIntervalsStayAsTheyAre) {
  WriteTestFile(source_ / "a.txt", "a");
  Add("odd", "01:00", "--enable");
  ChangeJobs([](BackupJob& job) { job.EveryHours = 12; });
  EXPECT_EQ(Ctl({"edit", "odd", "--verify-after"}).ExitCode, 0);
  EXPECT_TRUE(Holds(Ctl({"show", "odd"}).Output, "每 12 個小時1 天備份一次"))
      << Ctl({"show", "odd"}).Output;
  EXPECT_EQ(Ctl({"edit", "odd", "--every", "2h"}).ExitCode, 0);
  EXPECT_TRUE(Holds(Ctl({"show", "odd"}).Output, "每 2 個小時備份一次"));

  MakeOverdue();
  ChangeJobs([](BackupJob& job) { job.EveryHours = 0; });
  EXPECT_TRUE(Holds(Ctl({"next"}).Output, "永不備份"));
  const CommandResult due = Ctl({"run", "--due"});
  EXPECT_TRUE(Holds(due.Output, "沒有時間已到的排程")) << due.Output;
  EXPECT_TRUE(Holds(due.Errors, "odd: 它永不自動執行")) << due.Errors;
  BackgroundCommand watch(Command({"watch"}));
  ASSERT_TRUE(Await([&] { return Holds(watch.Output(), " 監看中：1 個排程中有 1 個"); }))
      << watch.Output();
  kill(watch.Process(), SIGTERM);
  EXPECT_EQ(watch.Wait(), 0);
  EXPECT_TRUE(Holds(watch.Output(), " 永不執行：odd，它永不自動執行")) << watch.Output();
  EXPECT_FALSE(Holds(watch.Output(), "逾期"));
  EXPECT_EQ(Ctl({"edit", "odd", "--verify-after"}).ExitCode, 2);
}

TEST_F(WatchTest, RunTakesAllThatAreOnOrThoseThatAreDue) {
  WriteTestFile(source_ / "a.txt", "a");
  Add("late", "01:00", "--enable");
  MakeOverdue();
  Add("ahead", "2126/1/1 01:00", "--enable");
  Add("off", "01:00", "--disable");
  EXPECT_EQ(Ctl({"run", "--due"}).ExitCode, 0);
  EXPECT_TRUE(fs::exists(dest_ / "late/a.txt"));
  EXPECT_FALSE(fs::exists(dest_ / "ahead"));
  EXPECT_TRUE(Holds(Ctl({"run", "--due"}).Output, "沒有時間已到的排程"));
  EXPECT_EQ(Ctl({"run", "--all"}).ExitCode, 0);
  EXPECT_TRUE(fs::exists(dest_ / "ahead/a.txt"));
  EXPECT_FALSE(fs::exists(dest_ / "off"));
  EXPECT_EQ(Ctl({"run"}).ExitCode, 2);
  EXPECT_EQ(Ctl({"run", "--all", "late"}).ExitCode, 2);
}

}  // namespace
}  // namespace kavrel
