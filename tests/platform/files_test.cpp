#include "platform/files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "base/text.h"
#include "platform/error_codes.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

TEST(FileSystem, DrivesAndSharesLieBelowTheProgramFolderAndNothingElseExists) {
  const TempFolder temp;
  const FileSystem& files = temp.Files();
  WriteTestFile(temp.DriveC() / "資料" / "x.txt", "x");
  WriteTestFile(temp.Home() / "drives/unc/server/share/y.txt", "yy");
  EXPECT_EQ(files.Status(u"c:\\資料\\x.txt")->Size, 1U);
  EXPECT_EQ(files.Status(u"\\\\SERVER\\Share\\y.txt")->Size, 2U);
  EXPECT_TRUE(files.FolderExists(u"C:\\資料\\"));
  for (const std::u16string_view path : {u"Z:\\", u"\\\\other\\share\\", u"\\\\server\\",
                                         u"ftp://host/x/", u"relative\\x", u"", u"1:\\x"}) {
    EXPECT_FALSE(files.FolderExists(path)) << ToUtf8(path);
    EXPECT_FALSE(files.MakeFolders(path)) << ToUtf8(path);
  }
  EXPECT_FALSE(fs::exists(temp.Home() / "drives" / "z"));
  EXPECT_TRUE(files.MakeFolders(u"D:\\a\\b\\c\\"));
  EXPECT_TRUE(fs::is_directory(temp.DriveD() / "a/b/c"));
}

TEST(FileSystem, PathsFarBeyondTheSystemsLimitWork) {
  const TempFolder temp;
  std::u16string path = TempFolder::Text(temp.DriveC());
  for (int i = 0; i < 30; ++i) path += u"/" + std::u16string(200, u'n');
  ASSERT_GT(path.size(), 6000U);
  const Result<Folder> made = temp.Files().MakeFolders(path);
  ASSERT_TRUE(made) << made.Error;
  ASSERT_TRUE(made->MakeFile(u"deep.txt", FileStatus{}));
  EXPECT_TRUE(temp.Files().FolderExists(path));
  EXPECT_TRUE(temp.Files().Status(path + u"/deep.txt"));
  EXPECT_EQ(temp.Files().Status(path + u"/other.txt").Error, kErrNotFound);
}

TEST(FileSystem, ReplacingAFileIsAllOrNothing) {
  const TempFolder temp;
  const FileSystem& files = temp.Files();
  const fs::path path = temp.Home() / "Backup.rtm";
  const std::u16string text = TempFolder::Text(path);
  EXPECT_EQ(files.ReplaceWhole(text, "first"), 0);
  EXPECT_EQ(files.Status(text)->Mode, 0600U);
  ASSERT_EQ(chmod(path.c_str(), 0664), 0);
  // What a killed process left behind is taken over.
  WriteTestFile(temp.Home() / ".Backup.rtm.tmp", std::string(1000, 'x'));
  EXPECT_EQ(files.ReplaceWhole(text, "second"), 0);
  EXPECT_EQ(*files.ReadWhole(text), "second");
  EXPECT_EQ(files.Status(text)->Mode, 0664U);
  EXPECT_FALSE(fs::exists(temp.Home() / ".Backup.rtm.tmp"));

  fs::create_symlink("Backup.rtm", temp.Home() / "link.rtm");
  EXPECT_EQ(files.ReplaceWhole(TempFolder::Text(temp.Home() / "link.rtm"), "third"), 0);
  EXPECT_TRUE(fs::is_symlink(temp.Home() / "link.rtm"));
  EXPECT_EQ(ReadTestFile(path), "third");

  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  EXPECT_EQ(files.ReplaceWhole(text, "fourth"), kErrAccess);
  EXPECT_EQ(ReadTestFile(path), "third");
  EXPECT_EQ(files.ReplaceWhole(TempFolder::Text(temp.DriveC()), "x"), kErrIsFolder);
  EXPECT_EQ(files.ReadWhole(TempFolder::Text(temp.DriveC())).Error, kErrIsFolder);
  EXPECT_EQ(files.ReadWhole(text, 2).Error, kErrTooLarge);
  ASSERT_EQ(mkfifo((temp.Home() / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(files.ReadWhole(TempFolder::Text(temp.Home() / "pipe")).Error, kErrInvalid);
}

TEST(Folder, ListsEveryEntryOnceWithItsKindWhileEntriesAreRemoved) {
  const TempFolder temp;
  std::set<std::u16string> expected;
  for (int i = 0; i < 3000; ++i) {
    const std::string name = "檔案 " + std::to_string(i);
    WriteTestFile(temp.DriveC() / name, "");
    expected.insert(FromUtf8(name));
  }
  const std::string raw = "bad\xff\xc3name\n\"";
  WriteTestFile(temp.DriveC() / raw, "");
  expected.insert(FromUtf8(raw));
  fs::create_symlink("x", temp.DriveC() / "link");
  fs::create_directory(temp.DriveC() / "folder");
  ASSERT_EQ(mkfifo((temp.DriveC() / "pipe").c_str(), 0600), 0);

  const Result<Folder> folder = temp.Files().OpenFolder(u"C:\\");
  ASSERT_TRUE(folder);
  std::set<std::u16string> found;
  FolderReader reader(*folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (entry->Name == u"link") {
      EXPECT_EQ(entry->Kind, FileKind::Link);
    } else if (entry->Name == u"folder") {
      EXPECT_EQ(entry->Kind, FileKind::Folder);
    } else if (entry->Name == u"pipe") {
      EXPECT_EQ(entry->Kind, FileKind::Special);
    } else {
      EXPECT_TRUE(found.insert(entry->Name).second);
      EXPECT_EQ(folder->RemoveFile(entry->Name), 0);
    }
  }
  EXPECT_EQ(reader.Error(), 0);
  EXPECT_EQ(found, expected);
  EXPECT_FALSE(fs::exists(temp.DriveC() / raw));
}

TEST(Folder, ListsALargeFolderWholeWhileOthersListIt) {
  const TempFolder temp;
  constexpr std::size_t kMany = 4000;  // Several times what the system gives at once.
  for (std::size_t i = 0; i < kMany; ++i) {
    WriteTestFile(temp.DriveC() / "many" / ("a file of a large folder " + std::to_string(i)), "");
  }
  for (const auto mode : {fs::perms::owner_all, fs::perms::owner_read}) {
    const Result<Folder> folder = temp.Files().OpenFolder(u"C:\\many");
    fs::permissions(temp.DriveC() / "many", mode);
    ASSERT_TRUE(folder);
    std::set<std::u16string> found;
    FolderReader reader(*folder);
    while (const FolderEntry* entry = reader.Next()) {
      found.insert(entry->Name);
      if (found.size() % 1000 != 1) continue;
      FolderReader other(*folder);
      std::size_t count = 0;
      while (other.Next()) ++count;
      EXPECT_EQ(count, kMany);
    }
    EXPECT_EQ(found.size(), kMany);
    fs::permissions(temp.DriveC() / "many", fs::perms::owner_all);
  }
}

TEST(Folder, AFileGetsOneMoreNameAndKeepsItWhenTheOtherIsReplaced) {
  const TempFolder temp;
  WriteTestFile(temp.DriveC() / "one", "content");
  WriteTestFile(temp.DriveC() / "new", "another");
  const Result<Folder> from = temp.Files().OpenFolder(u"C:\\"),
                       to = temp.Files().OpenFolder(u"D:\\");
  ASSERT_TRUE(from && to);
  EXPECT_EQ(to->LinkFile(*from, u"one", u"two"), 0);
  EXPECT_TRUE(IsTaken(to->LinkFile(*from, u"one", u"two")));
  EXPECT_TRUE(IsNotFound(to->LinkFile(*from, u"none", u"three")));
  EXPECT_NE(to->LinkFile(*from, u"one", u"../three"), 0);
  EXPECT_EQ(to->Status(u"two")->Links, 2U);
  EXPECT_EQ(to->Status(u"two")->Id, from->Status(u"one")->Id);
  EXPECT_EQ(from->Replace(u"new", u"one"), 0);
  EXPECT_EQ(ReadTestFile(temp.DriveD() / "two"), "content");
  EXPECT_EQ(to->Status(u"two")->Links, 1U);
}

TEST(Folder, TakesSingleNamesOnlyAndFollowsNoLink) {
  const TempFolder temp;
  WriteTestFile(temp.Root() / "outside" / "file", "x");
  fs::create_symlink(temp.Root() / "outside", temp.DriveC() / "link");
  fs::create_symlink(temp.Root() / "outside" / "file", temp.DriveC() / "file link");
  const Result<Folder> folder = temp.Files().OpenFolder(u"C:\\");
  ASSERT_TRUE(folder);
  EXPECT_FALSE(folder->OpenFolder(u"link"));
  EXPECT_FALSE(folder->OpenFile(u"file link"));
  EXPECT_EQ(folder->Status(u"link")->Kind, FileKind::Link);
  for (const std::u16string_view name :
       {std::u16string_view(u".."), std::u16string_view(u"."), std::u16string_view(u""),
        std::u16string_view(u"link/file"), std::u16string_view(u"a\0b", 3)}) {
    EXPECT_EQ(folder->Status(name).Error, kErrInvalid);
    EXPECT_EQ(folder->RemoveFile(name), kErrInvalid);
    EXPECT_EQ(folder->OpenFolder(name).Error, kErrInvalid);
    EXPECT_EQ(folder->Rename(u"file link", name), kErrInvalid);
  }
  EXPECT_EQ(folder->Rename(u"file link", u"link"), kErrExists);
}

}  // namespace
}  // namespace kavrel
