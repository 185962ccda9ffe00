// What the journal heals and, above all, what it leaves alone.
#include "files/aside_journal.h"

#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class AsideJournalTest : public testing::Test {
 protected:
  TempFolder temp_;
  fs::path folder_ = temp_.DriveD() / "dst", journal_ = temp_.Home() / "Aside.jnl";
  FileStatus complete_;

  AsideJournalTest() {
    complete_.Size = 3;
    complete_.Written = {1'710'000'000, 0};
  }

  /// As a run that was killed while "a" was replaced: the old content is aside.
  void Killed() {
    WriteTestFile(folder_ / "a", "old!");
    const Result<Folder> folder = temp_.Files().OpenFolder(TempFolder::Text(folder_));
    const Result<FileStatus> old = folder->Status(u"a");
    AsideJournal journal(temp_.Files());
    EXPECT_NE(journal.Begin({u"D:\\dst\\", u"pt1.tmp", u"a", &*old, &complete_}),
              AsideJournal::kNoSlot);
    fs::rename(folder_ / "a", folder_ / "pt1.tmp");
  }
  std::vector<Healing> Heal() {
    std::vector<Healing> done;
    AsideJournal(temp_.Files()).Heal([&](Healing what, std::u16string_view) {
      done.push_back(what);
    });
    return done;
  }
};

TEST_F(AsideJournalTest, TheOldVersionGoesOnlyWhenTheCompleteNewOneIsThere) {
  Killed();
  WriteTestFile(folder_ / "a", "new");
  SetWritten(folder_ / "a", complete_.Written);
  EXPECT_EQ(Heal(), std::vector{Healing::AsideRemoved});
  EXPECT_EQ(ReadTestFile(folder_ / "a"), "new");
  EXPECT_FALSE(fs::exists(folder_ / "pt1.tmp"));
  EXPECT_FALSE(fs::exists(journal_));

  Killed();
  EXPECT_EQ(Heal(), std::vector{Healing::PutBack});
  EXPECT_EQ(ReadTestFile(folder_ / "a"), "old!");
}

TEST_F(AsideJournalTest, WhatSomebodyElsePutThereStays) {
  Killed();
  WriteTestFile(folder_ / "a", "mine");
  EXPECT_EQ(Heal(), std::vector{Healing::Unknown});
  EXPECT_EQ(ReadTestFile(folder_ / "a"), "mine");
  EXPECT_EQ(ReadTestFile(folder_ / "pt1.tmp"), "old!");

  // A file of the temporary name that is not the one written down.
  Killed();
  WriteTestFile(folder_ / "pt1.tmp", "a user's own");
  EXPECT_TRUE(Heal().empty());
  EXPECT_EQ(ReadTestFile(folder_ / "pt1.tmp"), "a user's own");
}

TEST_F(AsideJournalTest, AFolderOfOursGoesWithItsContentAndNobodyElses) {
  for (const bool ours : {true, false}) {
    FileStatus like;
    like.Kind = FileKind::Folder;
    {
      AsideJournal journal(temp_.Files());
      const int slot = journal.Begin({u"D:\\dst\\", {}, u"pt2.tmp", nullptr, &like});
      fs::create_directories(folder_ / "pt2.tmp");
      journal.NoteMade(slot, temp_.Files().Status(u"D:\\dst\\pt2.tmp"));
    }
    if (!ours) fs::rename(folder_ / "pt2.tmp", folder_ / "taken away");
    WriteTestFile(folder_ / "pt2.tmp" / "in" / "a", "x");
    EXPECT_EQ(Heal().size(), ours ? 1U : 0U);
    EXPECT_EQ(fs::exists(folder_ / "pt2.tmp" / "in" / "a"), !ours);
  }
}

TEST_F(AsideJournalTest, ADiskThatIsAwayIsHealedWhenItIsBack) {
  Killed();
  fs::rename(folder_, temp_.Root() / "away");
  EXPECT_TRUE(Heal().empty());
  EXPECT_TRUE(fs::exists(journal_));
  {
    // A run meanwhile uses the journal, too, and must not write over the record.
    AsideJournal journal(temp_.Files());
    journal.Heal([](Healing, std::u16string_view) {});
    journal.End(journal.Begin({u"D:\\other\\", u"pt1.tmp", u"a", &complete_, &complete_}));
    journal.Heal([](Healing, std::u16string_view) {});
  }
  fs::rename(temp_.Root() / "away", folder_);
  EXPECT_EQ(Heal(), std::vector{Healing::PutBack});
  EXPECT_EQ(ReadTestFile(folder_ / "a"), "old!");
}

TEST_F(AsideJournalTest, ARecordThatWasCutShortIsNone) {
  Killed();
  fs::resize_file(journal_, fs::file_size(journal_) - 1);
  EXPECT_TRUE(Heal().empty());
  EXPECT_EQ(ReadTestFile(folder_ / "pt1.tmp"), "old!");
  WriteTestFile(journal_, std::string(200'000, '\xFF'));
  EXPECT_TRUE(Heal().empty());
}

}  // namespace
}  // namespace kavrel
