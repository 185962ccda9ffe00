// Recovery data beside archives: it makes good what is damaged where that is proved, it goes
// wherever its archive goes, and its failure costs nothing.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <set>

#include "app/job_preview.h"
#include "base/text.h"
#include "engine/states.h"
#include "support/command.h"
#include "support/test_program.h"
#include "support/variable.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class ArchiveRecoveryTest : public testing::Test, protected TestProgram {
 protected:
  ArchiveRecoveryTest() {
    Program.Context.Compression = CompressionLevel::Store;
    AddJob(BackupType::Compressed).Extras.RecoveryPercent = 10;
    Fill(1);
  }

  BackupJob& Job() { return Program.Store.Jobs[0]; }
  /// A source that no packing makes smaller.
  void Fill(unsigned seed) {
    std::mt19937 chance(seed);
    std::string noise(400'000, '\0');
    for (char& byte : noise) byte = static_cast<char>(chance());
    WriteTestFile(Source() / "noise", noise);
  }
  void Run() {
    ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    ASSERT_EQ(Job().LastRunResult.FailedFiles, 0U) << LogLines();
    Job().NextRun = *FromCivil(2100, 1, 1);
  }
  VerifyReport Verify(bool mend) {
    return Program.VerifyJobNow(
        0, [](const std::vector<ArchiveFile>& archives) { return NewestArchive(archives); }, {},
        mend);
  }
  /// Rewrites the archive with its time, and what marks it, as they were.
  void Spoil(const std::string& bytes) const {
    const auto time = fs::last_write_time(archive_);
    {
      std::fstream file(archive_, std::ios::in | std::ios::out | std::ios::binary);
      file << bytes;
    }
    fs::resize_file(archive_, bytes.size());
    fs::last_write_time(archive_, time);
  }
  /// With some bytes in its midst turned.
  static std::string Turned(std::string bytes) {
    for (std::size_t i = 0; i < 3000; ++i) bytes[bytes.size() / 2 + i] ^= 0x55;
    return bytes;
  }
  /// What lies in the destination, but for its sums and what was put aside.
  std::set<std::string> Files() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(Dest())) {
      const std::string name = entry.path().filename().string();
      if (!name.starts_with(".kavrel-")) names.insert(name);
    }
    return names;
  }
  /// Whether the par2 program finds the archive to be what the data beside it tells.
  static bool Fits(const fs::path& archive) {
    return RunCommand({"/usr/bin/par2", "verify", "-q", "-q", archive.string() + ".par2"})
               .ExitCode == 0;
  }
  /// A program that is found before the installed one.
  void Replace(const std::string& script) const {
    const fs::path program = Temp.Home() / "par2";
    WriteTestFile(program, "#!/bin/sh\n" + script);
    ASSERT_EQ(chmod(program.c_str(), 0755), 0);
  }

  const std::string name_ = "2009年09月23日15時.7z", recovery_name_ = name_ + ".par2";
  const fs::path archive_ = Dest() / name_, recovery_ = Dest() / recovery_name_;
};

TEST_F(ArchiveRecoveryTest, DamageIsMadeGoodWhereItIsWishedAndTheDamagedArchiveKept) {
  for (const bool encrypted : {false, true}) {
    SCOPED_TRACE(encrypted);
    fs::remove_all(Dest());
    Job().UsePassword = encrypted;
    Job().Password = u"geheim";
    Run();
    ASSERT_EQ(Files(), (std::set<std::string>{name_, recovery_name_}));
    const std::string whole = ReadTestFile(archive_);
    EXPECT_LT(fs::file_size(recovery_), whole.size() / 5);
    const auto time = fs::last_write_time(archive_);
    fs::permissions(archive_, fs::perms::owner_read | fs::perms::owner_write);
    const std::string damages[] = {Turned(whole), whole.substr(0, whole.size() - 20'000),
                                   "XXXX" + whole.substr(4)};
    int number = 0;
    for (const std::string& damaged : damages) {
      SCOPED_TRACE(++number);
      Spoil(damaged);
      VerifyReport report = Verify(false);
      EXPECT_EQ(report.BadCopies, 1U) << LogLines();
      EXPECT_EQ(report.Counters.Damaged, 1U);
      EXPECT_FALSE(report.WrongPassword);
      EXPECT_EQ(ReadTestFile(archive_), damaged) << "nobody has asked for it";
      report = Verify(true);
      EXPECT_EQ(report.Mended, 1U) << LogLines();
      EXPECT_EQ(ReadTestFile(archive_), whole);
      EXPECT_EQ(fs::last_write_time(archive_), time);
      EXPECT_EQ(fs::status(archive_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
      const std::string folder = number == 1 ? "" : std::to_string(number) + "/";
      EXPECT_EQ(ReadTestFile(Dest() / ".kavrel-damaged" / (folder + name_)), damaged);
      EXPECT_EQ(Files(), (std::set<std::string>{name_, recovery_name_}));
      const std::vector<JobState> states = ListStates(Program.Context, Job());
      ASSERT_EQ(states.size(), 1U);
      EXPECT_TRUE(states[0].Own) << "its mark is there again";
      EXPECT_EQ(states[0].RecoverySize, fs::file_size(recovery_));
      EXPECT_EQ(Verify(true).Counters.Differences(), 0U);
    }
    fs::remove(Source() / "noise");
    ASSERT_EQ(Program.RunRestoreNow(
                  0, RestoreMode::Full,
                  [](const std::vector<ArchiveFile>& archives) { return NewestArchive(archives); }),
              RunOutcome::Ran);
    EXPECT_EQ(fs::file_size(Source() / "noise"), 400'000U);
  }
}

TEST_F(ArchiveRecoveryTest, WhatHasRottenItselfIsToldAndMadeAnew) {
  Run();
  const std::string whole = ReadTestFile(archive_);
  for (const bool gone : {false, true}) {
    SCOPED_TRACE(gone);
    if (gone) {
      fs::remove(recovery_);
    } else {
      WriteTestFile(recovery_, Turned(ReadTestFile(recovery_)));
    }
    const VerifyReport read = Program.ScrubJobNow(0);
    EXPECT_EQ(read.Counters.Differences(), 1U) << LogLines();
    EXPECT_EQ(read.BadCopies, 1U);
    EXPECT_EQ(Verify(false).Counters.Damaged, 1U);
    EXPECT_EQ(Verify(true).Mended, 1U) << LogLines();
    EXPECT_TRUE(Fits(archive_));
    EXPECT_EQ(Program.ScrubJobNow(0).Counters.Equal, 2U);
    EXPECT_EQ(Verify(false).Counters.Differences(), 0U);
  }
  // From a damaged archive nothing is made.
  fs::remove(recovery_);
  Spoil(Turned(whole));
  EXPECT_EQ(Verify(true).Mended, 0U);
  EXPECT_FALSE(fs::exists(recovery_));
  // Who wants none any more misses none.
  Job().Extras.RecoveryPercent = 0;
  Fill(2);
  Run();
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Differences(), 0U) << LogLines();
}

TEST_F(ArchiveRecoveryTest, WhatIsNotProvedTakesNoPlace) {
  Run();
  const std::string other = ReadTestFile(recovery_);
  Fill(2);
  Run();
  const std::string whole = ReadTestFile(archive_), own = ReadTestFile(recovery_);
  const std::string damaged = Turned(whole);
  const auto stays = [&](std::string_view why) {
    SCOPED_TRACE(why);
    const VerifyReport report = Verify(true);
    EXPECT_EQ(report.Mended, 0U);
    ASSERT_FALSE(report.Failures.First().empty());
    EXPECT_NE(ToUtf8(report.Failures.First().back().Reason).find(why), std::string::npos)
        << LogLines();
    EXPECT_NE(ReadTestFile(archive_), whole);
    EXPECT_EQ(Files(), (std::set<std::string>{name_, recovery_name_}));
    EXPECT_FALSE(fs::exists(Dest() / ".kavrel-damaged"));
  };
  Spoil(whole.substr(0, whole.size() / 2));
  stays("recovery blocks");
  Spoil(damaged);
  // Of another archive that had this name: what it makes is no damaged archive, but it is not this.
  WriteTestFile(recovery_, other);
  Replace("for last; do :; done\ncp '" + (Source() / "noise").string() +
          "' \"$(dirname \"$last\")/" + name_ + "\"\n");
  stays("校驗碼不符");
  fs::remove(Temp.Home() / "par2");
  WriteTestFile(recovery_, "no recovery data");
  stays("");
  fs::remove(recovery_);
  VerifyReport report = Verify(true);
  EXPECT_EQ(report.BadCopies, 0U) << "nothing to make it good with";
  EXPECT_EQ(report.NotMended, u"旁邊沒有修復資料");
  // Without its sum nobody knows that the archive is damaged, and not something else.
  WriteTestFile(recovery_, own);
  const std::string list = ReadTestFile(Dest() / ".kavrel-sums");
  fs::remove(Dest() / ".kavrel-sums");
  EXPECT_EQ(Verify(true).BadCopies, 0U);
  EXPECT_EQ(ReadTestFile(archive_), damaged);
  WriteTestFile(Dest() / ".kavrel-sums", list);
  EXPECT_EQ(Verify(true).Mended, 1U) << LogLines();
  EXPECT_EQ(ReadTestFile(archive_), whole);
}

TEST_F(ArchiveRecoveryTest, APasswordThatDoesNotOpenItProvesNothing) {
  Job().UsePassword = true;
  Job().Password = u"geheim";
  Run();
  const std::string whole = ReadTestFile(archive_);
  Spoil(Turned(whole));
  Job().Password = u"another";
  EXPECT_EQ(Verify(true).Mended, 0U);
  EXPECT_NE(ReadTestFile(archive_), whole);
  EXPECT_NE(LogText(Program.Log.CurrentPath()).find("密碼錯誤"), std::string::npos);
  Job().Password = u"geheim";
  EXPECT_EQ(Verify(true).Mended, 1U) << LogLines();
  EXPECT_EQ(ReadTestFile(archive_), whole);
}

TEST_F(ArchiveRecoveryTest, AReadingOfAllStatesFindsACutArchiveAndSaysThatItCanBeMadeGood) {
  Run();
  const std::string whole = ReadTestFile(archive_);
  Spoil(whole.substr(0, whole.size() - 1));
  const VerifyReport report = Program.ScrubJobNow(0);
  EXPECT_EQ(report.Counters.Damaged, 1U) << LogLines();
  EXPECT_EQ(report.BadCopies, 1U);
  EXPECT_NE(LogLines().find("驗證時可以修復"), std::string::npos);
}

TEST_F(ArchiveRecoveryTest, ItGoesWhereItsArchiveGoes) {
  const EnvironmentVariable data("XDG_DATA_HOME", (Temp.Root() / "data").string());
  // Another folder of the same disk, which is part of what is packed.
  Job().Destination.Path = u"C:\\src\\to\\";
  Job().Extras.KeepNewest = 2;
  const fs::path to = Source() / "to";
  const auto names = [](const fs::path& folder) {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder)) {
      const std::string name = entry.path().filename().string();
      if (!name.starts_with(".")) found.insert(name);
    }
    return found;
  };
  const auto at = [](int hour) { return "2009年09月23日" + std::to_string(hour) + "時.7z"; };
  for (int hour = 15; hour < 18; ++hour) {
    Clock.Set(*FromCivil(2009, 9, 23, hour));
    Run();
    EXPECT_EQ(Job().LastRunResult.CopiedFiles, 1U) << "neither archives nor what belongs to them";
  }
  EXPECT_EQ(names(to), (std::set<std::string>{at(16), at(16) + ".par2", at(17), at(17) + ".par2"}));
  EXPECT_EQ(names(Temp.Root() / "data/Trash/files"),
            (std::set<std::string>{at(15), at(15) + ".par2"}));
  Job().Extras.DeletesOld = true;
  Clock.Set(*FromCivil(2009, 9, 23, 18));
  Run();
  EXPECT_EQ(names(to), (std::set<std::string>{at(17), at(17) + ".par2", at(18), at(18) + ".par2"}));
  // An archive of the same hour gets its own, or, by now, none.
  const std::string before = ReadTestFile(to / (at(18) + ".par2"));
  Fill(3);
  Run();
  EXPECT_NE(ReadTestFile(to / (at(18) + ".par2")), before);
  EXPECT_TRUE(Fits(to / at(18)));
  EXPECT_TRUE(Fits(to / at(17)));
  Job().Extras.RecoveryPercent = 0;
  Fill(4);
  Run();
  EXPECT_EQ(names(to), (std::set<std::string>{at(17), at(17) + ".par2", at(18)}));
}

TEST_F(ArchiveRecoveryTest,
       AProgramThatIsMissingFailsOrIsStoppedLeavesAWholeArchiveAndNothingElse) {
  const auto warns = [&](const std::string& why) {
    SCOPED_TRACE(why);
    Run();
    EXPECT_EQ(Job().LastRunResult.WarningFiles, 1U);
    EXPECT_FALSE(Job().Extras.Bad) << "no failed backup";
    EXPECT_NE(ToUtf8(Program.Context.Report.NoRecovery).find(why), std::string::npos)
        << ToUtf8(Program.Context.Report.NoRecovery);
    EXPECT_NE(LogText(Program.Log.CurrentPath()).find("建立修復資料 (失敗)：D:\\dst\\" + name_),
              std::string::npos);
    EXPECT_EQ(Files(), std::set<std::string>{name_})
        << "no half, and none of what was there before";
    EXPECT_EQ(RunCommand({"/usr/bin/7zz", "t", archive_}).ExitCode, 0);
  };
  Run();
  ASSERT_TRUE(fs::exists(recovery_));
  fs::create_symlink("/usr/bin/7zz", Temp.Home() / "7zz");
  {
    const EnvironmentVariable path("PATH", "/nonexistent");
    warns("找不到 par2");
    const JobPreview preview = PreviewJob(Program, FormOf(Job()), &Job());
    const auto told =
        std::find_if(preview.Warnings.begin(), preview.Warnings.end(),
                     [](const std::u16string& text) { return text.find(u"par2") != text.npos; });
    EXPECT_NE(told, preview.Warnings.end());
  }
  Replace(
      "echo half > half.vol0+1.par2\necho 'Could not write: No space left on device'\nexit 6\n");
  warns("No space left on device");
  Replace("kill -9 $$\n");
  warns("意外結束");
  // A cancel ends it, and not the archive that is whole.
  Replace("echo half > half.vol0+1.par2\necho '12.0%'\nexec sleep 1000\n");
  Host.AtProgress = [&](std::uint64_t, std::uint64_t) {
    for (const auto& entry : fs::recursive_directory_iterator(Dest())) {
      Program.State.CancelRequested |= entry.path().filename() == "half.vol0+1.par2";
    }
  };
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  Host.AtProgress = {};
  EXPECT_TRUE(Job().LastRunResult.Stopped);
  EXPECT_EQ(Files(), std::set<std::string>{name_});
  EXPECT_EQ(ListStates(Program.Context, Job()).at(0).Health, StateHealth::Whole);
}

}  // namespace
}  // namespace kavrel
