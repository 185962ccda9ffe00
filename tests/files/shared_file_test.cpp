#include "files/shared_file.h"

#include <gtest/gtest.h>

#include "platform/error_codes.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

TEST(SharedFile, WhatSomebodyElseWroteIsKeptBeforeItIsReplaced) {
  const TempFolder temp;
  const fs::path home = temp.Home();
  SharedFile file(temp.Files(), u"F.txt");
  int told = 0;
  file.Kept = [&](std::u16string_view path, std::u16string_view copy) {
    EXPECT_EQ(path, file.Path());
    EXPECT_TRUE(copy.find(u"other_F") != copy.npos);
    ++told;
  };
  const struct {
    const char *Theirs, *First, *Second;  ///< what they write, and the copies after our next save
    int Told;
  } steps[] = {
      {nullptr, "<missing>", "<missing>", 0},   {"same size", "same size", "<missing>", 1},
      {nullptr, "same size", "<missing>", 1},   {"same size", "same size", "<missing>", 2},
      {"second 1", "same size", "second 1", 3}, {"", "same size", "second 1", 3},
  };
  EXPECT_EQ(file.Read().Error, kErrNotFound);
  int number = 0;
  for (const auto& step : steps) {
    // The same size and time as ours: only the content tells.
    if (step.Theirs) WriteTestFile(home / "F.txt", step.Theirs);
    if (number) SetWritten(home / "F.txt", {1, 0});
    const std::string ours = "our size" + std::to_string(++number);
    EXPECT_EQ(file.Write(ours), 0);
    SetWritten(home / "F.txt", {1, 0});
    EXPECT_EQ(ReadTestFile(home / "F.txt"), ours);
    EXPECT_EQ(ReadTestFile(home / "other_F.txt"), step.First);
    EXPECT_EQ(ReadTestFile(home / "other_F_2.txt"), step.Second);
    EXPECT_EQ(told, step.Told);
  }
  // Read here, it is no longer somebody else's; gone or unreadable, it is nothing to be kept.
  WriteTestFile(home / "F.txt", "read");
  EXPECT_EQ(*file.Read(), "read");
  EXPECT_EQ(file.Write("x"), 0);
  fs::remove(home / "F.txt");
  EXPECT_EQ(file.Write("y"), 0);
  fs::remove(home / "F.txt");
  fs::create_directory(home / "F.txt");
  EXPECT_EQ(file.Write("z"), EISDIR);
  EXPECT_EQ(told, 3);
}

}  // namespace
}  // namespace kavrel
