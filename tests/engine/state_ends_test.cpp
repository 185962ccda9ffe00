// How dated folders end: what a deletion or an interrupted run leaves does not stay, and nothing is
// taken for what it was not.
#include <sys/mount.h>

#include "app/state_files.h"
#include "engine/linked_states.h"
#include "engine/states.h"
#include "files/remove_tree.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class StateEndsTest : public LinkedStatesTest {
 protected:
  void KeepThree() {
    Job().Extras.KeepNewest = 1;
    Job().Extras.DeletesOld = true;
  }
  static std::size_t FilesIn(const fs::path& folder) {
    std::size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      files += entry.is_regular_file() && entry.path().filename() != ".kavrel-sums";
    }
    return files;
  }
};

TEST_F(StateEndsTest, AFolderThatCannotGiveUpItsNameStaysWhole) {
  Put("a", "1");
  Begin();
  Run();
  const fs::path oldest = State();
  // Somebody has the name that it would get.
  WriteTestFile(Unfinished(oldest) / "somebody's", "x");
  KeepThree();
  Put("a", "22");
  RunNextDay();
  EXPECT_EQ(FilesIn(oldest), 1U);
  EXPECT_EQ(Program.Context.Report.Counters.WarningFiles, 1U);
  EXPECT_NE(LogLines().find("刪除舊備份 (失敗)"), std::string::npos);
  fs::remove_all(Unfinished(oldest));
  RunNextDay();
  EXPECT_FALSE(fs::exists(oldest));
}

TEST_F(StateEndsTest, ItsMarkGoesLast) {
  for (const char* name : {"b", "mark", "sub/c", "z"}) Put(name, name);
  const Result<Folder> parent = Temp.Files().OpenFolder(TempFolder::Text(Temp.DriveC()));
  // Something stays.
  if (mount("none", (Source() / "sub").c_str(), "tmpfs", 0, "size=1m") != 0) GTEST_SKIP();
  EXPECT_NE(RemoveTree(*parent, u"src", u"mark"), 0);
  EXPECT_TRUE(fs::exists(Source() / "mark"));
  EXPECT_FALSE(fs::exists(Source() / "z"));
  umount((Source() / "sub").c_str());
  EXPECT_EQ(RemoveTree(*parent, u"src", u"mark"), 0);
  EXPECT_FALSE(fs::exists(Source()));
}

TEST_F(StateEndsTest, WhatIsLeftIsTakenUpByAJobWhoseFoldersBearTheirNamesAtOnce) {
  Put("a", "1");
  Put("b", "2");
  Begin();
  Run();
  const fs::path left = State();
  Interrupt(left);
  fs::remove(Unfinished(left) / "a");
  Job().Extras.UnfinishedName = false;
  RunNextDay();
  EXPECT_FALSE(fs::exists(Unfinished(left)));
  EXPECT_EQ(FilesIn(State()), 2U);
}

TEST_F(StateEndsTest, AnInterruptedRunLeavesNoEmptyFolderOfItsDate) {
  Put("a", "1");
  AddJob(BackupType::Differential).Destination.Path = u"D:\\dst\\<yyyy>-<mm>-<dd>\\src\\";
  Run();
  const fs::path day = Dest() / "2009-09-23";
  Interrupt(day / "src");
  RunNextDay();
  EXPECT_FALSE(fs::exists(day));
  EXPECT_EQ(FilesIn(Dest() / "2009-09-24" / "src"), 1U);
}

TEST_F(StateEndsTest, AFolderThatAKilledRunHadNoTimeToMarkDoesNotStay) {
  Put("a", "1");
  Begin();
  const fs::path left = Dest() / "2009-09-20 15.unfinished",
                 other = Dest() / "2009-09-21 15.unfinished",
                 young = Dest() / "2009-09-22 15.unfinished";
  for (const fs::path& folder : {left, other, young}) fs::create_directories(folder);
  WriteTestFile(other / "somebody's", "x");
  for (const fs::path& folder : {left, other}) SetWritten(folder, {1'000'000'000, 0});
  Run();
  EXPECT_FALSE(fs::exists(left));
  EXPECT_TRUE(fs::exists(other / "somebody's"));
  EXPECT_TRUE(fs::exists(young));
}

TEST_F(StateEndsTest, WithoutHardLinksANewNameGetsAFileOfItsOwn) {
  Put("f", "content");
  Begin();
  Job().Extras.KeepHardLinks = false;
  Job().Extras.StateLinks = LinkStates::Hard;
  Run();
  fs::create_hard_link(Source() / "f", Source() / "b");
  RunNextDay();
  EXPECT_EQ(ReadTestFile(State() / "b"), "content");
  EXPECT_NE(NumberOf(State() / "f"), NumberOf(State() / "b"));
}

TEST_F(StateEndsTest, WhatASecondRunOfADayCannotTellIsSeenByTheNextDay) {
  Put("a", "old");
  Put("b", "new");
  Put("kept", "k");
  Begin();
  Run();
  const ino_t kept = NumberOf(State() / "kept");
  fs::rename(Source() / "b", Source() / "a");
  Run();
  RunNextDay();
  EXPECT_EQ(ReadTestFile(State() / "a"), "new");
  EXPECT_EQ(NumberOf(State() / "kept"), kept);
}

TEST_F(StateEndsTest, ANameWithoutRoomForAnotherEndIsBackedUpAllTheSame) {
  Put("a", "1");
  const std::string longest(240, 'n');
  AddJob(BackupType::Differential).Destination.Path =
      u"D:\\dst\\<yyyy>" + FromUtf8(longest) + u"\\";
  Run();
  EXPECT_EQ(Program.Context.Report.Counters.FailedFiles, 0U) << LogLines();
  EXPECT_EQ(FilesIn(Dest() / ("2009" + longest)), 1U);
}

TEST_F(StateEndsTest, AFileThatWasNoFolderThenIsNoStateThatCannotBeRead) {
  Put("n", "a file");
  Begin();
  Run();
  fs::remove(Source() / "n");
  Put("n/in", "b");
  RunNextDay();
  const std::vector<JobState> states = ListStates(Program.Context, Job());
  ASSERT_EQ(states.size(), 2U);
  const FileVersions found = VersionsOf(Program.Files, Program.Archiver, states, u"n/in");
  EXPECT_TRUE(found.Unread.empty());
  EXPECT_EQ(found.Versions.size(), 1U);
}

}  // namespace
}  // namespace kavrel
