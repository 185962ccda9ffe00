// What the journal clears away and, above all, what it leaves alone.
#include "files/staging_journal.h"

#include <gtest/gtest.h>

#include <set>

#include "files/temp_names.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class StagingJournalTest : public testing::Test {
 protected:
  TempFolder temp_;
  fs::path folder_ = temp_.DriveD() / "dst", journal_ = temp_.Home() / "Staging.jnl";
  static constexpr std::uint64_t kFirst = 23150405'000'000'000;

  StagingJournalTest() { WriteTestFile(folder_ / "a", "old"); }

  /// As a run that was killed after it had made its record and what `work` makes.
  template <typename Work>
  void Killed(Work work) {
    StagingJournal journal(temp_.Files());
    const int record = journal.BeginFiles(u"D:\\dst", kFirst);
    EXPECT_NE(record, StagingJournal::kNoRecord);
    work(journal, record);
  }
  void Killed() {
    Killed([](StagingJournal&, int) {});
  }
  std::vector<Healing> Heal() {
    std::vector<Healing> done;
    StagingJournal(temp_.Files()).Heal([&](Healing what, std::u16string_view) {
      done.push_back(what);
    });
    return done;
  }
  static std::string Temp(std::uint64_t number) { return "pt" + std::to_string(number) + ".tmp"; }
};

TEST_F(StagingJournalTest, WhatAKilledRunLeftGoesWhereverItLies) {
  Killed();
  WriteTestFile(folder_ / Temp(kFirst), "half");
  WriteTestFile(folder_ / "sub" / "deep" / Temp(kFirst + 7), "half");
  std::error_code no_links;
  fs::create_symlink("nowhere", folder_ / "sub" / Temp(kFirst + 8), no_links);
  WriteTestFile(folder_ / Temp(kFirst + 9) / "in" / "a", "in a folder that has no name yet");
  EXPECT_EQ(Heal().size(), no_links ? 3U : 4U);
  EXPECT_EQ(ReadTestFile(folder_ / "a"), "old");
  EXPECT_FALSE(fs::exists(folder_ / Temp(kFirst + 9)));
  EXPECT_TRUE(fs::is_empty(folder_ / "sub" / "deep"));
  EXPECT_FALSE(fs::exists(journal_));
}

TEST_F(StagingJournalTest, OfDisksThatTakeTurnsEachKeepsItsRecord) {
  Killed();
  WriteTestFile(folder_ / Temp(kFirst), "half");
  const std::string bytes = ReadTestFile(journal_);
  const std::size_t kind = bytes.find("files");
  const std::string of_another =
      bytes.substr(0, kind) + "files 12-ab" + bytes.substr(bytes.find('\0', kind));
  WriteTestFile(journal_, of_another);
  EXPECT_TRUE(Heal().empty());
  EXPECT_EQ(ReadTestFile(journal_), of_another);
  WriteTestFile(journal_, bytes);
  EXPECT_EQ(Heal().size(), 1U);
}

TEST_F(StagingJournalTest, NothingElseOfSuchANameIsTouched) {
  Killed();
  std::vector<fs::path> mine;
  for (const std::string& name :
       {Temp(kFirst - 1), Temp(kFirst + StagingJournal::kNumbers), Temp(231504),
        std::string("pt.tmp"), "pt0" + std::to_string(kFirst) + ".tmp", Temp(kFirst) + ".tmp",
        "a" + Temp(kFirst)}) {
    mine.push_back(folder_ / name);
    mine.push_back(folder_ / "sub" / name / "in");
  }
  for (const fs::path& path : mine) WriteTestFile(path, "mine");
  EXPECT_TRUE(Heal().empty());
  for (const fs::path& path : mine) EXPECT_EQ(ReadTestFile(path), "mine") << path;
}

TEST_F(StagingJournalTest, NumbersOfOneMomentAreNoTwoRunsOwn) {
  SetClock clock{2009, 9, 23, 15, 4, 5};
  std::set<std::u16string> first;
  for (int i = 0; i < 100; ++i) first.insert(TempNames(clock, nullptr, u"D:\\").Next());
  EXPECT_EQ(first.size(), 100U);
  EXPECT_TRUE(first.begin()->starts_with(u"pt23150405")) << "day, hour, minute, second";
}

/// A user without rights finds a folder that is not his, as on a disk of his own "lost+found".
TEST_F(StagingJournalTest, AFolderOfSomebodyElseKeepsNoRecordAlive) {
  Killed();
  WriteTestFile(folder_ / "locked" / "x", "");
  fs::permissions(folder_ / "locked", fs::perms::none);
  fs::permissions(temp_.Root(), fs::perms::all);
  fs::permissions(temp_.Home(), fs::perms::all);
  fs::permissions(journal_, fs::perms::all);
  {
    const Unprivileged user;
    EXPECT_TRUE(Heal().empty());
    EXPECT_FALSE(fs::exists(journal_));
  }
  fs::permissions(folder_ / "locked", fs::perms::all);
}

TEST_F(StagingJournalTest, ACompleteFileThatBearsNoNameAnyMoreGetsItsOwn) {
  WriteTestFile(folder_ / "whole", "old");
  const std::vector<NameChange> changes{
      {u"D:\\dst\\", TempName(kFirst), u"lost"},
      {u"D:\\dst\\", TempName(kFirst + 1), u"whole"},
      {u"C:\\", TempName(kFirst + 2), u"outside"},
  };
  Killed([&](StagingJournal& journal, int record) { journal.NoteChanges(record, changes); });
  for (std::uint64_t i = 0; i < 2; ++i) WriteTestFile(folder_ / Temp(kFirst + i), "new");
  WriteTestFile(temp_.DriveC() / Temp(kFirst + 2), "new");
  EXPECT_EQ(Heal(), (std::vector{Healing::Completed, Healing::PartRemoved}));
  EXPECT_EQ(ReadTestFile(folder_ / "lost"), "new");
  EXPECT_EQ(ReadTestFile(folder_ / "whole"), "old");
  EXPECT_FALSE(fs::exists(temp_.DriveC() / "outside"));
}

TEST_F(StagingJournalTest, AFolderOfOursGoesWithItsContentAndNoOther) {
  {
    StagingJournal journal(temp_.Files());
    journal.BeginFolder(u"D:\\dst\\", 77);
  }
  WriteTestFile(folder_ / Temp(77) / "in" / "a", "x");
  WriteTestFile(folder_ / Temp(78) / "in" / "a", "mine");
  WriteTestFile(folder_ / "sub" / Temp(77) / "a", "mine");
  EXPECT_EQ(Heal(), std::vector{Healing::PartRemoved});
  EXPECT_FALSE(fs::exists(folder_ / Temp(77)));
  EXPECT_EQ(ReadTestFile(folder_ / Temp(78) / "in" / "a"), "mine");
  EXPECT_EQ(ReadTestFile(folder_ / "sub" / Temp(77) / "a"), "mine");
}

TEST_F(StagingJournalTest, ADiskThatIsAwayIsHealedWhenItIsBack) {
  Killed();
  WriteTestFile(folder_ / Temp(kFirst), "half");
  const fs::path away = temp_.Root() / "away";
  fs::rename(folder_, away);
  EXPECT_TRUE(Heal().empty());
  // The empty folder that it is mounted on is not the disk.
  fs::create_directory(folder_);
  EXPECT_TRUE(Heal().empty());
  {
    // A run meanwhile uses the journal, too, and keeps the record.
    SetClock clock{2009, 9, 23, 15, 4, 5};
    StagingJournal journal(temp_.Files());
    TempNames names(clock, &journal, u"D:\\other\\");
    EXPECT_TRUE(TempNumber(names.Next()));
  }
  fs::remove(folder_);
  fs::rename(away, folder_);
  EXPECT_EQ(Heal(), std::vector{Healing::PartRemoved});
  EXPECT_FALSE(fs::exists(journal_));
}

TEST_F(StagingJournalTest, WhatCannotBeReadIsNotWrittenOver) {
  WriteTestFile(journal_ / "x", "a folder in its place");
  StagingJournal journal(temp_.Files());
  EXPECT_EQ(journal.BeginFiles(u"D:\\dst\\", 1), StagingJournal::kNoRecord);
  fs::remove_all(journal_);
  Killed();
  const std::string text = ReadTestFile(journal_);
  for (std::size_t length = 0; length < text.size(); ++length) {
    WriteTestFile(journal_, text.substr(0, length));
    EXPECT_TRUE(Heal().empty()) << length;
    EXPECT_EQ(ReadTestFile(folder_ / "a"), "old");
  }
}

}  // namespace
}  // namespace kavrel
