// Drives the real kavrelctl over backups that runs of set moments have made.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "base/text.h"
#include "engine/states.h"
#include "support/command.h"
#include "support/test_program.h"
#include "support/tree.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class StatesTest : public testing::Test, protected TestProgram {
 protected:
  const EnvironmentVariable data_{"XDG_DATA_HOME", (Temp.Root() / "data").string()};

  BackupJob& Add(std::u16string_view name, std::u16string_view destination,
                 BackupType type = BackupType::Full) {
    BackupJob& job = AddJob(type);
    job.Name = name;
    job.Destination.Path = destination;
    return job;
  }
  void RunAt(DateTime moment, std::int32_t job = 0) {
    Clock.Set(moment);
    ASSERT_EQ(Program.RunJobNow(job), RunOutcome::Ran);
  }
  /// The source's file, written at a moment of its own.
  void Write(std::string_view text) {
    WriteTestFile(Source() / "a", text);
    SetWritten(Source() / "a", {written_ += 100, 0});
  }
  static DateTime At(int day, int hour = 1, int minute = 0, int second = 0) {
    return *FromCivil(2009, 9, day, hour, minute, second);
  }
  CommandResult Ctl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {KAVRELCTL, "--home", Temp.Home().string()});
    return RunCommand(arguments);
  }
  /// A line for each state: its date, condition and path.
  std::string States(std::int32_t job = 0) {
    std::u16string text;
    const BackupJob& own = Program.Store.Jobs[static_cast<std::size_t>(job)];
    for (const JobState& state : ListStates(Program.Context, own)) {
      text += StateDateText(state) + u' ' + StateHealthText(state) + u' ' + state.Unit + u'\n';
    }
    return ToUtf8(text);
  }
  std::int64_t written_ = 1'200'000'000;
  static bool Has(const std::string& text, std::string_view part) {
    return text.find(part) != text.npos;
  }
};

TEST_F(StatesTest, AnyStateOfSecondsIsListedRestoredAndVerified) {
  Add(u"A", u"D:\\<yyyy>-<mm>-<dd> <hh><nn><ss>\\");
  for (const auto& [second, text] : {std::pair(5, "one"), {6, "two"}, {7, "three"}}) {
    Write(text);
    RunAt(At(23, 15, 4, second));
  }
  CommandResult result = Ctl({"states", "A"});
  EXPECT_EQ(result.ExitCode, 0) << result.Errors;
  EXPECT_TRUE(Has(result.Output, "1     2009-09-23 15:04:07  資料夾  完整  1       5 位元"))
      << result.Output;
  const fs::path first = Temp.DriveD() / "2009-09-23 150405";
  const fs::path exact = Temp.Root() / "exact";
  CopyExactly(first, exact);

  result = Ctl({"restore", "A"});
  EXPECT_EQ(result.ExitCode, 0) << result.Errors;
  EXPECT_TRUE(Has(result.Errors, "最新的完整備份：2009-09-23 15:04:07")) << result.Errors;
  EXPECT_EQ(ReadTestFile(Source() / "a"), "three");
  for (const auto& [which, text] : {std::pair("3", "one"),
                                    {"2009/09/23T15:04:06", "two"},
                                    {"latest", "three"},
                                    {"2009-09-23 15:04:05", "one"}}) {
    EXPECT_EQ(Ctl({"restore", "A", "--state", which}).ExitCode, 0);
    EXPECT_EQ(ReadTestFile(Source() / "a"), text) << which;
  }
  for (const auto& [which, code, why] : {std::tuple("2009-09-2", 2, "有多份備份"),
                                         {"2008", 5, "沒有這份備份"},
                                         {"9", 5, "沒有這份備份"}}) {
    result = Ctl({"restore", "A", "--state", which});
    EXPECT_EQ(result.ExitCode, code);
    EXPECT_TRUE(Has(result.Errors, why) && Has(result.Errors, "kavrelctl states A"))
        << result.Errors;
  }
  result = Ctl({"restore", "A", "--state", "2", "--only", "a", "--dry-run"});
  EXPECT_TRUE(Has(result.Output, "取代") && Has(result.Output, "3 位元")) << result.Output;
  EXPECT_EQ(ReadTestFile(Source() / "a"), "one") << "a dry run writes nothing";

  EXPECT_EQ(Ctl({"verify", "A", "--state", "3"}).ExitCode, 0);
  result = Ctl({"verify", "A"});
  EXPECT_EQ(result.ExitCode, 1) << "the source is the oldest state by now";
  EXPECT_TRUE(Has(result.Errors, "與現在的來源比對")) << result.Errors;
  result = Ctl({"states", "A", "--json"});
  EXPECT_TRUE(Has(result.Output, "\"verified\": {\n      \"at\": \"20")) << result.Output;
  EXPECT_EQ(TreeDifferences(first, exact), "") << "no restore or verification changes a state";
}

TEST_F(StatesTest, TheSecondFileOrTheDiskAloneTellsOfThem) {
  Add(u"A", u"D:\\b\\<yyyy>\\<mm>\\in<dd>").AddSourceFolder = true;
  WriteTestFile(Source() / "a", "x");
  for (const int day : {1, 2}) RunAt(At(day));
  // A foreign folder that only looks alike, and a copy that has no mark.
  WriteTestFile(Temp.DriveD() / "b/2009/09/in03src/a", "x");
  fs::copy(Temp.DriveD() / "b/2009/09/in02src", Temp.DriveD() / "b/2009/09/in04src");
  fs::remove(Temp.DriveD() / "b/2009/09/in04src/.kavrel-owner");
  const std::string both =
      "2009-09-02 01:00:00 完整 D:\\b\\2009\\09\\in02src\\\n"
      "2009-09-01 01:00:00 完整 D:\\b\\2009\\09\\in01src\\\n";
  EXPECT_EQ(States(), both);
  BackupJob& job = Program.Store.Jobs[0];
  const JobExtras known = job.Extras;
  job.Extras = {};  // The second file is lost, or the disk is at another machine.
  EXPECT_EQ(States(), both);
  job.Source.Path = u"C:\\other\\";
  EXPECT_EQ(States(), "") << "another job's";
  job.Source.Path = u"C:\\src\\";
  job.Extras = known;
  fs::rename(Temp.DriveD() / "b", Temp.DriveD() / "away");
  EXPECT_EQ(States(), "") << "removed, as the disk is there";
}

TEST_F(StatesTest, TwoJobsInOnePlaceHaveTheirOwn) {
  Add(u"A", u"D:\\<yyyy>\\<dd>\\");
  Add(u"B", u"D:\\<yyyy>\\<dd>\\").Source.Path = u"C:\\other\\";
  WriteTestFile(Source() / "a", "x");
  WriteTestFile(Temp.DriveC() / "other/b", "x");
  RunAt(At(1), 0);
  RunAt(At(2), 1);
  RunAt(At(3), 0);
  EXPECT_EQ(States(0),
            "2009-09-03 01:00:00 完整 D:\\2009\\03\\\n2009-09-01 01:00:00 完整 D:\\2009\\01\\\n");
  EXPECT_EQ(States(1), "2009-09-02 01:00:00 完整 D:\\2009\\02\\\n");
  Program.Context.Force = true;
  RunAt(At(2, 2), 0);
  Program.Context.Force = false;
  EXPECT_TRUE(Has(States(0), "與其他排程共用 D:\\2009\\02\\")) << States(0);
  EXPECT_TRUE(Has(States(1), "與其他排程共用 D:\\2009\\02\\")) << States(1);
  Program.Store.SaveJobs();
  const CommandResult result = Ctl({"restore", "A", "--to", (Temp.Root() / "to").string()});
  EXPECT_EQ(result.ExitCode, 0) << result.Errors;
  EXPECT_TRUE(Has(result.Errors, "2009-09-03 01:00:00")) << result.Errors;
}

TEST_F(StatesTest, AnUnfinishedStateIsNoneToRestoreUnasked) {
  BackupJob& job = Add(u"A", u"D:\\<yyyy>-<mm>-<dd>\\");
  for (int i = 0; i < 50; ++i) WriteTestFile(Source() / std::to_string(i), "x");
  RunAt(At(1));
  Host.AtPump = [&] {
    Program.State.CancelRequested |= fs::exists(Temp.DriveD() / "2009-09-02.unfinished");
  };
  RunAt(At(2));
  Host.AtPump = {};
  EXPECT_EQ(States(),
            "2009-09-02 01:00:00 未完成 D:\\2009-09-02.unfinished\\\n2009-09-01 01:00:00 完整 "
            "D:\\2009-09-01\\\n");
  CommandResult result = Ctl({"restore", "A", "--dry-run"});
  EXPECT_TRUE(Has(result.Errors, "2009-09-01 01:00:00") && Has(result.Errors, "不完整"))
      << result.Errors;
  RunAt(At(2, 2));
  EXPECT_TRUE(Has(States(), "2009-09-02 02:00:00 完整")) << "the next run makes it whole";
  // The same day again, with a file that cannot be copied.
  fs::remove(Temp.DriveD() / "2009-09-02/0");
  fs::create_directories(Temp.DriveD() / "2009-09-02/0/blocks");
  RunAt(At(2, 3));
  EXPECT_EQ(job.LastRunResult.FailedFiles, 1U);
  EXPECT_TRUE(Has(States(), "2009-09-02 03:00:00 失敗 1 個檔案")) << States();
  fs::remove_all(Temp.DriveD() / "2009-09-01");
  result = Ctl({"restore", "A", "--dry-run"});
  EXPECT_TRUE(Has(result.Errors, "2009-09-02 03:00:00") && Has(result.Errors, "可能不完整"))
      << result.Errors;
}

TEST_F(StatesTest, ArchivesAreStatesInDatedFoldersToo) {
  if (!Program.Archiver.Present()) GTEST_SKIP() << "no archive program";
  for (const char16_t* destination : {u"D:\\", u"D:\\<yyyy>-<mm>-<dd>\\"}) {
    SCOPED_TRACE(ToUtf8(destination));
    for (const auto& entry : fs::directory_iterator(Temp.DriveD())) fs::remove_all(entry);
    Program.Store.Jobs.clear();
    Add(u"A", destination, BackupType::Compressed);
    for (const auto& [day, text] : {std::pair(1, "one"), {2, "two"}}) {
      Write(text);
      RunAt(At(day));
    }
    WriteTestFile(Temp.DriveD() / "2009年09月05日01時.7z", "not of this job");
    const CommandResult list = Ctl({"states", "A", "--json"});
    EXPECT_TRUE(Has(list.Output, "\"number\": 2") && !Has(list.Output, "\"number\": 3"))
        << list.Output;
    EXPECT_TRUE(Has(list.Output, "\"kind\": \"archive\"")) << list.Output;
    EXPECT_EQ(Ctl({"restore", "A", "--state", "2009-09-01"}).ExitCode, 0);
    EXPECT_EQ(ReadTestFile(Source() / "a"), "one");
    EXPECT_EQ(Ctl({"verify", "A", "--state", "1"}).ExitCode, 0);
    // What was an archive's job restores its archives still.
    EXPECT_EQ(Ctl({"edit", "A", "--type", "full"}).ExitCode, 0);
    EXPECT_EQ(Ctl({"restore", "A", "--state", "latest", "--only", "a"}).ExitCode, 0);
    EXPECT_EQ(ReadTestFile(Source() / "a"), "two");
  }
}

TEST_F(StatesTest, ADateToComeDoesNotMakeAStateTheNewest) {
  for (const BackupType type : {BackupType::Full, BackupType::Compressed}) {
    if (type == BackupType::Compressed && !Program.Archiver.Present()) continue;
    for (const char16_t* destination : {u"D:\\<yyyy>-<mm>-<dd>\\", u"D:\\all\\"}) {
      if (type == BackupType::Full && destination[3] == u'a') continue;
      SCOPED_TRACE(ToUtf8(destination));
      for (const auto& entry : fs::directory_iterator(Temp.DriveD())) fs::remove_all(entry);
      Program.Store.Jobs.clear();
      Add(u"A", destination, type);
      const DateTime ahead = *FromCivil(2999, 1, 1, 1);
      for (const auto& [when, text] : {std::pair(At(1), "one"), {ahead, "ahead"}, {At(2), "two"}}) {
        Write(text);
        RunAt(when);
      }
      for (const auto& entry : fs::recursive_directory_iterator(Temp.DriveD())) {
        if (entry.path().filename() == "2999年01月01日01時.7z") {
          SetWritten(entry.path(), {32'500'000'000, 0});
        }
      }
      ASSERT_TRUE(States().starts_with("2009-09-02")) << States();
      EXPECT_TRUE(Has(States(), "2999-01-01"));
      EXPECT_EQ(Ctl({"restore", "A"}).ExitCode, 0);
      EXPECT_EQ(ReadTestFile(Source() / "a"), "two");
      // The last one that was made is the newest, and its date is told for what it is.
      Write("ahead again");
      RunAt(ahead);
      const CommandResult result = Ctl({"restore", "A"});
      EXPECT_EQ(ReadTestFile(Source() / "a"), "ahead again");
      EXPECT_EQ(Has(result.Errors, "時鐘"), destination[3] == u'<') << result.Errors;
    }
  }
}

TEST_F(StatesTest, VersionsAndDifferencesOfFoldersAndArchives) {
  for (const BackupType type : {BackupType::Full, BackupType::Compressed}) {
    if (type == BackupType::Compressed && !Program.Archiver.Present()) continue;
    for (const fs::path& drive : {Temp.DriveC(), Temp.DriveD()}) {
      for (const auto& entry : fs::directory_iterator(drive)) fs::remove_all(entry);
    }
    Program.Store.Jobs.clear();
    Add(u"A", u"D:\\<yyyy>-<mm>-<dd>\\", type);
    WriteTestFile(Source() / "sub/old name", "moved as it is");
    WriteTestFile(Source() / "gone", "x");
    WriteTestFile(Source() / "same", "y");
    Write("one");
    for (const int day : {1, 2}) RunAt(At(day));
    fs::create_directories(Source() / "other");
    fs::rename(Source() / "sub/old name", Source() / "other/new name");
    fs::remove(Source() / "gone");
    WriteTestFile(Source() / "new", "x!");
    Write("three");
    RunAt(At(3));

    CommandResult result = Ctl({"versions", "A", "C:\\src\\a"});
    EXPECT_EQ(result.ExitCode, 0) << result.Errors;
    EXPECT_TRUE(Has(result.Output, "5 位元  2009-09-03 01:00:00  2009-09-03 01:00:00  1\n"))
        << result.Output;
    EXPECT_TRUE(Has(result.Output, "3 位元  2009-09-01 01:00:00  2009-09-02 01:00:00  2-3\n"))
        << result.Output;
    result = Ctl({"versions", "A", "same", "--json"});
    EXPECT_EQ(result.Output.find("\"size\""), result.Output.rfind("\"size\"")) << "once";
    EXPECT_EQ(Ctl({"versions", "A", "sub"}).ExitCode, 5) << "a folder is no file";
    EXPECT_EQ(Ctl({"versions", "A", "../a"}).ExitCode, 2);

    EXPECT_EQ(Ctl({"diff", "A", "3", "2"}).Output, "沒有差異。\n");
    result = Ctl({"diff", "A", "2009-09-02", "latest"});
    EXPECT_EQ(result.ExitCode, 0) << result.Errors;
    EXPECT_EQ(result.Output,
              "變更  a\n移除  gone\n新增  new\n移動  sub/old name -> other/new name\n"
              "新增  1 個檔案\n移除  1 個檔案\n變更  1 個檔案\n移動  1 個檔案\n");
    result = Ctl({"diff", "A", "2", "1", "--json"});
    EXPECT_TRUE(Has(result.Output, "\"change\": \"moved\"") &&
                Has(result.Output, "\"from\": \"sub/old name\""))
        << result.Output;
    EXPECT_EQ(Ctl({"diff", "A", "2", "9"}).ExitCode, 5);
  }
}

TEST_F(StatesTest, AJobOfOneFolderHasNone) {
  Add(u"A", u"D:\\dst\\");
  WriteTestFile(Source() / "a", "x");
  RunAt(At(1));
  const CommandResult result = Ctl({"states", "A"});
  EXPECT_EQ(result.ExitCode, 0);
  EXPECT_TRUE(Has(result.Errors, "同一個資料夾")) << result.Errors;
  EXPECT_EQ(Ctl({"states", "A", "--json"}).Output, "[]\n");
  EXPECT_EQ(Ctl({"restore", "A", "--state", "latest"}).ExitCode, 2);
  EXPECT_EQ(Ctl({"verify", "A"}).ExitCode, 0);
}

}  // namespace
}  // namespace kavrel
