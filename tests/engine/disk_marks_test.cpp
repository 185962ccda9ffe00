#include "engine/disk_marks.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

TEST(DiskMarksTest, ADiskThatTakesThePlaceOfAnotherIsNotTakenForIt) {
  // What others mount meanwhile would be a change of the table, too.
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    GTEST_SKIP() << "no right to a table of mounts of its own";
  }
  const TempFolder temp;
  const fs::path point = temp.Root() / "disk";
  fs::create_directories(point);
  const std::u16string path = TempFolder::Text(fs::canonical(point));
  // From one device, as a reader of cards has it: what is mounted tells its mark.
  const auto put = [&] { return mount("/dev/none", point.c_str(), "tmpfs", 0, "size=64k") == 0; };
  if (!put()) GTEST_SKIP() << "no right to";
  MountTable seen, still, swapped;
  seen.Load();
  DiskMarks marks(seen);
  const std::u16string mark = marks.Of(path);
  still.Load();
  EXPECT_TRUE(marks.AreSameIn(still));
  umount2(point.c_str(), MNT_DETACH);
  if (mark.empty()) GTEST_SKIP() << "no marks";
  // The number of its mount is the next one's at once.
  ASSERT_TRUE(put());
  EXPECT_EQ(marks.Of(path), mark);
  swapped.Load();
  EXPECT_FALSE(marks.AreSameIn(swapped));
  umount2(point.c_str(), MNT_DETACH);
}

}  // namespace
}  // namespace kavrel
