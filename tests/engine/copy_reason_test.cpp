// What the records of two disks tell of a file and its copy.
#include "engine/copy_reason.h"

#include <gtest/gtest.h>

namespace kavrel {
namespace {

TEST(CopyReason, OfTwoChangesInASecondADiskOfWholeSecondsTellsOne) {
  constexpr std::uint64_t kDevice = 1;
  constexpr std::int32_t kHalf = 500'000'000;
  const struct {
    FileTime Changed, Made;
    bool May;  ///< the change may be the later of the two
  } cases[] = {{{100, 0}, {100, kHalf}, true},
               {{100, 0}, {101, kHalf}, true},
               {{100, 0}, {103, 0}, false},
               {{100, kHalf - 1}, {100, kHalf}, false},
               {{100, kHalf + 1}, {100, kHalf}, true}};
  for (const auto& c : cases) {
    FileStatus source, copy;
    source.Device = kDevice;
    source.Changed = c.Changed;
    copy.Made = c.Made;
    EXPECT_EQ(IsChangedLater(source, copy), c.May) << c.Changed.Nanoseconds << c.Made.Seconds;
    EXPECT_EQ(IsUntouchedSince(source, copy, kDevice), !c.May) << c.Changed.Nanoseconds;
  }
}

TEST(CopyReason, ATimeIsKnownAsFarAsTheCoarserDiskKeepsIt) {
  FileStatus coarse, fine;
  coarse.Written = {100, 0};
  coarse.Changed = {200, 0};
  fine.Written = {100, 700'000'001};
  fine.Changed = {150, 3};
  // A backup and what it is restored to, and the other way round.
  EXPECT_TRUE(NeedsNoCopy(&coarse, &fine, true));
  EXPECT_TRUE(NeedsNoCopy(&fine, &coarse, true));
  // The second is whole by chance: the disk tells parts of another.
  coarse.Changed = {200, 7};
  EXPECT_FALSE(NeedsNoCopy(&fine, &coarse, true));
  // A copy that was begun well after the last change is no older version.
  coarse.Made = {fine.Changed.Seconds + 61, 0};
  EXPECT_TRUE(NeedsNoCopy(&fine, &coarse, true));
}

}  // namespace
}  // namespace kavrel
