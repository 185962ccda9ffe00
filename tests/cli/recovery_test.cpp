// Recovery data by the command line, and what a kill in its midst leaves.
#include <signal.h>
#include <sys/stat.h>

#include "kavrelctl_job.h"

namespace kavrel {
namespace {

class RecoveryTest : public KavrelctlTest {
 protected:
  RecoveryTest() {
    std::string noise(200'000, '\0');
    for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = static_cast<char>(i * i >> 7);
    WriteTestFile(source_ / "noise", noise);
  }
  /// A program that is found before the installed one.
  void Replace(const std::string& script) const {
    const fs::path program = temp_.Home() / "par2";
    WriteTestFile(program, "#!/bin/sh\n" + script);
    ASSERT_EQ(chmod(program.c_str(), 0755), 0);
  }
  std::vector<fs::path> Entries() const {
    std::vector<fs::path> entries;
    for (const auto& entry : fs::directory_iterator(dest_)) {
      const std::string name = entry.path().filename().string();
      if (!name.starts_with(".")) entries.push_back(entry.path());
    }
    std::sort(entries.begin(), entries.end());
    return entries;
  }
};

TEST_F(RecoveryTest, TheOptionIsKeptShownAndRefusedWhereItMakesNoSense) {
  ASSERT_EQ(Add({"--type", "compressed", "--recovery", "5"}).ExitCode, 0) << said_;
  EXPECT_EQ(Json({"show", "文件 A"})["recovery_percent"], 5);
  EXPECT_TRUE(Holds(Ctl({"show", "文件 A"}).Output, "5 %"));
  EXPECT_EQ(Ctl({"edit", "文件 A", "--recovery", "100%"}).ExitCode, 0);
  EXPECT_EQ(Json({"show", "文件 A"})["recovery_percent"], 100);
  for (const char* wrong : {"101", "-1", "much", "", "5 %"}) {
    EXPECT_EQ(Ctl({"edit", "文件 A", "--recovery", wrong}).ExitCode, 2) << wrong;
  }
  EXPECT_EQ(Ctl({"edit", "文件 A", "--type", "full", "--recovery", "5"}).ExitCode, 2);
  EXPECT_EQ(Ctl({"edit", "文件 A", "--recovery", "off"}).ExitCode, 0);
  EXPECT_EQ(Json({"show", "文件 A"})["recovery_percent"], 0);
  // Where the program is missing, that is told at once, and once.
  const EnvironmentVariable path("PATH", "/nonexistent");
  EXPECT_TRUE(Holds(Ctl({"edit", "文件 A", "--recovery", "7"}).Errors, "par2"));
  EXPECT_FALSE(Holds(Ctl({"edit", "文件 A", "--recovery", "8"}).Errors, "par2"));
}

TEST_F(RecoveryTest, ARunWithoutTheProgramIsAGoodRunThatSaysSo) {
  fs::create_directories(temp_.Home());
  fs::create_symlink("/usr/bin/7zz", temp_.Home() / "7zz");
  ASSERT_EQ(Add({"--type", "compressed", "--recovery", "5"}).ExitCode, 0) << said_;
  const EnvironmentVariable path("PATH", "/nonexistent");
  const CommandResult result = Ctl({"run", "文件 A"});
  EXPECT_EQ(result.ExitCode, 0) << result.Errors;
  EXPECT_TRUE(Holds(result.Errors, "par2")) << result.Errors;
  const json run = Json({"run", "文件 A"})["runs"][0];
  EXPECT_EQ(run["result"], "ok");
  EXPECT_EQ(run["warnings"], 1);
  EXPECT_TRUE(Holds(run["recovery_failed"].dump(), "par2")) << run;
}

TEST_F(RecoveryTest, AKillWhileItIsMadeCostsNothingAndTheNextRunClearsAway) {
  ASSERT_EQ(Add({"--type", "compressed", "--recovery", "5"}).ExitCode, 0) << said_;
  Replace("echo half > half.vol0+1.par2\necho $$ > '" + (temp_.Root() / "pid").string() +
          "'\nexec sleep 1000\n");
  std::string child;
  {
    const BackgroundCommand run(Command({"run", "文件 A"}));
    while (child.empty() || child == "<missing>") child = ReadTestFile(temp_.Root() / "pid");
    ASSERT_EQ(kill(run.Process(), SIGKILL), 0);
  }
  std::vector<fs::path> left = Entries();
  ASSERT_EQ(left.size(), 2U) << "the archive, and a folder of no name that anybody takes for one";
  EXPECT_EQ(RunCommand({"/usr/bin/7zz", "t", left[0]}).ExitCode, 0);
  EXPECT_TRUE(fs::is_directory(left[1]));
  fs::remove(temp_.Home() / "par2");
  ASSERT_EQ(Ctl({"run", "文件 A"}).ExitCode, 0) << said_;
  left = Entries();
  // At the turn of an hour the second run makes an archive of its own.
  EXPECT_EQ(left.back().extension(), ".par2");
  for (const fs::path& entry : left) EXPECT_FALSE(fs::is_directory(entry)) << entry;
}

TEST_F(RecoveryTest, ADamagedArchiveIsMadeGoodOnlyWhenAsked) {
  ASSERT_EQ(Add({"--type", "compressed", "--recovery", "10"}).ExitCode, 0) << said_;
  ASSERT_EQ(Ctl({"run", "文件 A"}).ExitCode, 0) << said_;
  const fs::path archive = Entries().at(0);
  const std::string whole = ReadTestFile(archive);
  EXPECT_EQ(Json({"states", "文件 A"})[0]["recovery_bytes"], fs::file_size(Entries().at(1)));
  fs::resize_file(archive, whole.size() - 100);
  const std::string name = archive.filename().string();
  const CommandResult told = Ctl({"verify", "文件 A", "--archive", name});
  EXPECT_EQ(told.ExitCode, 1);
  EXPECT_TRUE(Holds(told.Errors, "--mend")) << told.Errors;
  const json run = Json({"verify", "文件 A", "--archive", name, "--mend"})["runs"][0];
  EXPECT_EQ(run["mended"], 1) << run;
  EXPECT_EQ(ReadTestFile(archive), whole);
  EXPECT_EQ(Ctl({"verify", "文件 A"}).ExitCode, 0) << said_;
}

}  // namespace
}  // namespace kavrel
