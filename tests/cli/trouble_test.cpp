// What the machine does to a command: files that fail, a folder in use, a store that cannot be read
// or written, an output that is closed, a stack that ends.
#include <sys/stat.h>

#include "kavrelctl_job.h"
#include "platform/process.h"
#include "support/tree.h"

namespace kavrel {
namespace {

/// A command line of the shell's before kavrelctl, which gets `then` behind its own.
CommandResult InShell(const std::vector<std::string>& command, const std::string& before,
                      const std::string& then) {
  std::vector<std::string> words{"/bin/sh", "-c", before + "\"$@\" " + then, "sh"};
  words.insert(words.end(), command.begin(), command.end());
  return RunCommand(words);
}

TEST_F(KavrelctlTest, FailedFilesAndMissingSourcesShowInTheExitCode) {
  WriteTestFile(source_ / "bad\xff\x1b[31m\n", "a file");
  WriteTestFile(source_ / "good", "x");
  WriteTestFile(dest_ / "bad\xff\x1b[31m\n" / "kept", "a folder in its place");
  ASSERT_EQ(Add().ExitCode, 0);
  CommandResult result = Ctl({"run", "文件 A"});
  EXPECT_EQ(result.ExitCode, 1);
  EXPECT_EQ(ReadTestFile(dest_ / "good"), "x");
  result = Ctl({"log", "--show", "1"});
  EXPECT_NE(result.Output.find("備份檔案 (失敗)："), std::string::npos);
  EXPECT_NE(result.Output.find("bad\\xFF\\x1B[31m"), std::string::npos) << "not safe to print";

  // The report tells of it where no log can.
  const fs::path logs = temp_.Home() / "Log";
  fs::rename(logs, temp_.Root() / "logs");
  WriteTestFile(logs, "no folder");
  const json run = Json({"run", "文件 A"})["runs"][0];
  EXPECT_EQ(run["troubles"].size(), 1U) << run;
  EXPECT_EQ(run["troubles"][0]["what"], "Backing up file (failed)");
  EXPECT_TRUE(Holds(run["troubles"][0]["reason"].get<std::string>(), "Could Not Open")) << run;
  fs::remove(logs);

  // Nothing to pack is no lack of a place.
  const std::string empty = (temp_.Root() / "empty").string();
  fs::create_directories(empty);
  Ctl({"add", "--name", "P", "--type", "compressed", "--source", empty, "--dest",
       (temp_.Root() / "packed").string()});
  result = Ctl({"run", "P"});
  if (result.ExitCode != 9) {
    EXPECT_EQ(result.ExitCode, 1) << result.Errors;
    EXPECT_TRUE(Holds(result.Errors, "沒有可壓縮的檔案")) << result.Errors;
  }

  const std::string below_a_file = (source_ / "good/backup").string();
  result = Ctl({"edit", "文件 A", "--dest", below_a_file});
  EXPECT_NE(result.Errors.find("目標資料夾位於來源資料夾之內"), std::string::npos) << result.Errors;
  result = Ctl({"run", "文件 A"});
  EXPECT_EQ(result.ExitCode, 10);
  EXPECT_NE(result.Errors.find("也無法建立：" + below_a_file), std::string::npos) << result.Errors;

  fs::rename(source_, temp_.Root() / "gone");
  result = Ctl({"run", "文件 A", "文件 A"});
  EXPECT_EQ(result.ExitCode, 5);
  EXPECT_NE(result.Errors.find("來源"), std::string::npos) << result.Errors;
}

TEST_F(KavrelctlTest, AFolderInUseIsNamedAndReadingNeverWaits) {
  fs::create_directories(source_);
  ASSERT_EQ(Add().ExitCode, 0);
  ProcessLock lock;
  ASSERT_TRUE(lock.TryAcquire(TempFolder::Text(temp_.Home()), u"another kavrelctl"));
  const CommandResult result = Ctl({"remove", "文件 A"});
  EXPECT_EQ(result.ExitCode, 8);
  EXPECT_NE(result.Errors.find("another kavrelctl"), std::string::npos) << result.Errors;
  EXPECT_EQ(Ctl({"list"}).ExitCode, 0);
}

TEST_F(KavrelctlTest, ARunWhoseResultsCannotBeStoredIsNotDone) {
  WriteTestFile(source_ / "a", "x");
  ASSERT_EQ(Add().ExitCode, 0);
  ASSERT_EQ(chmod(store_.c_str(), 0444), 0);
  const CommandResult result = Ctl({"run", "文件 A"});
  EXPECT_EQ(result.ExitCode, 1);
  EXPECT_NE(result.Errors.find("Backup.rtm：Permission denied"), std::string::npos);
  EXPECT_EQ(ReadTestFile(dest_ / "a"), "x") << "the backup itself is made";
}

TEST_F(KavrelctlTest, AnUnreadableStoreIsReportedAndNotWrittenOver) {
  fs::create_directories(store_);
  fs::create_directories(source_);
  for (const CommandResult& result : {Ctl({"list"}), Add()}) {
    EXPECT_EQ(result.ExitCode, 2);
    EXPECT_NE(result.Errors.find("Backup.rtm：Is a directory"), std::string::npos) << result.Errors;
  }
  EXPECT_TRUE(fs::is_directory(store_));
}

TEST_F(KavrelctlTest, AnOutputThatIsClosedFullOrBrokenHarmsNoFileAndEndsNoBatch) {
  WriteTestFile(source_ / "a", std::string(1 << 20, 'x'));
  WriteTestFile(source_ / "b", "small");
  ASSERT_EQ(Add().ExitCode, 0);
  ASSERT_EQ(Ctl({"add", "--name", "B", "--source", source_.string(), "--dest",
                 (temp_.Root() / "second").string(), "--no-source-folder"})
                .ExitCode,
            0);
  const auto both = Command({"run", "文件 A", "B"});
  EXPECT_EQ(InShell(both, "", ">&-").ExitCode, 0);
  EXPECT_TRUE(ReadTestFile(temp_.Home() / "Kavrel.lock").starts_with("kavrelctl run (process"));
  for (const std::string then : {">&-", ">/dev/full", "| true"}) {
    fs::remove_all(dest_);
    fs::remove_all(temp_.Root() / "second");
    InShell(both, "", then);
    EXPECT_EQ(TreeDifferences(source_, dest_), "") << then;
    EXPECT_EQ(TreeDifferences(source_, temp_.Root() / "second"), "") << then;
  }
  EXPECT_EQ(InShell(both, "", ">/dev/full").ExitCode, 1);
  EXPECT_EQ(InShell(Command({"list", "--json"}), "", ">/dev/full").ExitCode, 1);

  // A file beyond the size that the system allows is a failed one; the rest is copied.
  fs::remove_all(dest_);
  EXPECT_EQ(InShell(Command({"run", "文件 A"}), "ulimit -f 512; ", "").ExitCode, 1);
  EXPECT_FALSE(fs::exists(dest_ / "a"));
  EXPECT_TRUE(fs::exists(dest_ / "b"));
}

TEST_F(KavrelctlTest, ATreeTooDeepForTheStackIsAFailedFolderAndNothingGoesForIt) {
  fs::path deepest = source_;
  for (int level = 0; level < 150; ++level) deepest /= "d";
  WriteTestFile(deepest / "f", "x");
  WriteTestFile(source_ / "top", "x");
  ASSERT_EQ(Add({"--type", "sync"}).ExitCode, 0);
  const std::string small_stack = "ulimit -s 64; ";
  EXPECT_EQ(InShell(Command({"run", "文件 A"}), small_stack, "").ExitCode, 1);
  EXPECT_TRUE(fs::exists(dest_ / "top"));
  ASSERT_EQ(Ctl({"run", "文件 A"}).ExitCode, 0);
  EXPECT_EQ(InShell(Command({"run", "文件 A"}), small_stack, "").ExitCode, 1);
  EXPECT_EQ(TreeDifferences(source_, dest_), "");
  EXPECT_EQ(InShell(Command({"verify", "文件 A"}), small_stack, "").ExitCode, 0) << "takes none";
  fs::remove_all(source_ / "d");
  EXPECT_EQ(InShell(Command({"run", "--force", "文件 A"}), small_stack, "").ExitCode, 1);
  EXPECT_EQ(Ctl({"run", "--force", "文件 A"}).ExitCode, 0);
  EXPECT_FALSE(fs::exists(dest_ / "d"));
}

}  // namespace
}  // namespace kavrel
