#include "files/file_copy.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <functional>

#include "base/text.h"
#include "support/recording_host.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class FileCopyTest : public testing::Test {
 protected:
  TempFolder temp_;
  fs::path from_ = temp_.DriveC() / "a.bin", to_ = temp_.DriveD() / "a.bin";
  RunState state_;
  SetClock clock_{2009, 9, 23, 15, 4, 5};
  RecordingHost host_;
  CopyContext context_{state_, clock_, &host_, nullptr};

  CopyResult Copy() {
    return CopyFileShown(context_, temp_.Files(), GetFileInfo(temp_.Files(), state_, u"C:\\a.bin"),
                         GetFileInfo(temp_.Files(), state_, u"D:\\a.bin"));
  }

  /// Fails unless the destination folder holds exactly this one file with this content.
  void ExpectOnlyDestination(std::string_view content) {
    EXPECT_EQ(ReadTestFile(to_), content);
    EXPECT_EQ(std::distance(fs::directory_iterator(temp_.DriveD()), fs::directory_iterator()), 1);
  }

  static std::string Pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 31 + i / 4096);
    return bytes;
  }
};

TEST_F(FileCopyTest, CarriesContentTimesAndPermissionsAndReportsEveryBlock) {
  for (const std::size_t size : {0U, 1U, 131071U, 131072U, 131073U, 400000U}) {
    SCOPED_TRACE(size);
    fs::remove(to_);
    host_.Calls.clear();
    WriteTestFile(from_, Pattern(size));
    ASSERT_EQ(chmod(from_.c_str(), 0640), 0);
    SetWritten(from_, {1253718245, 123456789});

    const CopyResult result = Copy();
    EXPECT_FALSE(result.Failed || result.Warning) << ToUtf8(result.Message);
    EXPECT_EQ(result.BytesCopied, size);
    EXPECT_EQ(state_.LastApiError, 0);
    EXPECT_EQ(ReadTestFile(to_), Pattern(size));
    const FileStatus copied = *temp_.Files().Status(u"D:\\a.bin");
    EXPECT_EQ(copied.Written, (FileTime{1253718245, 123456789}));
    EXPECT_EQ(copied.Mode, 0640U);

    std::vector<std::uint64_t> expected{0};
    for (std::size_t done = 131072; done <= size; done += 131072) expected.push_back(done);
    if (size % 131072) expected.push_back(size);
    expected.push_back(size);
    std::vector<std::uint64_t> reported;
    for (const auto& call : host_.Calls) {
      EXPECT_EQ(call.Total, size);
      reported.push_back(call.Done);
    }
    EXPECT_EQ(reported, expected);
  }
}

TEST_F(FileCopyTest, CancelLeavesTheOldDestinationWholeUnderItsName) {
  WriteTestFile(from_, Pattern(1000000));
  WriteTestFile(to_, "old content");
  bool beside = false;
  host_.AtProgress = [&](std::uint64_t, std::uint64_t done) {
    for (const auto& item : fs::directory_iterator(temp_.DriveD())) {
      beside = beside || TempNumber(TempFolder::Text(item.path().filename()));
    }
    beside = beside && ReadTestFile(to_) == "old content";
    if (done >= 262144) state_.CancelRequested = true;
  };
  const CopyResult result = Copy();
  EXPECT_TRUE(beside);
  EXPECT_TRUE(result.Failed);
  EXPECT_EQ(result.Message, u"User Abort");
  EXPECT_EQ(state_.LastApiError, -1);
  ExpectOnlyDestination("old content");
}

TEST_F(FileCopyTest, ReplacesAnExistingFileEvenAReadOnlyOneAndLeavesNoTemporary) {
  WriteTestFile(from_, "new");
  ASSERT_EQ(chmod(from_.c_str(), 0444), 0);
  WriteTestFile(to_, "old");
  ASSERT_EQ(chmod(to_.c_str(), 0444), 0);
  EXPECT_FALSE(Copy().Failed);
  ExpectOnlyDestination("new");
  EXPECT_EQ(temp_.Files().Status(u"D:\\a.bin")->Attributes & kAttrReadOnly, kAttrReadOnly);
}

TEST_F(FileCopyTest, WhatIsOpenedCountsWhateverWasLookedAtBefore) {
  WriteTestFile(from_, "old text, longer than the other");
  const FileInfo seen = GetFileInfo(temp_.Files(), state_, u"C:\\a.bin");
  const fs::path next = temp_.DriveC() / "next";
  WriteTestFile(next, "new text");
  ASSERT_EQ(chmod(next.c_str(), 0600), 0);
  SetWritten(next, {1253718245, 7});
  fs::rename(next, from_);

  const Result<Folder> from = temp_.Files().OpenFolder(u"C:\\"),
                       to = temp_.Files().OpenFolder(u"D:\\");
  TempNames names(clock_, nullptr, u"");
  StagedFile staged;
  EXPECT_FALSE(StageQuietly(names, {*from, u"C:\\", u"a.bin", &seen.Status},
                            {*to, u"D:\\", u"a.bin", nullptr}, staged));
  EXPECT_TRUE(fs::is_empty(temp_.DriveD()));

  const CopyResult result = CopyFileShown(context_, temp_.Files(), seen,
                                          GetFileInfo(temp_.Files(), state_, u"D:\\a.bin"));
  EXPECT_FALSE(result.Failed || result.Warning);
  EXPECT_EQ(result.BytesCopied, 8U);
  ExpectOnlyDestination("new text");
  const FileStatus copied = *temp_.Files().Status(u"D:\\a.bin");
  EXPECT_EQ(copied.Mode, 0600U);
  EXPECT_EQ(copied.Written, (FileTime{1253718245, 7}));

  fs::remove(from_);
  ASSERT_EQ(mkfifo(from_.c_str(), 0600), 0);
  EXPECT_TRUE(
      CopyFileShown(context_, temp_.Files(), seen, GetFileInfo(temp_.Files(), state_, u"D:\\a.bin"))
          .Failed);
  ExpectOnlyDestination("new text");
}

TEST_F(FileCopyTest, AChangeWhileItIsReadMeansAgainAndOneWithoutEndIsTold) {
  const struct {
    const char* What;
    std::function<void(int)> Change;  ///< at the how many-th progress
    bool Failed, Warning;
  } cases[] = {
      {"written over once",
       [&](int n) {
         if (n == 2) WriteTestFile(from_, Pattern(300000));
       },
       false, false},
      {"written over once, in the tick that it was made in, its time kept",
       [&](int n) {
         if (n != 2) return;
         WriteTestFile(from_, Pattern(300000));
         SetWritten(from_, {1253718245, 7});
       },
       false, false},
      {"replaced once",
       [&](int n) {
         if (n != 2) return;
         WriteTestFile(temp_.DriveC() / "next", Pattern(300000));
         fs::rename(temp_.DriveC() / "next", from_);
       },
       false, false},
      {"gone",
       [&](int n) {
         if (n == 2) fs::remove(from_);
       },
       false, false},
      {"grows without end", [&](int n) { fs::resize_file(from_, 300000U + 1000U * n); }, false,
       true},
      {"shrinks without end", [&](int n) { fs::resize_file(from_, 300000U - 10000U * n); }, true,
       false},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(one.What);
    WriteTestFile(to_, "old");
    WriteTestFile(from_, std::string(300000, 'x'));
    SetWritten(from_, {1253718245, 7});
    int calls = 0;
    host_.AtProgress = [&](std::uint64_t, std::uint64_t) { one.Change(++calls); };
    const CopyResult result = Copy();
    EXPECT_EQ(result.Failed, one.Failed);
    EXPECT_EQ(result.Warning, one.Warning);
    EXPECT_LT(calls, 20);
    const std::string now = ReadTestFile(to_);
    if (one.Failed) {
      EXPECT_EQ(now, "old");
      EXPECT_TRUE(result.Message.starts_with(u"Could Not Read Source File (") &&
                  result.Message.ends_with(u"): C:\\a.bin"));
    } else if (one.Warning) {
      EXPECT_EQ(result.Message, u"Source File Changed While It Was Copied: C:\\a.bin");
    } else if (fs::exists(from_)) {
      EXPECT_EQ(now, Pattern(300000));
    } else {
      EXPECT_EQ(now, std::string(300000, 'x'));
    }
    if (!one.Failed) ExpectOnlyDestination(now);
  }
}

TEST_F(FileCopyTest, FailedWriteRemovesThePartAndPutsTheOldFileBack) {
  WriteTestFile(from_, Pattern(1000000));
  WriteTestFile(to_, "old");
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto handler = signal(SIGXFSZ, SIG_IGN);
  const rlimit small{200000, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const CopyResult result = Copy();
  setrlimit(RLIMIT_FSIZE, &before);
  signal(SIGXFSZ, handler);
  EXPECT_TRUE(result.Failed);
  EXPECT_EQ(result.Message,
            u"Could Not Write Destination File (錯誤：27 - File too large): D:\\a.bin");
  ExpectOnlyDestination("old");
}

TEST_F(FileCopyTest, AnUnreadableSourceCostsNoSecondAndNothingIsWritten) {
  WriteTestFile(from_, "secret");
  ASSERT_EQ(chmod(from_.c_str(), 0), 0);
  WriteTestFile(to_, "old");
  fs::permissions(temp_.Root(), fs::perms::all);
  const std::uint64_t before = clock_.TickCount();
  const Unprivileged user;
  const CopyResult result = Copy();
  EXPECT_TRUE(result.Failed);
  EXPECT_EQ(result.Message,
            u"Could Not Open Source File (錯誤：13 - Permission denied): C:\\a.bin");
  EXPECT_EQ(clock_.TickCount() - before, 0U);
  ExpectOnlyDestination("old");
}

TEST_F(FileCopyTest, ReadOnlyDestinationFolderFailsWithItsPath) {
  WriteTestFile(from_, "x");
  WriteTestFile(to_, "old");
  ASSERT_EQ(chmod(to_.parent_path().c_str(), 0555), 0);
  fs::permissions(temp_.Root(), fs::perms::all);
  const Unprivileged user;
  const CopyResult result = Copy();
  EXPECT_TRUE(result.Failed);
  EXPECT_TRUE(result.Message.starts_with(u"Could Not Open Destination File ("))
      << ToUtf8(result.Message);
  ExpectOnlyDestination("old");
}

TEST_F(FileCopyTest, FolderInTheDestinationsPlaceIsLeftAlone) {
  WriteTestFile(from_, "x");
  WriteTestFile(to_ / "inside", "kept");
  EXPECT_TRUE(Copy().Failed);
  EXPECT_EQ(ReadTestFile(to_ / "inside"), "kept");
}

TEST_F(FileCopyTest, LinksAreCopiedAsLinksAndNeverFollowed) {
  WriteTestFile(temp_.Root() / "outside", "precious");
  fs::create_symlink("nowhere/at all", from_);
  SetWritten(from_, {1253718245, 5});
  fs::create_symlink(temp_.Root() / "outside", to_);
  EXPECT_FALSE(Copy().Failed);
  EXPECT_EQ(fs::read_symlink(to_), "nowhere/at all");
  EXPECT_EQ(temp_.Files().Status(u"D:\\a.bin")->Written, (FileTime{1253718245, 5}));

  fs::remove(from_);
  fs::remove(to_);
  WriteTestFile(from_, "file");
  fs::create_symlink(temp_.Root() / "outside", to_);
  EXPECT_FALSE(Copy().Failed);
  EXPECT_FALSE(fs::is_symlink(to_));
  EXPECT_EQ(ReadTestFile(temp_.Root() / "outside"), "precious");
  ExpectOnlyDestination("file");
}

TEST_F(FileCopyTest, HolesStayHoles) {
  WriteTestFile(from_, "start");
  fs::resize_file(from_, 5000000);
  {
    FILE* file = fopen(from_.string().c_str(), "r+");
    ASSERT_TRUE(file);
    for (const long at : {65536L, 81920L, 3000001L}) {
      fseek(file, at, SEEK_SET);
      fputs("middle", file);
    }
    fclose(file);
  }
  EXPECT_FALSE(Copy().Failed);
  EXPECT_EQ(ReadTestFile(to_), ReadTestFile(from_));
  EXPECT_LT(temp_.Files().Status(u"D:\\a.bin")->Allocated, 100000U);
  EXPECT_LT(host_.Calls.size(), 12U);
}

TEST_F(FileCopyTest, ExtendedAttributesComeAlongWhereTheFileSystemKeepsThem) {
  WriteTestFile(from_, "x");
  if (setxattr(from_.c_str(), "user.kavrel", "value", 5, 0) != 0) {
    GTEST_SKIP() << "no extended attributes in the temporary folder";
  }
  EXPECT_FALSE(Copy().Failed);
  char value[16] = {};
  EXPECT_EQ(getxattr(to_.c_str(), "user.kavrel", value, sizeof value), 5);
}

TEST_F(FileCopyTest, FtpAddressesCopyNothingAndDoNotFail) {
  const CopyResult result =
      CopyFileShown(context_, temp_.Files(), GetFileInfo(temp_.Files(), state_, u"ftp://host/a"),
                    GetFileInfo(temp_.Files(), state_, u"D:\\a.bin"));
  EXPECT_FALSE(result.Failed);
  EXPECT_FALSE(fs::exists(to_));
}

}  // namespace
}  // namespace kavrel
