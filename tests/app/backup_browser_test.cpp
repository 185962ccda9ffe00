#include "app/backup_browser.h"

#include <gtest/gtest.h>

#include "support/test_program.h"

namespace kavrel {
namespace {

std::u16string Names(const std::vector<BackupItem>& items) {
  std::u16string text;
  for (const BackupItem& item : items) text += item.Name + (item.IsFolder ? u"/ " : u" ");
  return text;
}

std::u16string Text(const PathSet& set) {
  std::u16string text;
  for (const std::u16string& path : set.Paths()) (text += path) += u' ';
  return text;
}

TEST(BackupBrowser, ShowsAFolderAndAnArchiveAlike) {
  TestProgram test;
  for (const char* name : {"b", "a", "docs/old/x", "docs/報告", "z/y"}) {
    WriteTestFile(test.Source() / name, "12345");
    SetWritten(test.Source() / name, {1253718245, 0});
  }
  for (const BackupType type : {BackupType::Full, BackupType::Compressed}) {
    BackupJob& job = test.AddJob(type);
    job.Destination.Path = type == BackupType::Full ? u"D:\\plain\\" : u"D:\\packed\\";
    ASSERT_EQ(test.Program.RunJobNow(job.JobIndex), RunOutcome::Ran);
  }
  const auto archive =
      test.Program.Archiver.SevenZipOpenArchive(u"D:\\packed\\2009年09月23日15時.7z");
  ASSERT_TRUE(archive);
  const auto plain = BrowseFolder(test.Temp.Files(), u"D:\\plain\\");
  const auto packed = BrowseArchive(*archive);
  for (const BackupBrowser* browser : {plain.get(), packed.get()}) {
    EXPECT_EQ(Names(browser->List(u"")), u"docs/ z/ a b ");
    std::vector<BackupItem> items = browser->List(u"docs");
    EXPECT_EQ(Names(items), u"old/ 報告 ");
    browser->Look(u"docs", items[1]);
    EXPECT_EQ(items[1].Size, 5U);
    EXPECT_EQ(items[1].Written.Seconds, 1253718245);
    EXPECT_TRUE(browser->List(u"none").empty());

    BackupSearch search(*browser, u"O");
    while (search.Advance(0)) {
    }
    ASSERT_EQ(search.Hits().size(), 2U);
    EXPECT_EQ(search.Hits()[1].Folder, u"docs");
    EXPECT_EQ(search.Hits()[1].Item.Name, u"old");

    PathSet picked;
    SetPicked(picked, u"docs/old/x", true, *browser);
    EXPECT_EQ(PickStateOf(picked, u"docs"), PickState::Some);
    SetPicked(picked, u"docs", true, *browser);
    EXPECT_EQ(Text(picked), u"docs ");
    EXPECT_EQ(PickStateOf(picked, u"docs/old/x"), PickState::Yes);
    SetPicked(picked, u"", true, *browser);
    SetPicked(picked, u"docs/old/x", false, *browser);
    EXPECT_EQ(Text(picked), u"a b docs/報告 z ");
    EXPECT_EQ(PickStateOf(picked, u"docs/old"), PickState::No);
    SetPicked(picked, u"docs", false, *browser);
    EXPECT_EQ(Text(picked), u"a b z ");
  }
  EXPECT_EQ(BrowseFolder(test.Temp.Files(), u"D:\\none\\"), nullptr);
}

}  // namespace
}  // namespace kavrel
