// A pause of the schedule, made while somebody else has the program folder.
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

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != text.npos;
}

class PauseTest : public testing::Test {
 protected:
  const TempFolder temp_;
  const fs::path dest_ = temp_.Root() / "dest";

  void SetUp() override {
    WriteTestFile(temp_.Root() / "src/a.txt", "a");
    ASSERT_EQ(Ctl({"add", "--name", "late", "--source", (temp_.Root() / "src").string(), "--dest",
                   dest_.string(), "--every", "1d", "--start", "01:00", "--enable"})
                  .ExitCode,
              0);
    JobStore store(temp_.Files());
    ASSERT_TRUE(store.LoadJobs());
    store.Jobs[0].NextRun -= std::chrono::days(3);
    ASSERT_TRUE(store.SaveJobs());
  }
  std::vector<std::string> Command(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {KAVRELCTL, "--home", temp_.Home().string()});
    return arguments;
  }
  CommandResult Ctl(std::vector<std::string> arguments) const {
    return RunCommand(Command(std::move(arguments)));
  }
  static bool Await(const std::function<bool()>& condition) {
    SystemClock clock;
    for (int tries = 0; tries < 6000 && !condition(); ++tries) clock.Sleep(10);
    return condition();
  }
};

TEST_F(PauseTest, IsHonouredByAllThatRunsByItselfAndToldByTheLists) {
  EXPECT_EQ(Ctl({"pause", "--for", "2h"}).ExitCode, 0);
  const CommandResult due = Ctl({"run", "--due"});
  EXPECT_EQ(due.ExitCode, 0);
  EXPECT_TRUE(Holds(due.Output, "排程已暫停至 20")) << due.Output;
  EXPECT_FALSE(fs::exists(dest_));
  for (const char* list : {"next", "list"}) {
    EXPECT_TRUE(Holds(Ctl({list}).Errors, "排程已暫停至 20")) << list;
  }
  EXPECT_TRUE(Holds(Ctl({"next", "--json"}).Output, "\"state\": \"paused\""));
  EXPECT_TRUE(Holds(Ctl({"list", "--json"}).Output, "\"paused\": true"));
  EXPECT_EQ(Ctl({"run", "--all"}).ExitCode, 0);
  EXPECT_TRUE(fs::exists(dest_ / "src/a.txt")) << "by hand it runs";

  EXPECT_EQ(Ctl({"pause", "--until", "2126/1/1 8:00"}).Output,
            "排程已暫停至 2126-01-01 08:00:00。\n");
  EXPECT_EQ(Ctl({"resume"}).Output, "排程已恢復。\n");
  EXPECT_EQ(Ctl({"resume"}).Output, "排程沒有暫停。\n");
  for (const std::vector<std::string>& wrong :
       std::vector<std::vector<std::string>>{{"--for", "0h"},
                                             {"--for", "soon"},
                                             {"--until", "2020/1/1"},
                                             {"--until", "late"},
                                             {"--for", "1h", "--until", "18:00"}}) {
    std::vector<std::string> command{"pause"};
    command.insert(command.end(), wrong.begin(), wrong.end());
    EXPECT_EQ(Ctl(command).ExitCode, 2) << wrong[1];
  }
  WriteTestFile(temp_.Home() / "Pause.txt", "what?");
  EXPECT_TRUE(Holds(Ctl({"next"}).Errors, "得知排程是否暫停"));
}

TEST_F(PauseTest, ReachesAProgramThatHasTheFolder) {
  EXPECT_EQ(Ctl({"pause"}).Output, "排程已暫停，直到恢復為止。\n");
  BackgroundCommand watch(Command({"watch"}));
  ASSERT_TRUE(Await([&] { return Holds(watch.Output(), " 暫停：直到恢復為止"); }))
      << watch.Output();
  EXPECT_FALSE(Holds(watch.Output(), "逾期")) << watch.Output();
  EXPECT_EQ(Ctl({"resume"}).ExitCode, 0);
  ASSERT_TRUE(Await([&] { return Holds(watch.Output(), " 完成：late，複製 1，"); }))
      << watch.Output();
  EXPECT_TRUE(Holds(watch.Output(), " 恢復：")) << watch.Output();
  kill(watch.Process(), SIGTERM);
  EXPECT_EQ(watch.Wait(), 0);
}

}  // namespace
}  // namespace kavrel
