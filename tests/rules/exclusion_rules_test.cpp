#include "rules/exclusion_rules.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "platform/code_page.h"
#include "rules/default_files.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class ExclusionTest : public testing::Test {
 protected:
  TempFolder temp_;
  ExclusionSet set_{temp_.Files(), [](std::u16string_view path) {
                      return path.starts_with(u"/media/usb/") ? u"/media/usb" : u"";
                    }};
  fs::path path_ = temp_.Home() / "Exc.txt";

  ExclusionTest() { set_.ExcEnabled = true; }

  void Load(std::u16string_view text) {
    WriteTestFile(path_, EncodeTextFile(text));
    set_.LoadExclusions();
  }
};

TEST_F(ExclusionTest, DefaultsAreMadeWhenTheFileIsMissingOrNearlyEmpty) {
  EXPECT_EQ(DefaultFile("EXCLUSIONS").size(), 536U);
  set_.LoadExclusions();
  EXPECT_EQ(ReadTestFile(path_), DefaultFile("EXCLUSIONS"));
  ASSERT_EQ(set_.Rules().size(), 14U);
  EXPECT_EQ(set_.Rules()[1].Desc, u"資源回收筒Vista");
  EXPECT_EQ(set_.Rules()[1].FolderMatch, u"\\$recycle.bin\\");
  EXPECT_TRUE(set_.Rules()[13].Enabled);
  WriteTestFile(path_, "# 3456789");
  set_.LoadExclusions();
  EXPECT_EQ(set_.Rules().size(), 14U);
  Load(u"# a long comment and nothing else, so no rule\r\n");
  EXPECT_EQ(set_.Rules().size(), 0U);
  WriteTestFile(path_, std::string(DefaultFile("EXCLUSIONS")) + std::string(900, 'x'));
  EXPECT_TRUE(set_.RestoreDefaults());
  EXPECT_EQ(ReadTestFile(path_), DefaultFile("EXCLUSIONS"));
}

TEST_F(ExclusionTest, DefaultRulesOnPathsOfEveryForm) {
  set_.LoadExclusions();
  const struct {
    std::u16string_view Path;
    bool Folder, Excluded;
  } cases[] = {
      {u"C:\\pagefile.sys", false, true},
      {u"D:\\a\\b\\PAGEFILE.SYS", false, true},
      {u"C:\\RECYCLER", true, true},
      {u"C:\\Data\\Recycler\\", true, false},
      {u"C:\\Data\\Temp\\", true, true},
      {u"C:\\Data\\MyTemp\\", true, false},
      {u"C:\\Data\\Temp\\x.txt", false, true},
      {u"C:\\Data\\Temp\\sub\\x.txt", false, false},
      {u"C:\\Documents and Settings\\u\\Local Settings\\Temp\\x.tmp", false, true},
      {u"\\\\server\\share\\Temp\\x.txt", false, true},
      {u"\\\\server\\Recycler\\", true, true},
      {u"/home/u/Temp/", true, true},
      {u"/home/u/temp/x", false, true},
      {u"/home/u/Thumbs.db", false, true},
      {u"/Recycler/", true, true},
      {u"/home/Recycler/", true, false},
      {u"/media/usb/Recycler/", true, true},  // the root of its disk
      {u"/home/u/a\\Temp\\b", false, false},  // a name with backslashes is one name
      {u"   ", false, true},
      {u"/home/u/ok", false, false},
      {u"/:/Temp/", true, true},  // no drive
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.Folder ? set_.IsFolderExcluded(c.Path) : set_.IsFileExcluded(c.Path), c.Excluded)
        << ToUtf8(c.Path);
  }
  set_.ExcEnabled = false;
  EXPECT_FALSE(set_.IsFileExcluded(u"C:\\pagefile.sys"));
  EXPECT_FALSE(set_.IsFolderExcluded(u"C:\\Recycler\\"));
}

TEST_F(ExclusionTest, PatternsOfAllKinds) {
  EXPECT_EQ(NormalizeFolderPattern(u" Temp "), u"*\\temp\\*");
  EXPECT_EQ(NormalizeFolderPattern(u"\\Data"), u"\\data\\*");
  EXPECT_EQ(NormalizeFolderPattern(u"*cache*"), u"*cache*");
  EXPECT_EQ(NormalizeFolderPattern(u""), u"*\\");
  EXPECT_EQ(NormalizeFolderPattern(u"\\"), u"\\");

  const struct {
    std::u16string_view Rule;  // drive, folder, file
    std::u16string_view Path;
    bool Excluded;
  } cases[] = {
      {u"*\t\\\t*", u"C:\\x.txt", true},
      {u"*\t\\\t*", u"C:\\a\\x.txt", false},
      {u"c:\t\t*", u"C:\\a\\b\\x", true},
      {u"c:\t\t*", u"D:\\a\\b\\x", false},
      {u"*\tData\t*", u"C:\\Data\\deep\\er\\x", true},
      {u"*\t*\t*.[ch]", u"C:\\a\\x.C", true},
      {u"*\t*\treport#.doc", u"/d/Report7.DOC", true},
      {u"*\t*\treport#.doc", u"/d/ReportA.DOC", false},
      {u"*\t*\t[broken.txt", u"/d/[broken.txt", true},
      {u"*\t*\t[z-a]x", u"/d/[z-a]x", true},
      {u"\\\\server\t*\t*", u"\\\\SERVER\\share\\x", true},
      {u"\\\\server\\Share\t\\top\\\t*", u"\\\\SERVER\\share\\Top\\x", true},
      {u"\\\\server\\share\t\\top\\\t*", u"\\\\server\\share2\\top\\x", false},
      {u"\\\\server\\share\t\\\t*", u"\\\\server\\share\\x", true},
      {u"/media/usb\t\\keep\\\t*", u"/media/usb/keep/x", true},
      {u"[a-d]:\t*\t*", u"B:\\x", true},
      {u"*\t*\t*", u"/anything/at/all", true},
      {u"*\t只有四欄", u"/anything", false},
  };
  for (const auto& c : cases) {
    Load(u"a rule\tTrue\t" + std::u16string(c.Rule) + u"\r\n");
    EXPECT_EQ(set_.IsFileExcluded(c.Path), c.Excluded)
        << ToUtf8(c.Rule) << " on " << ToUtf8(c.Path);
  }
}

TEST_F(ExclusionTest, SavingKeepsTheHeadAndDropsLaterComments) {
  Load(
      u"# head\r\n\r\n一\tFalse\t*\tTemp\t\r\n; later\r\n二\tnonsense\t\t\\\t*.tmp\textra\r\n"
      u"三\t-1\tC:\t*\t*\r\n四\t?\tC:\t*\t*");
  ASSERT_EQ(set_.Rules().size(), 4U);
  EXPECT_FALSE(set_.Rules()[1].Enabled) << "takes the state of the rule before it";
  EXPECT_TRUE(set_.Rules()[3].Enabled);
  std::vector<ExclusionRule> rules = set_.Rules();
  rules[0].Desc = u"一\t壹";
  rules[3].Drive = rules[3].File = kEverythingShown;
  rules[3].Folder = u"Data";
  ASSERT_TRUE(set_.SaveExclusions(rules));
  EXPECT_EQ(DecodeTextFile(ReadTestFile(path_)),
            u"# head\r\n\r\n一 壹\tFalse\t*\tTemp\\\t*\r\n二\tFalse\t*\t\\\t*.tmp\r\n"
            u"三\tTrue\tC:\t*\t*\r\n四\tTrue\t*\tData\\\t*\r\n");
  EXPECT_EQ(set_.Rules()[0].FolderMatch, u"*\\temp\\");

  // A list without rules stays one: it must not look like a damaged file.
  Load(u"only\tTrue\t*\tTemp\\\t*\r\n");
  ASSERT_TRUE(set_.SaveExclusions({}));
  set_.LoadExclusions();
  EXPECT_TRUE(set_.Rules().empty());
  ASSERT_TRUE(set_.SaveExclusions(rules));
  EXPECT_TRUE(DecodeTextFile(ReadTestFile(path_)).starts_with(u"一"));
}

TEST_F(ExclusionTest, AFileThatCannotBeReadOrWrittenIsLeftAlone) {
  fs::create_directory(path_);
  set_.LoadExclusions();
  EXPECT_TRUE(set_.Rules().empty());
  EXPECT_FALSE(set_.SaveExclusions({ExclusionRule{}}));
  EXPECT_TRUE(fs::is_directory(path_));
}

}  // namespace
}  // namespace kavrel
