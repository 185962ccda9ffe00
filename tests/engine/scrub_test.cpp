// What the sums of a backup are used for: it is read again without its source, a restore is tried,
// a damaged copy is mended, and a damaged source replaces nothing.
#include <gtest/gtest.h>

#include <set>

#include "base/text.h"
#include "support/test_program.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class ScrubTest : public testing::Test, protected TestProgram {
 protected:
  ScrubTest() { Program.LogRows.Clear(); }

  void Write(const std::string& name, const std::string& content) {
    WriteTestFile(Source() / name, content);
  }
  /// Rewrites a file with its time kept, as a disk does that spoils it.
  static void Spoil(const fs::path& file) {
    std::string bytes = ReadTestFile(file);
    bytes[bytes.size() / 2] ^= 1;
    SpoilTestFile(file, bytes);
  }
  void Run() {
    ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran) << LogLines();
    Program.Store.Jobs[0].NextRun = *FromCivil(2100, 1, 1);
    Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
  }
  BackupJob& AddDated() {
    BackupJob& job = AddJob(BackupType::Differential);
    job.Destination.Path = u"D:\\dst\\<yyyy>-<mm>-<dd>\\";
    job.Destination.WorkPath.clear();
    job.Enabled = true;
    job.NextRun = *FromCivil(2100, 1, 1);
    return job;
  }
  /// The paths that were named, without their beginning, with '/' between names.
  static std::set<std::string> Named(const VerifyReport& report, std::string_view root) {
    std::set<std::string> named;
    for (const VerifyDifference& one : report.Differing) {
      const std::string path = ToUtf8(ReplaceAll(one.Path, u"\\", u"/"));
      named.insert(path.starts_with(root) ? path.substr(root.size()) : path);
    }
    return named;
  }
};

TEST_F(ScrubTest, AllStatesAreReadWithoutTheirSourceAndEachSharedFileOnce) {
  Write("same", std::string(1 << 20, 's'));
  Write("sub/a", "first");
  Write("sub/goes", "goes");
  AddDated();
  Run();
  Write("sub/a", "second one");
  Run();
  fs::remove_all(Source());

  VerifyReport report = Program.ScrubJobNow(0);
  EXPECT_EQ(report.Outcome, RunOutcome::Ran);
  EXPECT_EQ(report.Counters.Equal, 6U) << LogLines();
  EXPECT_EQ(report.Counters.Differences(), 0U) << LogLines();
  EXPECT_EQ(report.Bytes, (1U << 20) + 4 + 5 + 10);
  EXPECT_EQ(Program.Store.Jobs[0].Extras.Verified.size(), 2U);

  Spoil(Dest() / "2009-09-23/sub/a");
  fs::remove(Dest() / "2009-09-23/sub/goes");
  report = Program.ScrubJobNow(0);
  EXPECT_EQ(report.Counters.Damaged, 1U);
  EXPECT_EQ(report.Counters.Missing, 1U);
  EXPECT_EQ(report.Counters.Equal, 4U);
  EXPECT_EQ(Named(report, "D:/dst/"),
            (std::set<std::string>{"2009-09-23/sub/a", "2009-09-23/sub/goes"}));
  for (const VerifyDifference& one : report.Differing) EXPECT_EQ(one.Side, ChangedSide::Copy);
  EXPECT_EQ(Program.ScrubJobNow(0, u"D:\\dst\\2009-09-24\\").Counters.Differences(), 0U);

  // So does a verification whose source is not there.
  report = Program.VerifyJobNow(0, {}, u"D:\\dst\\2009-09-23\\");
  EXPECT_TRUE(report.BySums);
  EXPECT_EQ(report.Counters.Differences(), 2U);
  fs::remove(Dest() / "2009-09-23/.kavrel-sums");
  EXPECT_EQ(Program.VerifyJobNow(0, {}, u"D:\\dst\\2009-09-23\\").Outcome,
            RunOutcome::SourceMissing);
}

TEST_F(ScrubTest, ThePartsOfAMonthReadEachFileOnceAndGoOnWhenTheOldestIsGone) {
  for (int i = 0; i < 40; ++i) {
    Write(std::to_string(i), std::string(static_cast<std::size_t>(i) * 5000, 'x'));
  }
  AddDated().Extras.StateLinks = LinkStates::Off;
  for (int run = 0; run < 3; ++run) Run();
  Program.Store.Jobs[0].Extras.Scrub = true;
  Spoil(Dest() / "2009-09-24/17");

  std::uint32_t equal = 0, damaged = 0;
  int days = 0;
  std::u16string at;
  for (; days < 31 && equal + damaged < 120; ++days) {
    Program.Tick();
    const JobExtras& extras = Program.Store.Jobs[0].Extras;
    EXPECT_NE(extras.ScrubAt, at);
    at = extras.ScrubAt;
    EXPECT_FALSE(Program.ScrubIsDue(Program.Store.Jobs[0]));
    const LogRow& row = Program.LogRows.Rows().back();
    ASSERT_EQ(row.Kind, LogKind::Verification);
    equal += static_cast<std::uint32_t>(row.Unchanged.value_or(0));
    damaged += static_cast<std::uint32_t>(row.Failed.value_or(0));
    const std::size_t rows = Program.LogRows.Rows().size();
    Program.Tick();
    EXPECT_EQ(Program.LogRows.Rows().size(), rows) << "once a day";
    Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
  }
  // The part that reaches the end begins anew with what is left of its share.
  EXPECT_GE(equal, 119U);
  EXPECT_LE(equal, 125U);
  EXPECT_EQ(damaged, 1U);
  EXPECT_GE(days, 15);
  EXPECT_LE(days, 30);
  fs::remove_all(Dest() / "2009-09-23");
  const VerifyReport next = Program.ScrubJobNow(0, {}, true);
  EXPECT_EQ(next.Counters.Differences(), 0U);
  EXPECT_GT(next.Counters.Equal, 0U);
}

TEST_F(ScrubTest, ATestRestoreTellsHowManyFilesCameBackAsTheyWere) {
  for (int i = 0; i < 60; ++i) Write("d" + std::to_string(i % 7) + "/" + std::to_string(i), "x");
  ExtraSettings& settings = AddDated().Extras;
  settings.Drill = true;
  settings.StateLinks = LinkStates::Off;
  Run();
  Run();
  fs::remove_all(Source());
  Program.Tick();
  const JobExtras& extras = Program.Store.Jobs[0].Extras;
  EXPECT_EQ(extras.DrillFiles, 25);
  EXPECT_EQ(extras.DrillGood, 25) << LogLines();
  EXPECT_FALSE(Program.DrillIsDue(Program.Store.Jobs[0]));
  EXPECT_FALSE(fs::exists(Temp.Home() / "Drill.tmp"));
  EXPECT_FALSE(fs::exists(Source())) << "nothing comes back into the source";

  for (const auto& entry : fs::recursive_directory_iterator(Dest())) {
    if (entry.is_regular_file() && entry.path().filename() != ".kavrel-sums") Spoil(entry.path());
  }
  const VerifyReport bad = Program.DrillJobNow(0);
  EXPECT_EQ(bad.Counters.Damaged, 25U);
  EXPECT_EQ(bad.Counters.Equal, 0U);
  EXPECT_EQ(Program.Store.Jobs[0].Extras.DrillGood, 0);
  EXPECT_FALSE(fs::exists(Temp.Home() / "Drill.tmp"));
}

TEST_F(ScrubTest, StatesThatWereMovedOrHaveLostTheirListAreNotPassedOver) {
  Write("a", "1");
  Write("b", "2");
  AddDated().Extras.StateLinks = LinkStates::Off;
  Run();
  Run();
  const fs::path first = Dest() / "2009-09-23", second = Dest() / "2009-09-24";
  fs::rename(first, Temp.Root() / "x");
  fs::rename(second, first);
  fs::rename(Temp.Root() / "x", second);
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Equal, 4U) << LogLines();
  Spoil(first / "a");
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Damaged, 1U);
  fs::remove(second / ".kavrel-sums");
  const VerifyReport report = Program.ScrubJobNow(0);
  EXPECT_EQ(report.Counters.Damaged, 1U);
  fs::rename(first, Temp.Root() / "x");
  fs::rename(second, first);
  fs::rename(Temp.Root() / "x", second);
  EXPECT_EQ(Program.ScrubJobNow(0).Unlisted, 2U) << "of the one without a list nothing is known";
}

TEST_F(ScrubTest, ArchivesAreReadAgainAndUnpackedForATrial) {
  if (!Program.Context.Archiver.Present()) GTEST_SKIP() << "no archive program";
  for (int i = 0; i < 9; ++i) Write("d/" + std::to_string(i), std::to_string(i));
  AddJob(BackupType::Compressed);
  Run();
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Equal, 1U);
  VerifyReport drill = Program.DrillJobNow(0);
  EXPECT_EQ(drill.Counters.Equal, 9U) << LogLines();
  EXPECT_EQ(drill.Counters.Differences(), 0U);
  for (const auto& entry : fs::directory_iterator(Dest())) {
    if (entry.path().extension() == ".7z") Spoil(entry.path());
  }
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Damaged, 1U);
  drill = Program.DrillJobNow(0);
  EXPECT_GT(drill.Counters.Differences(), 0U);
}

TEST_F(ScrubTest, WhatIsProvedToBeDamagedIsMendedAndTheDamagedOneKept) {
  Write("a", "content of a");
  Write("b", "content of b");
  Write("c", "content of c");
  AddDated();
  Run();
  Run();
  const fs::path first = Dest() / "2009-09-23", second = Dest() / "2009-09-24";
  // One file, whose name in the other state stays as it is.
  Spoil(second / "a");
  Spoil(second / "b");
  Spoil(Source() / "b");
  VerifyReport report = Program.VerifyJobNow(0, {}, u"D:\\dst\\2009-09-24\\");
  EXPECT_EQ(report.BadCopies, 1U) << LogLines();
  EXPECT_EQ(report.Mended, 0U);
  report = Program.VerifyJobNow(0, {}, u"D:\\dst\\2009-09-24\\", true);
  EXPECT_EQ(report.Mended, 1U) << LogLines();
  EXPECT_EQ(ReadTestFile(second / "a"), "content of a");
  EXPECT_NE(ReadTestFile(second / ".kavrel-damaged/a"), "content of a");
  EXPECT_EQ(fs::last_write_time(second / "a"), fs::last_write_time(Source() / "a"));
  EXPECT_FALSE(fs::exists(second / ".kavrel-damaged/b")) << "nobody knows which is right";
  EXPECT_NE(ReadTestFile(first / "a"), "content of a") << "the same file as the damaged one";
  report = Program.VerifyJobNow(0, {}, u"D:\\dst\\2009-09-23\\", true);
  EXPECT_EQ(ReadTestFile(first / "a"), "content of a");
}

TEST_F(ScrubTest, WhatWasPutAsideStaysAndIsNoPartOfTheBackup) {
  Write("a", "content of a");
  AddJob(BackupType::Synchronise).Extras.GuardMirror = false;
  Run();
  for (int i = 0; i < 2; ++i) {
    Spoil(Dest() / "a");
    EXPECT_EQ(Program.VerifyJobNow(0, {}, {}, true).Mended, 1U) << LogLines();
  }
  EXPECT_EQ(Program.VerifyJobNow(0).Counters.Differences(), 0U);
  Write("b", "new");
  Run();
  EXPECT_TRUE(fs::exists(Dest() / ".kavrel-damaged/a"));
  EXPECT_TRUE(fs::exists(Dest() / ".kavrel-damaged/2/a"));
  ASSERT_EQ(Program.RunRestoreNow(0, RestoreMode::Full), RunOutcome::Ran);
  EXPECT_FALSE(fs::exists(Source() / ".kavrel-damaged"));
}

TEST_F(ScrubTest, AListThatIsNoneTellsNothingAndWhatItLacksIsTold) {
  Write("a", "1");
  Write("sub/b", "2");
  AddJob(BackupType::Differential);
  Run();
  const fs::path list = Dest() / ".kavrel-sums";
  const std::string whole = ReadTestFile(list);
  for (const std::string& bytes : {std::string(), std::string("no list\n")}) {
    WriteTestFile(list, bytes);
    EXPECT_EQ(Program.ScrubJobNow(0).Outcome, RunOutcome::NothingPicked);
    EXPECT_EQ(Program.DrillJobNow(0).Outcome, RunOutcome::NothingPicked);
  }
  WriteTestFile(list, whole.substr(0, whole.find('\n') + 1));
  EXPECT_EQ(Program.ScrubJobNow(0).Unlisted, 1U);
  // What is told of files that are not there goes with the next verification.
  WriteTestFile(list, whole + std::string(32, '1') + "  gone\n" + std::string(32, '1') + "  sub\n");
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Differences(), 2U);
  EXPECT_EQ(Program.VerifyJobNow(0).Counters.Differences(), 0U);
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Differences(), 0U) << LogLines();
  // Where there is no file, none is without a sum.
  fs::remove_all(Source() / "a");
  fs::remove_all(Source() / "sub/b");
  fs::remove_all(Dest());
  Run();
  EXPECT_TRUE(fs::exists(Dest() / "sub"));
  EXPECT_EQ(Program.ScrubJobNow(0).Outcome, RunOutcome::Ran);
}

TEST_F(ScrubTest, AListThatCannotBeReplacedGoesAndIsToldOf) {
  Write("a", "1");
  AddJob(BackupType::Differential);
  Run();
  // Somebody's folder is where the new one is to be made.
  WriteTestFile(Dest() / ".kavrel-sums.tmp/somebody's", "x");
  Write("a", "another text");
  Run();
  EXPECT_FALSE(fs::exists(Dest() / ".kavrel-sums")) << ReadTestFile(Dest() / ".kavrel-sums");
  EXPECT_EQ(Program.Context.Report.Counters.WarningFiles, 1U);
  EXPECT_NE(LogLines().find("更新校驗碼清單 (失敗)"), std::string::npos) << LogLines();
  fs::remove_all(Dest() / ".kavrel-sums.tmp");
  EXPECT_EQ(Program.VerifyJobNow(0).Counters.Differences(), 0U);
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Equal, 1U);
}

TEST_F(ScrubTest, AFullRunKeepsTheGoodCopyOfASourceThatIsDamaged) {
  Write("rotten", "it was good");
  Write("written", "it was short");
  AddJob(BackupType::Full);
  Run();
  Spoil(Source() / "rotten");
  MakeLater(Dest() / "rotten");
  Spoil(Source() / "written");
  // Touched since, the copy is still of what was there when it was begun, where the disk tells
  // that.
  const fs::path touched = Dest() / "written";
  if (Program.Context.Files.Status(TempFolder::Text(touched))->Made != FileTime()) {
    SetWritten(touched, WrittenOf(touched));
  }
  Run();
  EXPECT_EQ(ReadTestFile(Dest() / "rotten"), "it was good");
  EXPECT_EQ(ReadTestFile(Dest() / "written"), ReadTestFile(Source() / "written"));
  EXPECT_EQ(Program.Store.Jobs[0].LastRunResult.FailedFiles, 1U);
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Equal, 2U) << "the list is right";
  Program.Context.Force = true;
  Run();
  EXPECT_EQ(ReadTestFile(Dest() / "rotten"), ReadTestFile(Source() / "rotten"));
}

}  // namespace
}  // namespace kavrel
