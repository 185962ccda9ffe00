#include "files/path.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "files/error_text.h"

namespace kavrel {
namespace {

TEST(Path, FormDecidesKindSeparatorFolderAndName) {
  const struct {
    std::u16string_view Path;
    int Kind;
    char16_t Separator;
    std::u16string_view Folder, Name;
    bool Root;
  } cases[] = {
      {u"C:\\Data\\a.txt", 1, u'\\', u"C:\\Data\\", u"a.txt", false},
      {u"C:\\Data\\", 1, u'\\', u"C:\\", u"", false},
      {u"C:\\", 1, u'\\', u"", u"", true},
      {u"\\\\server\\share\\x", 2, u'\\', u"\\\\server\\share\\", u"x", false},
      {u"\\\\server\\", 2, u'\\', u"", u"", true},
      {u"\\\\server\\share\\", 2, u'\\', u"\\\\server\\", u"", false},
      {u"FTP://host/x", 3, u'/', u"", u"x", false},
      {u"/home/u/文件/", 1, u'/', u"/home/u/", u"", false},
      {u"/a\\b/c", 1, u'/', u"/a\\b/", u"c", false},
      {u"/", 1, u'/', u"", u"", true},
      {u"", 1, u'\\', u"", u"", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(ToUtf8(c.Path));
    EXPECT_EQ(PathKind(c.Path), c.Kind);
    EXPECT_EQ(PathSeparator(c.Path), c.Separator);
    EXPECT_EQ(PathFolder(c.Path), c.Folder);
    EXPECT_EQ(PathName(c.Path), c.Name);
    EXPECT_EQ(IsRootPath(c.Path), c.Root);
  }
}

TEST(Path, DrivesAndSharesAreToldFromOtherPaths) {
  EXPECT_EQ(DriveOf(u"c:\\Data\\"), u"C:");
  EXPECT_EQ(DriveOf(u"C:"), u"C:");
  EXPECT_EQ(DriveOf(u"\\\\Nas\\Data\\x\\"), u"\\\\Nas\\Data");
  for (const char16_t* none :
       {u"\\\\nas", u"\\\\nas\\", u"\\\\\\x", u"/c:/x", u"1:\\", u"ftp://h/x", u""}) {
    EXPECT_EQ(DriveOf(none), u"") << ToUtf8(none);
  }
}

TEST(Path, TrailingSeparatorIsOfThePathsOwnKind) {
  EXPECT_EQ(AddBackslash(u"C:\\x"), u"C:\\x\\");
  EXPECT_EQ(AddBackslash(u"/x"), u"/x/");
  EXPECT_EQ(AddBackslash(u"/x\\"), u"/x\\/");
  EXPECT_EQ(AddBackslash(u""), u"\\");
  EXPECT_EQ(DropBackslash(u"/x/"), u"/x");
  EXPECT_EQ(JoinPath(u"D:\\Log\\", u"a"), u"D:\\Log\\a");
}

TEST(Path, BlanksAtBackslashesGoButBelongToPosixNames) {
  EXPECT_EQ(WithoutBlanksAtSeparators(u"D:\\Backup \\ 2009  \\ "), u"D:\\Backup\\2009\\");
  EXPECT_EQ(WithoutBlanksAtSeparators(u"/a / b\\ c/"), u"/a / b\\ c/");
}

TEST(Path, OnlyPosixPathsTellLettersApart) {
  EXPECT_TRUE(PathStartsWith(u"D:\\BACKUP\\c\\", u"d:\\backup"));
  EXPECT_FALSE(PathStartsWith(u"/home/u/Backup/", u"/home/u/backup"));
  EXPECT_TRUE(PathStartsWith(u"/home/u/backup/", u"/home/u/backup"));
}

TEST(ErrorText, NamesCodeAndMessage) {
  EXPECT_EQ(ApiErrorText(0), u"檔案可能正在執行中...");
  EXPECT_EQ(ApiErrorText(13), u"錯誤：13 - Permission denied");
  EXPECT_EQ(ApiErrorText(99999), u"錯誤： 99999 - 未知錯誤");
  RunState state;
  EXPECT_EQ(FailText(state, 28, u"Could Not Write Destination File", u"D:\\x"),
            u"Could Not Write Destination File (錯誤：28 - No space left on device): D:\\x");
  EXPECT_EQ(state.LastApiError, 28);
}

}  // namespace
}  // namespace kavrel
