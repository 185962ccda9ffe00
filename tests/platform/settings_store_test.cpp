#include "platform/settings_store.h"

#include <gtest/gtest.h>

#include "platform/ini_file.h"
#include "support/temp_folder.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

struct SettingsStoreTest : testing::Test {
  TempFolder Temp;
  fs::path File = Temp.Root() / "config" / "Quenlor" / "Settings.ini";
  SettingsStore Store{Temp.Files(), TempFolder::Text(File)};
};

TEST_F(SettingsStoreTest, TheFirstValueMakesTheFileWithItsFolders) {
  EXPECT_EQ(Store.Get(u"PlaySound"), std::nullopt);
  ASSERT_TRUE(Store.Set(u"PlaySound", u"True"));
  ASSERT_TRUE(Store.Set(u"ProtIcon", u"2"));
  EXPECT_EQ(ReadTestFile(File), "[Settings]\nPlaySound=True\nProtIcon=2\n");
}

TEST_F(SettingsStoreTest, EveryTextComesBackOnOneLine) {
  for (const std::u16string value : {u"", u"x", u" ends in blanks \t", u"\"quoted\"", u"\"",
                                     u"a=b;c#d[e]", u"[Settings]", u"快速\xDC80😀", u"ends in \""}) {
    ASSERT_TRUE(Store.Set(u"Value", value));
    EXPECT_EQ(Store.Get(u"vALUE"), value);
  }
  ASSERT_TRUE(Store.Set(u"Value", u"two\r\nOther=1\n[Else]"));
  EXPECT_EQ(Store.Get(u"Value"), u"two  Other=1 [Else]");
  EXPECT_EQ(Store.Get(u"Other"), std::nullopt);
}

TEST_F(SettingsStoreTest, ASetValueLeavesEverythingElseInTheFile) {
  const struct {
    std::string Before, After;
  } cases[] = {
      {"; mine\n[Other]\nA=1\n\n[settings]\n; why\n A = 1 ;x\nB=2\njunk\xFF\n\n[Last]\nA=3\n",
       "; mine\n[Other]\nA=1\n\n[settings]\n; why\nA=new\nB=2\njunk\xFF\n\n[Last]\nA=3\n"},
      {"[Settings]\nB=2\n\n[Last]\nA=3", "[Settings]\nB=2\nA=new\n\n[Last]\nA=3"},
      {"[Settings]\na=1\nA=2\n;A=3\n", "[Settings]\na=1\nA=new\n;A=3\n"},
      {"[Settings]\r\nA=1\r\nB=2\r\n", "[Settings]\r\nA=new\r\nB=2\r\n"},
      {"\xEF\xBB\xBF[Settings]\nA=1", "\xEF\xBB\xBF[Settings]\nA=new"},
      {"A=1\n[Other]", "A=1\n[Other]\n\n[Settings]\nA=new\n"},
      {"[Settings", "[Settings\n\n[Settings]\nA=new\n"},
      {"[\n]\n=\n[Settings]\n=\n==", "[\n]\n=\n[Settings]\n=\n==\nA=new\n"},
      {std::string("\0[Settings]\0\n", 13),
       std::string("\0[Settings]\0\n", 13) + "\n[Settings]\nA=new\n"},
  };
  for (const auto& c : cases) {
    WriteTestFile(File, c.Before);
    EXPECT_TRUE(Store.Set(u"A", u"new"));
    EXPECT_EQ(ReadTestFile(File), c.After);
    EXPECT_EQ(Store.Get(u"A"), u"new");
  }
}

TEST_F(SettingsStoreTest, WhatSomebodyElseWritesIsSeen) {
  // Kept at once, so that only the file's status tells.
  IniFile file(Temp.Files(), TempFolder::Text(File), -100);
  ErrorCode error = 0;
  const auto value = [&] { return file.Get(u"Settings", u"A", error).value_or(u"none"); };
  EXPECT_EQ(value(), u"none");
  WriteTestFile(File, "[Settings]\nA=1\n");
  EXPECT_EQ(value(), u"1");
  EXPECT_EQ(value(), u"1");
  WriteTestFile(File, "[Settings]\nA=12\n");
  EXPECT_EQ(value(), u"12");
  WriteTestFile(File.parent_path() / "new", "[Settings]\nA=34\n");
  fs::rename(File.parent_path() / "new", File);
  EXPECT_EQ(value(), u"34") << "of the same length";
  ASSERT_TRUE(file.Set(u"Settings", u"A", u"56"));
  EXPECT_EQ(value(), u"56");
  fs::rename(File, File.parent_path() / "real");
  fs::create_symlink("real", File);
  EXPECT_EQ(value(), u"56");
  WriteTestFile(File.parent_path() / "real", "[Settings]\nA=78\n");
  EXPECT_EQ(value(), u"78") << "behind a link";
  fs::remove(File);
  EXPECT_EQ(value(), u"none");
  fs::create_directory(File);
  EXPECT_EQ(value(), u"none");
  EXPECT_NE(error, 0);
}

TEST_F(SettingsStoreTest, AFileThatCannotBeReadOrWrittenStaysAsItWas) {
  fs::permissions(Temp.Root(), fs::perms::all);
  WriteTestFile(File, "[Settings]\nA=1\n");
  fs::permissions(File.parent_path(), fs::perms::all);
  for (const fs::perms mode : {fs::perms::others_write, fs::perms::others_read}) {
    fs::permissions(File, mode);
    {
      const Unprivileged user;
      EXPECT_FALSE(Store.Set(u"A", u"2"));
    }
    fs::permissions(File, fs::perms::owner_all);
    EXPECT_EQ(ReadTestFile(File), "[Settings]\nA=1\n");
  }
  WriteTestFile(Temp.Root() / "file", "x");
  EXPECT_FALSE(SettingsStore(Temp.Files(), TempFolder::Text(Temp.Root() / "file" / "x.ini"))
                   .Set(u"A", u"1"));
}

}  // namespace
}  // namespace kavrel
