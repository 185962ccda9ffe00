#include <gtest/gtest.h>

#include "base/text.h"
#include "support/test_program.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class MirrorGuardTest : public testing::Test, protected TestProgram {
 protected:
  MirrorGuardTest() {
    AddJob(BackupType::Synchronise).Extras.Id = u"mine";
    Host.GoOn = false;
  }
  /// What a whole mirror run has left at the destination.
  void Mark(const fs::path& folder, std::u16string_view source = u"C:\\src\\") const {
    OwnerMark mark;
    mark.Place = u"D:\\dst\\";
    mark.Mirrored = true;
    mark.Owners = {{u"mine", u"測試 0", std::u16string(source)}};
    ASSERT_EQ(WriteOwnerMark(*Temp.Files().MakeFolders(TempFolder::Text(folder)), mark), 0);
  }
  JobExtras& Extras() { return Program.Store.Jobs[0].Extras; }

  /// `kept` files on both sides and `gone` ones at the destination, in folders of ten.
  void Make(int kept, int gone) const {
    for (int i = 0; i < kept; ++i) {
      const fs::path name = fs::path("k" + std::to_string(i / 10)) / std::to_string(i);
      for (const fs::path& side : {Source(), Dest()}) {
        WriteTestFile(side / name, "same");
        SetWritten(side / name, {1000000000, 0});
      }
    }
    for (int i = 0; i < gone; ++i) {
      // In all of the folders, which two threads may share.
      const fs::path folder = "k" + std::to_string(i / 10 % ((kept + 9) / 10));
      WriteTestFile(Dest() / folder / ("g" + std::to_string(i / 10)) / std::to_string(i), "x");
    }
  }
  /// A run that the guard stops: nothing is removed, and its log and row say so.
  void ExpectStopped(std::string_view why) {
    const std::string before = ReadTestFile(Dest() / "k0/g0/0");
    EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Guarded);
    EXPECT_EQ(ReadTestFile(Dest() / "k0/g0/0"), before);
    EXPECT_EQ(Program.Context.Report.Counters.SyncDeletedFiles, 0U);
    EXPECT_TRUE(Program.Store.Jobs[0].LastRunResult.Stopped);
    EXPECT_FALSE(Program.State.CancelRequested);
    EXPECT_EQ(StatusText(Program.LogRows.Rows().back()), u"備份中斷");
    const std::string line = ": 同步刪除防護 (中斷)：" + std::string(why);
    EXPECT_NE(LogLines().find(line), std::string::npos) << LogLines();
  }
  void ExpectDone(std::size_t questions = 0) {
    EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    EXPECT_EQ(TreeDifferences(Source(), Dest()), "");
    EXPECT_EQ(Host.Questions.size(), questions);
  }
};

TEST_F(MirrorGuardTest, EverydayRemovalsNeverAsk) {
  Mark(Dest());
  Make(19, 19);
  ExpectDone();  // Half of them, but too few to matter.
  Make(30, 30);
  ExpectDone();  // Enough, but not more than half.
  fs::remove(Source() / "k0/3");
  WriteTestFile(Source() / "k1/new", "x");
  ExpectDone();
}

TEST_F(MirrorGuardTest, MoreThanTheShareAsksBeforeTheFirstChange) {
  Mark(Dest());
  Make(30, 31);
  ExpectStopped("要移除的檔案超過目標資料夾的 50 %，將移除 31 個檔案，保留 30 個");
  Host.GoOn = true;
  ExpectDone(2);
  EXPECT_NE(LogLines().find(": 同步刪除防護 (繼續)："), std::string::npos);

  Host.GoOn = false;
  Make(30, 31);
  Extras().GuardPercent = 60;
  ExpectDone(2);
  Make(30, 31);
  Extras().GuardPercent = 10;
  Extras().GuardFewest = 32;
  ExpectDone(2);
  Make(30, 40);
  Program.Context.Force = true;
  ExpectDone(2);
  Program.Context.Force = false;
  Make(30, 40);
  Extras().GuardMirror = false;
  ExpectDone(2);
}

TEST_F(MirrorGuardTest, WhatTheRunDoesNotTouchCountsForNeitherSide) {
  Mark(Dest());
  Make(30, 31);
  for (int i = 0; i < 40; ++i) {
    WriteTestFile(Source() / "Temp" / std::to_string(i), "x");
    WriteTestFile(Dest() / "Temp" / ("x" + std::to_string(i)), "x");
  }
  SetRules(true);
  ExpectStopped("要移除的檔案超過");
}

TEST_F(MirrorGuardTest, AnEmptySourceRemovesNothing) {
  Mark(Dest());
  Make(10, 1);
  fs::remove_all(Source());
  fs::create_directory(Source());
  ExpectStopped("來源資料夾是空的：C:\\src\\，將移除 11 個檔案");
  Host.GoOn = true;
  ExpectDone(2);
}

TEST_F(MirrorGuardTest, AFirstRunAsksBeforeItRemovesWhatOthersWrote) {
  Extras() = {};
  Make(10, 1);
  ExpectStopped("目標資料夾中有不是這個排程所備份的檔案：D:\\dst\\，將移除 1 個檔案，保留 10 個");
  Host.GoOn = true;
  ExpectDone(2);
  Host.GoOn = false;
  Make(10, 1);
  ExpectDone(2);
  // The same job at another place is a first run again.
  Program.Store.Jobs[0].Destination.Path = u"D:\\other\\";
  WriteTestFile(Temp.DriveD() / "other" / "theirs", "x");
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Guarded);
  EXPECT_EQ(ReadTestFile(Temp.DriveD() / "other" / "theirs"), "x");
  // Into a new folder it need not ask, and that folder is its own then.
  Program.Store.Jobs[0].Destination.Path = u"D:\\new\\";
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  WriteTestFile(Temp.DriveD() / "new" / "x", "x");
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(TreeDifferences(Source(), Temp.DriveD() / "new"), "");
}

TEST_F(MirrorGuardTest, ADestinationIsKnownByWhatLiesInItAndNotByItsPath) {
  const std::string foreign = "目標資料夾中有不是這個排程所備份的檔案：D:\\dst\\，將移除 1 個檔案";
  Mark(Dest());
  Make(10, 1);
  ExpectDone();
  // Another disk at the same place, which holds somebody's files.
  fs::rename(Dest(), Temp.DriveD() / "first disk");
  Make(10, 1);
  ExpectStopped(foreign);
  // The first disk again, and a copy of it.
  fs::remove_all(Dest());
  CopyExactly(Temp.DriveD() / "first disk", Dest());
  Make(10, 1);
  ExpectDone(1);
  // Another source: what is there is the old one's.
  Mark(Dest(), u"C:\\old\\");
  Make(10, 1);
  ExpectStopped(foreign);
  // What is not a mirror's only grows, and is not for the mirror to clear away unasked.
  Mark(Dest());
  SetJobType(Program.Store.Jobs[0], BackupType::Differential);
  Make(10, 1);
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  SetJobType(Program.Store.Jobs[0], BackupType::Synchronise);
  ExpectStopped(foreign);
  // What the user has said holds for one run.
  Extras().Adopt = true;
  ExpectDone(3);
  EXPECT_FALSE(Extras().Adopt);
  Make(10, 1);
  ExpectDone(3);
}

TEST_F(MirrorGuardTest, ACopyOfTheMirrorIsNotTheMirror) {
  for (int i = 0; i < 10; ++i) WriteTestFile(Source() / std::to_string(i), "x");
  ExpectDone();
  const fs::path two = Temp.DriveD() / "two", precious = two / "precious";
  // A link to it is.
  fs::create_directory_symlink(Dest(), Temp.DriveD() / "link");
  std::u16string at = u"D:\\dst\\";
  const auto move_to = [&](const char16_t* place, bool by_form = true) {
    if (by_form) MovePlaces(Extras(), {u"C:\\src\\", at}, {u"C:\\src\\", place});
    Program.Store.Jobs[0].Destination.Path = at = place;
  };
  const auto stops = [&] {
    EXPECT_EQ(Foresee(Program.Store.Jobs[0]).Plan.Warnings.size(), 1U);
    EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Guarded);
    EXPECT_EQ(ReadTestFile(precious), "mine");
  };
  move_to(u"D:\\link\\");
  fs::remove(Source() / "1");
  ExpectDone();
  CopyExactly(Dest(), two);
  WriteTestFile(precious, "mine");
  for (const bool by_form : {true, false}) {
    move_to(u"D:\\two\\", by_form);
    stops();
    stops();  // The run that was stopped has claimed nothing.
    move_to(u"D:\\dst\\");
    fs::remove(Source() / (by_form ? "2" : "3"));
    ExpectDone(Host.Questions.size());
  }
  // The link leads to the copy now.
  move_to(u"D:\\link\\");
  fs::remove(Temp.DriveD() / "link");
  fs::create_directory_symlink(two, Temp.DriveD() / "link");
  stops();
  // It is asked about once.
  move_to(u"D:\\two\\");
  Host.GoOn = true;
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(TreeDifferences(Source(), two), "");
  const std::size_t asked = Host.Questions.size();
  fs::remove(Source() / "4");
  EXPECT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(TreeDifferences(Source(), two), "");
  move_to(u"D:\\dst\\");
  ExpectDone(asked);
}

TEST_F(MirrorGuardTest, AMirrorOfAnEarlierVersionMustLookLikeItsSource) {
  Extras() = {};
  Extras().MirroredTo = u"D:\\dst\\";
  Make(1, 3);
  ExpectStopped("目標資料夾中有不是這個排程所備份的檔案");
  Make(10, 3);
  ExpectDone(1);
  EXPECT_EQ(Extras().MirroredTo, u"") << "from now on its mark tells";
  Temp.Files().OpenFolder(u"D:\\dst\\")->WriteRemark({}, {});
  fs::remove(Dest() / ".kavrel-owner");
  Make(10, 1);
  ExpectStopped("目標資料夾中有不是這個排程所備份的檔案");
}

TEST_F(MirrorGuardTest, BackupsOfAnotherJobInsideAreAskedAbout) {
  Mark(Dest());
  Make(10, 0);
  BackupJob& other = AddJob();
  other.Destination.Path = u"D:\\dst\\theirs\\";
  WriteTestFile(Temp.DriveC() / "other" / "x", "x");
  other.Source.Path = u"C:\\other\\";
  ASSERT_EQ(Program.RunJobNow(1), RunOutcome::Guarded) << "it lies in the mirror";
  Host.GoOn = true;
  ASSERT_EQ(Program.RunJobNow(1), RunOutcome::Ran);
  Host.GoOn = false;
  Make(10, 1);
  ExpectStopped("要移除的檔案中有其他排程的備份：D:\\dst\\theirs\\");
  EXPECT_EQ(ReadTestFile(Dest() / "theirs" / "x"), "x");
}

TEST_F(MirrorGuardTest, AStoppedRunDoesNotHoldUpTheNextJob) {
  Mark(Dest());
  Make(30, 31);
  AddJob().Destination.Path = u"D:\\second\\";
  for (BackupJob& job : Program.Store.Jobs) job.Enabled = true;
  Program.Schedule.RunCheckedJobs();
  EXPECT_EQ(TreeDifferences(Source(), Temp.DriveD() / "second"), "");
}

}  // namespace
}  // namespace kavrel
