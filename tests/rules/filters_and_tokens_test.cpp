#include <gtest/gtest.h>

#include "base/text.h"
#include "platform/code_page.h"
#include "rules/date_tokens.h"
#include "rules/default_files.h"
#include "rules/file_filters.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

TEST(FileFilters, DefaultsCommentsSpacesAndEmptyEntries) {
  const TempFolder temp;
  const fs::path path = temp.Home() / "FileType.txt";
  FilterTable table(temp.Files());
  table.LoadFilters();
  EXPECT_EQ(ReadTestFile(path).size(), 713U);
  ASSERT_EQ(table.Entries.size(), 10U);
  EXPECT_EQ(table.Entries[0].Name, u"所有檔案 (*.*)");
  EXPECT_EQ(table.Entries[3].Name, u"網頁檔案");
  EXPECT_NE(table.Entries[3].Patterns.find(u"*.shmtl"), std::u16string::npos);

  WriteTestFile(path,
                EncodeTextFile(u"# c\r\n; c\r\n 名 \t *.a ;*.b\tmore\r\nno tab\r\nempty\t\r\n"));
  table.LoadFilters();
  ASSERT_EQ(table.Entries.size(), 3U);
  EXPECT_EQ(table.Entries[1].Name, u" 名 ");
  EXPECT_EQ(table.SaveFilters(), 0);
  EXPECT_EQ(DecodeTextFile(ReadTestFile(path)), u" 名 \t *.a ;*.b\r\n");

  WriteTestFile(path, "# only a comment\r\n");
  table.LoadFilters();
  EXPECT_EQ(table.Entries.size(), 1U);
  EXPECT_EQ(table.SaveFilters(), 0);
  EXPECT_EQ(ReadTestFile(path), "");

  fs::remove(path);
  fs::create_directory(path);
  table.LoadFilters();
  EXPECT_EQ(table.Entries.size(), 1U);
  EXPECT_NE(table.SaveFilters(), 0);
}

TEST(FileFilters, PatternListsMatchWithCase) {
  EXPECT_TRUE(MatchesPatternList(u"x.tmp", u"*.bak;*.tmp"));
  EXPECT_FALSE(MatchesPatternList(u"x.TMP", u"*.bak;*.tmp"));
  EXPECT_TRUE(MatchesPatternList(u"none", u"*.*"));
  EXPECT_TRUE(MatchesPatternList(u"none", u"  "));
  EXPECT_FALSE(MatchesPatternList(u"none", u"*.a;"));
}

TEST(DateTokens, ExpandAsTheirTableSays) {
  SetClock clock(2009, 9, 23, 15, 4, 5);
  const struct {
    std::u16string_view Path, Expected;
  } cases[] = {
      {u"D:\\Backup\\<yy>-<mm>-<dd>\\", u"D:\\Backup\\09-09-23\\"},
      {u"D:\\Backup\\<yyyy><mm><dd>_<hh><nn><ss>\\", u"D:\\Backup\\20090923_150405\\"},
      {u"D:\\B\\<y>\\<m>\\<d>\\", u"D:\\B\\2009\\9\\23\\"},
      {u"D:\\B\\<q>\\<qtr>\\<QUARTER>\\", u"D:\\B\\3\\3\\3\\"},
      {u"D:\\B\\<doy>\\<ddoy>\\<jjj>\\<julian>\\", u"D:\\B\\266\\266\\266\\266\\"},
      {u"D:\\B\\<woy>\\<wwoy>\\<wom>\\", u"D:\\B\\38\\38\\4\\"},
      {u"D:\\B\\<dow>\\<w>\\<x>\\", u"D:\\B\\4\\4\\4\\"},
      {u"D:\\B\\<date>\\", u"D:\\B\\23ate\\"},
      {u"D:\\B \\ <dd>\\", u"D:\\B\\23\\"},
      {u"D:\\B\\<dd", u"D:\\B\\<dd"},
      {u"D:\\B\\<>\\", u"D:\\B\\\\"},
      {u"D:\\B\\dd\\", u"D:\\B\\dd\\"},
      {u"D:\\<day>\\<Month>\\<yyyy年m月>\\", u"D:\\週三\\九月\\2009年9月\\"},
      {u"a>b<h><", u"a>b15<"},
      {u"<<dd>", u"<23"},
      {u"D:\\B <>\\x", u"D:\\B\\x"},
      {u"/mnt/b /<yyyy> /", u"/mnt/b /2009 /"},
      {u"", u""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ExpandDateTokens(c.Path, clock), c.Expected) << ToUtf8(c.Path);
  }
  clock.Set(*FromCivil(2012, 1, 1, 0, 0, 0));
  EXPECT_EQ(ExpandDateTokens(u"<ddoy> <wwoy> <dow> <h> <yy>", clock), u"001 01 1 0 12");
  std::u16string many;
  for (int i = 0; i < 3000; ++i) many += u"<d>";
  EXPECT_EQ(ExpandDateTokens(many, clock), std::u16string(3000, u'1'));
}

TEST(DatedPaths, TellWhichFoldersRunsHaveMadeAndWhen) {
  SetClock clock(2009, 11, 3, 15, 4, 5);
  // Whatever a path expands to, its pattern takes, and tells the moment as far as its tags do.
  const struct {
    std::u16string_view Path, Fixed;
    std::optional<DateTime> Date;
  } cases[] = {
      {u"D:\\b\\<yyyy>\\in <month><d>\\x\\", u"D:\\b\\", FromCivil(2009, 11, 3)},
      {u"/b/a<yy-mm-dd>/<hh>_<nn>_<ss>", u"/b/", FromCivil(2009, 11, 3, 15, 4, 5)},
      {u"/b/<yyyyddoy>", u"/b/", FromCivil(2009, 11, 3)},
      {u"/b/<yyyy/mm>/<dd>", u"/b/", FromCivil(2009, 11, 3)},
      {u"/b/<day>", u"/b/", std::nullopt},
      {u"D:\\<mm>-<dd>\\", u"D:\\", std::nullopt},
  };
  for (const auto& c : cases) {
    const DatedPath path(c.Path);
    EXPECT_EQ(path.Fixed(), c.Fixed) << ToUtf8(c.Path);
    std::u16string given = ExpandDateTokens(c.Path, clock).substr(c.Fixed.size());
    if (given.ends_with(c.Path.back()) && c.Path.back() != u'>') given.pop_back();
    const std::vector<std::u16string_view> names = Split(given, c.Fixed[0] == u'/' ? u'/' : u'\\');
    ASSERT_EQ(names.size(), path.Depth()) << ToUtf8(c.Path);
    DatedPath::Moment told;
    for (std::size_t i = 0; i < names.size(); ++i) {
      EXPECT_TRUE(path.Takes(i, names[i], told)) << ToUtf8(names[i]);
    }
    EXPECT_EQ(told.Date(), c.Date) << ToUtf8(c.Path);
  }
  const DatedPath path(u"/b/<mm>-<d>/x");
  for (const char16_t* other : {u"9-3", u"009-3", u"09-03", u"09-", u"09-3 copy", u"ab-3", u""}) {
    DatedPath::Moment told;
    EXPECT_FALSE(path.Takes(0, other, told)) << ToUtf8(other);
  }
  EXPECT_EQ(path.NameAt(0), u"");
  EXPECT_EQ(path.NameAt(1), u"x");
  EXPECT_EQ(DatedPath(u"/b/c").Fixed(), u"/b/c/");
}

}  // namespace
}  // namespace kavrel
