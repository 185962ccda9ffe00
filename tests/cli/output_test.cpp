// How much is said, to whom: quiet and verbose runs, progress, terminals, the journal, typing
// errors.
#include <signal.h>

#include "cli/ctl.h"
#include "core/job_store.h"
#include "platform/clock.h"

namespace kavrel {
namespace {

std::vector<json> Lines(const std::string& output) {
  std::vector<json> objects;
  std::istringstream text(output);
  for (std::string line; std::getline(text, line);) objects.push_back(json::parse(line));
  return objects;
}

class OutputTest : public CtlTest {
 protected:
  void SetUp() override {
    WriteTestFile(source_ / "a.txt", "abc");
    WriteTestFile(source_ / "sub/b.txt", "12345");
  }
};

TEST_F(OutputTest, AQuietRunSaysOnlyWhatIsWrongAndAVerboseOneNamesEachFile) {
  Add("A");
  const CommandResult good = Ctl({"run", "A", "-q"});
  EXPECT_EQ(good.ExitCode, 0);
  EXPECT_EQ(good.Output + good.Errors, "");
  EXPECT_EQ(Ctl({"run", "--due", "-q"}).Output, "") << "nor that nothing is due";
  WriteTestFile(source_ / "a.txt", "changed");
  const CommandResult verbose = Ctl({"run", "A", "-v"});
  EXPECT_TRUE(Holds(verbose.Output, "大小不同            a.txt\n")) << verbose.Output;
  EXPECT_FALSE(Holds(verbose.Output, "b.txt")) << verbose.Output;
  WriteTestFile(source_ / "a.txt", "changed again");
  fs::remove(source_ / "sub/b.txt");
  const CommandResult restored = Ctl({"restore", "A", "-v"});
  EXPECT_TRUE(Holds(restored.Output, "b.txt\n")) << restored.Output;
  EXPECT_EQ(ReadTestFile(source_ / "a.txt"), "changed");

  WriteTestFile(source_ / "a.txt", "and again");
  const CommandResult differs = Ctl({"verify", "A", "-q"});
  EXPECT_EQ(differs.ExitCode, 1);
  EXPECT_EQ(differs.Output, "");
  EXPECT_EQ(differs.Errors, "kavrelctl: A: 尚未備份變更 " + (source_ / "a.txt").string() + "\n");
  fs::remove_all(dest_);
  WriteTestFile(dest_, "in the way");
  const CommandResult bad = Ctl({"run", "A", "-q"});
  EXPECT_EQ(bad.ExitCode, 10);
  EXPECT_EQ(bad.Output, "");
  EXPECT_TRUE(Holds(bad.Errors, dest_.string())) << bad.Errors;
}

TEST_F(OutputTest, ProgressIsThatOfTheWholeRunInBothDirectionsAndOfVerifications) {
  Add("A");
  for (const auto& [command, kind] : {std::pair{"run", "backup"}, std::pair{"restore", "restore"},
                                      std::pair{"verify", "verification"}}) {
    const std::vector<json> lines = Lines(Ctl({command, "A", "--progress", "json"}).Output);
    ASSERT_GE(lines.size(), 2u) << command;
    const json& last = lines[lines.size() - 2];
    EXPECT_EQ(last["kind"], kind);
    EXPECT_EQ(last["name"], "A");
    EXPECT_EQ(last["files"], 2) << last;
    EXPECT_EQ(last["bytes"], 8) << last;
    EXPECT_EQ(lines.back()["exit_code"], 0);
  }
  EXPECT_EQ(Code({"restore", "A", "--dry-run", "--progress", "json"}), 2);
  EXPECT_EQ(Code({"restore", "A", "--dry-run", "-q"}), 2) << "it names all steps anyway";
  EXPECT_EQ(Code({"verify", "A", "-v", "--progress", "json"}), 2) << "text between the objects";
  Add("C", {"--type", "compressed"});
  if (Code({"run", "C"}) == 9) return;
  for (const json& line : Lines(Ctl({"verify", "C", "--progress", "json"}).Output)) {
    if (!line.contains("event")) continue;
    EXPECT_EQ(line["bytes_per_second"], nullptr) << "percent are no bytes: " << line;
    EXPECT_EQ(line["files_total"], nullptr);
  }
}

TEST_F(OutputTest, AVerificationNamesEachFileThatItCompares) {
  const fs::path same = source_ / "same", missing = source_ / "sub" / "missing";
  WriteTestFile(same, "a");
  WriteTestFile(missing, "b");
  Add("A");
  ASSERT_EQ(Code({"run", "A"}), 0);
  EXPECT_FALSE(Holds(Ctl({"verify", "A"}).Output, same.string()));
  fs::remove(dest_ / "sub/missing");
  const CommandResult told = Ctl({"verify", "A", "-v"});
  EXPECT_EQ(told.ExitCode, 1);
  EXPECT_TRUE(Holds(told.Output, "驗證  " + same.string() + "\n")) << told.Output;
  EXPECT_TRUE(Holds(told.Output, missing.string() + "\n")) << told.Output;
  EXPECT_TRUE(Holds(told.Errors, "缺少 " + missing.string())) << told.Errors;
}

TEST_F(OutputTest, ATerminalGetsTablesOfItsWidthAndColoursUnlessTheyAreForbidden) {
  Add("A");
  const auto on_terminal = [&](const std::string& more) {
    return RunCommand({"/usr/bin/script", "-qec",
                       "stty cols 60; " + more + " " KAVRELCTL " --home " + temp_.Home().string() +
                           " status",
                       "/dev/null"})
        .Output;
  };
  if (!Holds(RunCommand({"/usr/bin/script", "-qec", "echo here", "/dev/null"}).Output, "here")) {
    GTEST_SKIP() << "nothing here makes a terminal";
  }
  const std::string coloured = on_terminal("env -u NO_COLOR TERM=xterm");
  EXPECT_TRUE(Holds(coloured, "\x1b[33mA")) << coloured;
  const std::string plain = on_terminal("NO_COLOR=1 TERM=xterm");
  EXPECT_FALSE(Holds(plain, "\x1b[")) << plain;
  EXPECT_TRUE(Holds(plain, "…")) << "the table is cut: " << plain;
  EXPECT_FALSE(Holds(Ctl({"status"}).Output, "…")) << "a pipe gets all";
}

TEST_F(OutputTest, TheJournalGetsTheLevelOfEachLineAndTheReason) {
  Add("A");
  Add("B");
  ASSERT_EQ(Code({"edit", "B", "--dest", (temp_.Root() / "b").string()}), 0);
  WriteTestFile(temp_.Root() / "b/sub", "in the way");
  JobStore store(temp_.Files());
  ASSERT_TRUE(store.LoadJobs());
  for (BackupJob& job : store.Jobs) job.NextRun -= std::chrono::days(2);
  store.Jobs[0].Source.Path = TempFolder::Text(temp_.Root() / "gone") + u"/";
  ASSERT_TRUE(store.SaveJobs());
  const fs::path journal = temp_.Root() / "journal";
  WriteTestFile(journal, "");
  BackgroundCommand watch({"/bin/sh", "-c",
                           "exec >>" + journal.string() +
                               "; export JOURNAL_STREAM=$(stat -c %d:%i " + journal.string() +
                               "); exec " KAVRELCTL " --home " + temp_.Home().string() + " watch"});
  SystemClock clock;
  for (int tries = 0; tries < 3000 && !Holds(ReadTestFile(journal), " 完成：B，"); ++tries) {
    clock.Sleep(10);
  }
  kill(watch.Process(), SIGTERM);
  EXPECT_EQ(watch.Wait(), 0);
  const std::string lines = ReadTestFile(journal);
  EXPECT_TRUE(lines.starts_with("<")) << lines;
  std::istringstream text(lines);
  std::string levels;
  for (std::string line; std::getline(text, line);) {
    if (Holds(line, " 沒有執行：A")) levels += "A" + line.substr(0, 3);
    if (!Holds(line, " 完成：B")) continue;
    levels += "B" + line.substr(0, 3);
    EXPECT_TRUE(Holds(line, "失敗 1")) << line;
    EXPECT_TRUE(Holds(line, "sub")) << "the reason: " << line;
  }
  EXPECT_EQ(levels, "A<3>B<4>") << lines;
}

TEST_F(OutputTest, TypingErrorsAreAnsweredAndWhatCannotBeWrittenIsAnError) {
  Add("A");
  EXPECT_TRUE(Holds(Ctl({"rnu", "A"}).Errors, "您是指 run 嗎？"));
  EXPECT_TRUE(Holds(Ctl({"rules", "lst"}).Errors, "您是指 list 嗎？"));
  EXPECT_TRUE(Holds(Ctl({"run", "A", "--quit"}).Errors, "您是指 --quiet 嗎？"));
  EXPECT_FALSE(Holds(Ctl({"frobnicate"}).Errors, "您是指"));
  for (const char* words : {"list", "status --json", "--help", "run A --json"}) {
    EXPECT_EQ(RunCommand({"/bin/sh", "-c",
                          std::string(KAVRELCTL " --home ") + temp_.Home().string() + " " + words +
                              " >/dev/full"})
                  .ExitCode,
              1)
        << words;
  }
  ASSERT_EQ(Code({"edit", "A", "--types", "@網頁檔案"}), 0);
  EXPECT_TRUE(Holds(Json({"show", "A"})["file_types"], "*.html"));
  ASSERT_EQ(Code({"rules", "add", "--name", "R 1", "--file", "*.bak"}), 0);
  ASSERT_EQ(Code({"rules", "disable", "r 1"}), 0);
  EXPECT_EQ(Json({"rules", "list"})["rules"].back()["enabled"], false);
  ASSERT_EQ(Code({"rules", "remove", "R 1"}), 0);
  EXPECT_FALSE(Holds(Ctl({"rules", "list", "--names"}).Output, "R 1"));
  // A warning comes when it comes up, and not with each edit.
  EXPECT_FALSE(Holds(Ctl({"edit", "A", "--every", "2d"}).Errors, "同一個磁碟"));
}

}  // namespace
}  // namespace kavrel
