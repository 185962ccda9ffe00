#include <gtest/gtest.h>
#include <sys/stat.h>

#include "base/text.h"
#include "files/path_set.h"
#include "support/command.h"
#include "support/test_program.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

/// A backup of a small tree, as a folder or as an archive; the source is gone.
class RestorePickedTest : public testing::TestWithParam<BackupType>, protected TestProgram {
 protected:
  void SetUp() override {
    for (const char* name :
         {"a", "b", "docs/報告 1.txt", "docs/old/2.txt", "docs/old/3.txt", "docsX", "pics/one"}) {
      WriteTestFile(Source() / name, std::string("content of ") + name);
      SetWritten(Source() / name, {1253718245, 0});
    }
    fs::create_symlink("old/2.txt", Source() / "docs" / "link");
    AddJob(GetParam());
    ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    fs::rename(Source(), Kept());
  }
  fs::path Kept() const { return Temp.Root() / "kept"; }

  const LastRunResult& Restore(std::initializer_list<std::u16string_view> paths,
                               std::u16string_view target = {}, bool replace_newer = false) {
    RestorePick pick;
    for (const std::u16string_view path : paths) pick.Paths.Add(path);
    pick.Target = target;
    pick.ReplaceNewer = replace_newer;
    EXPECT_EQ(Program.RunRestorePickedNow(0, pick, NewestArchive), RunOutcome::Ran);
    return Program.Store.Jobs[0].LastRunResult;
  }
};

TEST_P(RestorePickedTest, OnlyWhatWasPickedComesBack) {
  EXPECT_EQ(Restore({u"docs", u"pics/one"}).CopiedFiles, 5U) << LogLines();
  EXPECT_FALSE(fs::exists(Source() / "a"));
  EXPECT_FALSE(fs::exists(Source() / "docsX"));
  EXPECT_EQ(ReadTestFile(Source() / "pics/one"), "content of pics/one");
  EXPECT_EQ(fs::read_symlink(Source() / "docs/link"), "old/2.txt");
  EXPECT_EQ(RunCommand({"/usr/bin/diff", "-r", Kept() / "docs", Source() / "docs"}).ExitCode, 0);
  // Once more: all is there already.
  const LastRunResult& again = Restore({u"docs/old", u"pics/one", u"pics/none", u"none/x"});
  EXPECT_EQ(again.UnchangedFiles, 3U) << LogLines();
  EXPECT_EQ(again.CopiedFiles, 0U);
  EXPECT_EQ(again.FailedFiles, 2U);
  EXPECT_NE(LogLines().find(": 備份中找不到檔案 (失敗)：pics/none"), std::string::npos);
  EXPECT_FALSE(fs::exists(Source() / "none"));
}

TEST_P(RestorePickedTest, AnotherFolderKeepsItsOwnRightsAndNewerFilesStay) {
  const fs::path target = Temp.DriveD() / "mine";
  WriteTestFile(target / "docs/old/2.txt", "newer");
  WriteTestFile(target / "docs/old/3.txt", "older");
  SetWritten(target / "docs/old/3.txt", {1000000000, 0});
  chmod(target.c_str(), 0705);
  chmod((target / "docs").c_str(), 0705);
  const LastRunResult& result = Restore({u"docs/old", u"a"}, u"D:\\mine");
  EXPECT_EQ(result.CopiedFiles, 2U) << LogLines();
  EXPECT_EQ(result.UnchangedFiles, 1U);
  EXPECT_EQ(result.FailedFiles, 0U);
  EXPECT_EQ(Program.Context.Report.Counters.NewerFiles, 1U);
  EXPECT_NE(LogLines().find(": 保留較新的檔案 (成功)：D:\\mine\\docs"), std::string::npos)
      << LogLines();
  EXPECT_EQ(ReadTestFile(target / "docs/old/2.txt"), "newer");
  // A folder in its place is no newer file.
  WriteTestFile(target / "pics/one/inside", "x");
  EXPECT_EQ(Restore({u"pics/one"}, u"D:\\mine").FailedFiles, 1U);
  EXPECT_EQ(Program.Context.Report.Counters.NewerFiles, 0U);
  EXPECT_EQ(ReadTestFile(target / "docs/old/3.txt"), "content of docs/old/3.txt");
  for (const fs::path& folder : {target, target / "docs"}) {
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms(0705)) << folder;
  }
  EXPECT_FALSE(fs::exists(Source()));
  // What only seems to be the same comes back as well.
  const fs::path spoilt = target / "docs/old/3.txt";
  const auto time = fs::last_write_time(spoilt);
  WriteTestFile(spoilt, "Content of docs/old/3.txt");
  fs::last_write_time(spoilt, time);
  EXPECT_EQ(Restore({u"docs/old"}, u"D:\\mine", true).CopiedFiles, 2U);
  EXPECT_EQ(ReadTestFile(spoilt), "content of docs/old/3.txt");
  EXPECT_EQ(ReadTestFile(target / "docs/old/2.txt"), "content of docs/old/2.txt");
}

TEST_P(RestorePickedTest, EverythingToAFolderAroundTheBackupAndNeverThroughALink) {
  EXPECT_EQ(Restore({u""}, u"D:\\").CopiedFiles, 8U) << LogLines();
  EXPECT_EQ(ReadTestFile(Temp.DriveD() / "docs/old/3.txt"), "content of docs/old/3.txt");
  const fs::path outside = Temp.Root() / "outside";
  fs::create_directories(outside);
  fs::create_directories(Temp.DriveD() / "trap");
  fs::create_directory_symlink(outside, Temp.DriveD() / "trap/docs");
  EXPECT_GE(Restore({u"docs"}, u"D:\\trap").FailedFiles, 1U);
  EXPECT_TRUE(fs::is_empty(outside));
}

INSTANTIATE_TEST_SUITE_P(Types, RestorePickedTest,
                         testing::Values(BackupType::Full, BackupType::Compressed));

TEST(PathSet, HoldsWhatLiesInAFolder) {
  PathSet set;
  for (const char16_t* path : {u"a/b", u"a/c/d", u"e"}) set.Add(path);
  EXPECT_TRUE(set.Holds(u"a/b") && set.Holds(u"a/b/x/y") && set.Holds(u"e"));
  EXPECT_FALSE(set.Holds(u"a") || set.Holds(u"a/bb") || set.Holds(u"") || set.Holds(u"a/c"));
  EXPECT_TRUE(set.LeadsTo(u"") && set.LeadsTo(u"a") && set.LeadsTo(u"a/c"));
  EXPECT_FALSE(set.LeadsTo(u"a/b") || set.LeadsTo(u"e") || set.LeadsTo(u"a/"));
  set.RemoveBelow(u"a");
  EXPECT_EQ(set.Paths().size(), 1U);
  set.Add(u"");
  EXPECT_TRUE(set.Holds(u"anything/at all"));
  set.RemoveBelow(u"");
  EXPECT_EQ(*set.HolderOf(u"e"), u"");
}

}  // namespace
}  // namespace kavrel
