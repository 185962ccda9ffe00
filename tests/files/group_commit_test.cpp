// Changes wait for the disk, in their order, and never longer than a user does.
#include "files/group_commit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "support/recording_host.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class GroupCommitTest : public testing::Test {
 protected:
  TempFolder temp_;
  RunState state_;
  SetClock clock_{2009, 9, 23, 15, 4, 5};
  RecordingHost host_;
  TempNames names_{clock_, nullptr, u"D:\\"};
  GroupCommit group_{state_, host_, names_};
  Result<Folder> dest_ = temp_.Files().OpenFolder(u"D:\\");
  std::shared_ptr<const CommitFolder> place_ = *group_.Share(*dest_, u"D:\\");
  std::vector<std::string> done_;

  struct Noted : Change {
    Noted(GroupCommitTest& test, std::string name) : Test(test), Name(std::move(name)) {}
    void Commit(GroupCommit&) override { Test.done_.push_back(Name); }
    void GiveUp(ErrorCode why) override {
      Test.done_.push_back("not " + Name + " " + std::to_string(why));
    }
    GroupCommitTest& Test;
    std::string Name;
  };
  /// As on a disk where every change takes long.
  struct Slow : Noted {
    using Noted::Noted;
    void Commit(GroupCommit& group) override {
      Noted::Commit(group);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    void GiveUp(ErrorCode why) override {
      Noted::GiveUp(why);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    void Abandon() override { Test.done_.push_back("abandoned"); }
  };
  std::unique_ptr<Change> Make(std::string name) {
    return std::make_unique<Noted>(*this, std::move(name));
  }
  /// The folder as if it lay on a disk of another kind.
  std::shared_ptr<const CommitFolder> PlaceOn(DiskManners manners) {
    auto place = std::make_shared<CommitFolder>();
    place->Opened = std::move(*dest_->Reopen());
    place->Manners = manners;
    return place;
  }
};

TEST_F(GroupCommitTest, WhatReliesOnNothingIsMadeAtOnceAndTheRestInOrder) {
  group_.Add(place_, Make("first"));
  EXPECT_EQ(done_, std::vector<std::string>{"first"});
  group_.AddStaged(place_, Make("copy"), 10);
  group_.Add(place_, Make("removal"));
  group_.AddStaged(place_, Make("copy 2"), 10);
  EXPECT_EQ(done_.size(), 1U);
  EXPECT_TRUE(group_.Pending());
  EXPECT_EQ(group_.Settle(), 0);
  EXPECT_EQ(done_, (std::vector<std::string>{"first", "copy", "removal", "copy 2"}));
  EXPECT_FALSE(group_.Pending());
}

TEST_F(GroupCommitTest, AGroupIsBoundedInFilesAndBytes) {
  constexpr std::size_t kMany = 100'000;
  const auto disk = PlaceOn({true, true});
  std::size_t most = 0;
  for (std::size_t i = 0; i < kMany; ++i) {
    group_.AddStaged(disk, Make("x"), 1);
    most = std::max(most, i + 1 - done_.size());
    group_.Advance();
  }
  EXPECT_LT(most, 3U * 16'384);
  done_.clear();
  group_.Flush();
  for (int i = 0; i < 3; ++i) group_.AddStaged(disk, Make("large"), std::uint64_t{1} << 32);
  EXPECT_GE(std::count(done_.begin(), done_.end(), "large"), 1);
  EXPECT_EQ(group_.Settle(), 0);
}

TEST_F(GroupCommitTest, FewFilesAreHeldAtATimeWhereADiskKeepsNoOrder) {
  const auto stick = PlaceOn({true, false});
  std::size_t most = 0;
  for (std::size_t i = 0; i < 5000; ++i) {
    group_.AddStaged(stick, Make("x"), 1);
    most = std::max(most, i + 1 - done_.size());
    group_.Advance();
  }
  EXPECT_LE(most, 3U * 200);
  EXPECT_EQ(group_.Settle(), 0);
  EXPECT_EQ(done_.size(), 5000U);
}

TEST_F(GroupCommitTest, WhatIsPendingWhenARunIsCancelledIsMadeOrGivenUpButNeverForgotten) {
  for (int i = 0; i < 5; ++i) group_.AddStaged(place_, Make("x"), 1);
  state_.CancelRequested = true;
  EXPECT_EQ(group_.Settle(), 0);
  EXPECT_EQ(done_.size(), 5U);
}

TEST_F(GroupCommitTest, SlowChangesGiveWayToACancel) {
  constexpr std::size_t kMany = 1000;
  for (std::size_t i = 0; i < kMany; ++i) {
    group_.AddStaged(place_, std::make_unique<Slow>(*this, "x"), 1);
  }
  host_.AtPump = [&] { state_.CancelRequested = true; };
  EXPECT_EQ(group_.Settle(), 0);
  EXPECT_EQ(done_.size(), kMany);
  for (const char* end : {"x", "not x 0", "abandoned"}) {
    EXPECT_GT(std::count(done_.begin(), done_.end(), end), 0) << end;
  }
}

}  // namespace
}  // namespace kavrel
