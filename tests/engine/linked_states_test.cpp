// Dated folders that share what did not change: each of them is the source as it was at its run and
// stays so, whatever comes after, and bears its name only once it is whole.
#include "engine/linked_states.h"

#include <sys/mount.h>

#include <functional>

#include "engine/states.h"
#include "support/command.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

TEST_F(LinkedStatesTest, WhatDidNotChangeIsOneFileAndCostsNothing) {
  Begin();
  Put("kept", "kept");
  Put("folder/moves", "moves");
  Put("changes", "1");
  Put("mode", "mode");
  Put("a", "a", {1'000'000'000, 0});
  Put("b", "b", {1'000'000'000, 0});
  fs::create_hard_link(Source() / "kept", Source() / "twin");
  const std::uint64_t first_bytes = Run().CopiedBytes;
  EXPECT_EQ(first_bytes, 4U + 5 + 1 + 4 + 1 + 1);
  const fs::path first = State();

  EXPECT_EQ(RunNextDay().UnchangedFiles, 6U);
  EXPECT_EQ(Program.Context.Report.Counters.CopiedFiles, 1U) << "one more name of a linked one";
  EXPECT_EQ(Program.Context.Report.Counters.CopiedBytes, 0U);
  EXPECT_EQ(NumberOf(State() / "kept"), NumberOf(first / "kept"));
  EXPECT_EQ(NumberOf(State() / "twin"), NumberOf(first / "kept"));

  // Names change, size and time tell nothing; metadata alone.
  fs::rename(Source() / "folder", Source() / "elsewhere");
  fs::rename(Source() / "elsewhere/moves", Source() / "moved");
  fs::rename(Source() / "a", Source() / "c");
  fs::rename(Source() / "b", Source() / "a");
  fs::rename(Source() / "c", Source() / "b");
  fs::permissions(Source() / "mode", fs::perms::owner_read);
  Put("changes", "2", {1'000'000'001, 0});
  const Tree now = Describe(Source());
  const RunCounters& counters = RunNextDay();
  EXPECT_EQ(counters.CopiedBytes, 1U + 4) << LogLines();
  EXPECT_EQ(Differences(Describe(State()), now), "");
  EXPECT_EQ(NumberOf(State() / "moved"), NumberOf(first / "folder/moves"));
  EXPECT_EQ(NumberOf(State() / "a"), NumberOf(first / "b"));
  EXPECT_EQ(NumberOf(State() / "b"), NumberOf(first / "a"));
  EXPECT_NE(StatusOf(first / "mode").st_mode, StatusOf(State() / "mode").st_mode);

  // What the record tells is lost: names, sizes and times are as good as in a differential run.
  fs::remove_all(Temp.Home() / "States");
  fs::rename(Source() / "moved", Source() / "moved again");
  EXPECT_EQ(RunNextDay().CopiedBytes, 5U + 2) << "and a and b, to which something has happened";
  EXPECT_EQ(NumberOf(State() / "kept"), NumberOf(first / "kept"));
  EXPECT_EQ(RunNextDay().CopiedBytes, 0U);
}

TEST_F(LinkedStatesTest, WhoPutsSizeAndTimeBackIsFoundOut) {
  for (const auto& [type, how] : {std::pair(BackupType::Differential, LinkStates::Auto),
                                  std::pair(BackupType::Synchronise, LinkStates::Hard),
                                  std::pair(BackupType::Full, LinkStates::Hard)}) {
    Begin(type);
    Job().Extras.StateLinks = how;
    for (const char* name : {"here", "goes", "only named", "still"}) {
      Put(name, "first", {1'000'000'000, 0});
    }
    Run();
    const fs::path first = State();
    Put("here", "other", {1'000'000'000, 0});
    fs::rename(Source() / "goes", Source() / "went");
    Put("went", "again", {1'000'000'000, 0});
    fs::rename(Source() / "only named", Source() / "named");
    const Tree now = Describe(Source());
    EXPECT_EQ(RunNextDay().CopiedBytes, 10U) << LogLines();
    EXPECT_EQ(Differences(Describe(State()), now), "");
    EXPECT_EQ(NumberOf(State() / "named"), NumberOf(first / "only named"));
    EXPECT_EQ(NumberOf(State() / "still"), NumberOf(first / "still"));
    EXPECT_EQ(RunNextDay().CopiedBytes, 0U);
    EXPECT_EQ(Differences(Describe(State()), now), "");
    Program.Store.Jobs.clear();
    fs::remove_all(Source());
    fs::remove_all(Temp.DriveD());
    fs::create_directories(Temp.DriveD());
  }
}

TEST_F(LinkedStatesTest, TheJobSaysWhetherStatesShareFiles) {
  Begin(BackupType::Full);
  Put("file", "content");
  Run();
  const ino_t number = NumberOf(State() / "file");
  struct Choice {
    BackupType Type;
    LinkStates How;
    bool Shares;
  };
  for (const Choice& choice : {Choice{BackupType::Full, LinkStates::Auto, false},
                               Choice{BackupType::Differential, LinkStates::Off, false},
                               Choice{BackupType::Full, LinkStates::Hard, true},
                               Choice{BackupType::Synchronise, LinkStates::Auto, true}}) {
    SetJobType(Job(), choice.Type);
    Job().Extras.StateLinks = choice.How;
    const fs::path before = State();
    RunNextDay();
    EXPECT_EQ(NumberOf(State() / "file") == NumberOf(before / "file"), choice.Shares);
  }
  EXPECT_NE(NumberOf(State() / "file"), number);
}

TEST_F(LinkedStatesTest, NothingIsWrittenThroughAName) {
  Begin();
  for (const char* name : {"content", "mode", "attribute", "gone", "locked/inner"}) Put(name, name);
  fs::permissions(Source() / "gone", fs::perms::owner_read);
  fs::permissions(Source() / "locked/inner", fs::perms::owner_read);
  fs::permissions(Source() / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  Run();
  const fs::path first = State();
  RunNextDay();
  const fs::path second = State();
  const Tree was = Describe(first);
  ASSERT_EQ(NumberOf(second / "mode"), NumberOf(first / "mode"));

  // In the hour of the second one, by every type of job.
  for (const BackupType type :
       {BackupType::Full, BackupType::Differential, BackupType::Synchronise}) {
    SetJobType(Job(), type);
    Put("content", std::string("x") += static_cast<char>('0' + static_cast<int>(type)),
        {1'100'000'000 + static_cast<int>(type), 0});
    fs::permissions(Source() / "mode", fs::perms::owner_all);
    ASSERT_EQ(setxattr((Source() / "attribute").c_str(), kAttribute, "v", 1, 0), 0);
    fs::remove(Source() / "gone");
    Run();
    EXPECT_EQ(Program.Context.Report.Counters.FailedFiles, 0U) << LogLines();
    EXPECT_EQ(Differences(Describe(first), was), "") << static_cast<int>(type);
  }
  EXPECT_EQ(Differences(Describe(second), Describe(Source())), "");
  const Tree later = Describe(second);

  // Restores of both kinds, of the whole and of a part, into the source and beside it.
  for (const RestoreMode mode : {RestoreMode::Incremental, RestoreMode::Full}) {
    RestoreRequest request;
    request.Mode = mode;
    request.Unit = u"D:\\dst\\" + FromUtf8(first.filename().string()) + u"\\";
    Program.RunRestoreNow(0, request);
    EXPECT_EQ(Program.Context.Report.Counters.FailedFiles, 0U) << LogLines();
    EXPECT_EQ(ReadTestFile(Source() / "gone"), "gone");
    Program.VerifyJobNow(0, {}, request.Unit);
  }
  EXPECT_EQ(Differences(Describe(first), was), "");
  EXPECT_EQ(Differences(Describe(second), later), "");
}

TEST_F(LinkedStatesTest, AStateGetsItsNameWhenItIsWhole) {
  Begin();
  for (int i = 100; i < 140; ++i) Put("f" + std::to_string(i), std::to_string(i));
  Run();
  const fs::path first = State();
  Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
  int pumps = 0;
  Host.AtPump = [&] { Program.State.CancelRequested |= ++pumps > 60; };
  Run();
  Host.AtPump = {};
  EXPECT_FALSE(fs::exists(State()));
  EXPECT_TRUE(fs::exists(Unfinished(State())));
  EXPECT_TRUE(Job().LastRunResult.Stopped);
  std::vector<JobState> states = ListStates(Program.Context, Job());
  ASSERT_EQ(states.size(), 2U);
  EXPECT_EQ(states[0].Health, StateHealth::Unfinished);
  EXPECT_EQ(NewestState(states), 1U) << "nobody takes it without being told to";
  Run();
  EXPECT_FALSE(fs::exists(Unfinished(State())));
  EXPECT_EQ(Differences(Describe(State()), Describe(Source())), "");

  // What an interrupted run has copied is taken up by the next one, under its own name, whatever
  // the job's type: equal files stay, what the source has no more goes.
  for (const BackupType type :
       {BackupType::Full, BackupType::Differential, BackupType::Synchronise}) {
    SetJobType(Job(), type);
    Job().UseRecycleBin = type == BackupType::Synchronise;
    Job().Extras.StateLinks = LinkStates::Off;
    RunNextDay();
    const fs::path left = Unfinished(State());
    Interrupt(State());
    fs::remove(left / "f120");
    WriteTestFile(left / "f121", "half");
    const ino_t kept = NumberOf(left / "f122");
    const std::string gone = "f" + std::to_string(130 + static_cast<int>(type));
    fs::remove(Source() / gone);
    const std::size_t files = Describe(Source()).size() - 1;
    EXPECT_EQ(RunNextDay().UnchangedFiles, files - 2) << LogLines();
    EXPECT_FALSE(fs::exists(left));
    EXPECT_EQ(Differences(Describe(State()), Describe(Source())), "");
    EXPECT_EQ(NumberOf(State() / "f122"), kept);
    EXPECT_FALSE(fs::exists(Temp.Root() / "data/Trash")) << "nobody ever had it for a backup";
  }

  // Power goes when the mark says whole and the folder has no name yet.
  Job().Extras.StateLinks = LinkStates::Auto;
  const fs::path whole = State();
  const std::size_t count = ListStates(Program.Context, Job()).size();
  fs::rename(whole, Unfinished(whole));
  const ino_t number = NumberOf(Unfinished(whole) / "f122");
  RunNextDay();
  EXPECT_EQ(NumberOf(whole / "f122"), number);
  EXPECT_EQ(NumberOf(State() / "f122"), number);
  EXPECT_EQ(ListStates(Program.Context, Job()).size(), count + 1);

  // A job whose destination is looked at meanwhile has its folders named from the beginning.
  Job().Extras.UnfinishedName = false;
  Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
  bool named = false, unfinished = false;
  Host.AtPump = [&] {
    named = named || fs::exists(State());
    unfinished = unfinished || fs::exists(Unfinished(State()));
  };
  Run();
  EXPECT_TRUE(named && !unfinished);
}

TEST_F(LinkedStatesTest, AStateWithFailuresHasItsNameAndSaysSo) {
  Begin();
  OpenToAll();
  Put("file", "content");
  Put("secret", "x");
  fs::permissions(Source() / "secret", fs::perms::none);
  const Unprivileged user;
  EXPECT_EQ(Run().FailedFiles, 1U);
  const fs::path first = State();
  EXPECT_EQ(RunNextDay().FailedFiles, 1U);
  EXPECT_EQ(ListStates(Program.Context, Job())[0].Health, StateHealth::Failures);
  EXPECT_EQ(NumberOf(State() / "file"), NumberOf(first / "file"));
}

TEST_F(LinkedStatesTest, AReadOnlyFolderThatAnInterruptedRunHasLeftIsBroughtUpToDate) {
  Begin();
  OpenToAll();
  for (const char* name : {"locked/stays", "locked/goes", "locked/changes"}) Put(name, "1");
  const fs::path locked = Source() / "locked";
  constexpr fs::perms kLocked = fs::perms::owner_read | fs::perms::owner_exec |
                                fs::perms::others_read | fs::perms::others_exec;
  const auto unlocked = [&](const std::function<void()>& change) {
    fs::permissions(locked, fs::perms::owner_all);
    change();
    fs::permissions(locked, kLocked);
  };
  for (const BackupType type :
       {BackupType::Full, BackupType::Differential, BackupType::Synchronise}) {
    SetJobType(Job(), type);
    unlocked([&] {
      Put("locked/goes", "1");
      Put("locked/changes", "1");
    });
    {
      const Unprivileged user;
      EXPECT_EQ(RunNextDay().FailedFiles, 0U) << LogLines();
      Interrupt(State());
    }
    unlocked([&] {
      fs::remove(locked / "goes");
      Put("locked/changes", "2", {1'100'000'000, 0});
    });
    const Unprivileged user;
    EXPECT_EQ(RunNextDay().FailedFiles, 0U) << LogLines();
    EXPECT_FALSE(fs::exists(State() / "locked/goes"));
    EXPECT_EQ(ReadTestFile(State() / "locked/changes"), "2");
    EXPECT_EQ(StatusOf(State() / "locked").st_mode, StatusOf(locked).st_mode);
  }
}

TEST_F(LinkedStatesTest, WhatHasChangedNamesSinceIsNotTakenForWhatIsThere) {
  Begin();
  const auto swap = [&] {
    fs::rename(Source() / "a", Source() / "c");
    fs::rename(Source() / "b", Source() / "a");
    fs::rename(Source() / "c", Source() / "b");
  };
  for (const char* name : {"a", "b", "kept"}) Put(name, name);
  for (int i = 0; i < 30; ++i) Put("folder/" + std::to_string(i), "x");
  Run();
  // By what an interrupted run has left, of any type, and by what has lost its record.
  for (const BackupType type :
       {BackupType::Full, BackupType::Differential, BackupType::Synchronise}) {
    SetJobType(Job(), type);
    RunNextDay();
    Interrupt(State());
    const ino_t kept = NumberOf(Unfinished(State()) / "kept");
    swap();
    RunNextDay();
    EXPECT_EQ(Differences(Describe(State()), Describe(Source())), "") << static_cast<int>(type);
    EXPECT_EQ(NumberOf(State() / "kept"), kept);
    fs::remove_all(Temp.Home() / "States");
    swap();
    RunNextDay();
    EXPECT_EQ(Differences(Describe(State()), Describe(Source())), "") << static_cast<int>(type);
  }
}

TEST_F(LinkedStatesTest, NamesThatEndAsUnfinishedOnesAreNamesLikeOthers) {
  for (const char16_t* end : {u"<hh>.unfinished\\", u"<hh>\\Draft.unfinished\\"}) {
    BackupJob& job = AddJob(BackupType::Differential);
    job.Destination.Path = std::u16string(u"D:\\dst\\<yyyy>-<mm>-<dd> ") + end;
    job.Extras.KeepNewest = 2;
    Put("file", "x");
    for (int i = 0; i < 4; ++i) {
      Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
      EXPECT_EQ(Program.RunJobNow(job.JobIndex), RunOutcome::Ran);
    }
    const std::vector<JobState> states = ListStates(Program.Context, job);
    ASSERT_EQ(states.size(), 2U);
    for (const JobState& state : states) {
      EXPECT_EQ(state.Health, StateHealth::Whole);
      EXPECT_TRUE(state.Unit.ends_with(u".unfinished\\"));
    }
  }
}

TEST_F(LinkedStatesTest, ASourceThatSharesItsFilesWithABackupIsCopied) {
  Begin();
  Put("file", "content");
  Run();
  const fs::path first = State();
  // Somebody has brought it back with a link.
  fs::remove(Source() / "file");
  fs::create_hard_link(first / "file", Source() / "file");
  for (const bool recorded : {true, false}) {
    if (!recorded) fs::remove_all(Temp.Home() / "States");
    EXPECT_EQ(RunNextDay().CopiedFiles, 1U);
    EXPECT_NE(NumberOf(State() / "file"), NumberOf(Source() / "file"));
    fs::remove_all(State());
  }
}

/// A disk of another file system as drive d.
class DiskOfStatesTest : public LinkedStatesTest {
 protected:
  bool Mount(const std::vector<std::string>& maker) {
    const fs::path image = Temp.Root() / "image";
    if (!fs::exists(maker.front()) || geteuid() != 0) return false;
    WriteTestFile(image, "");
    fs::resize_file(image, std::uintmax_t{384} << 20);
    std::vector<std::string> make = maker;
    make.push_back(image);
    mounted_ = RunCommand(make).ExitCode == 0 &&
               RunCommand({"/bin/mount", "-o", "loop", image, Temp.DriveD()}).ExitCode == 0;
    return mounted_;
  }
  ~DiskOfStatesTest() override {
    if (mounted_) umount2(Temp.DriveD().c_str(), MNT_DETACH);
  }
  bool mounted_ = false;
};

TEST_F(DiskOfStatesTest, WhereBlocksAreSharedStatesAreIndependent) {
  if (!Mount({"/sbin/mkfs.btrfs", "-q"}) && !Mount({"/sbin/mkfs.xfs", "-q"})) {
    GTEST_SKIP() << "no file system that shares blocks";
  }
  Begin();
  Put("big", std::string(std::size_t{16} << 20, 'b'));
  Put("mode", std::string(std::size_t{16} << 20, 'm'));
  Run();
  const fs::path first = State();
  const Tree was = Describe(first);
  const auto used = [&] {
    RunCommand({"/bin/sync"});
    const fs::space_info space = fs::space(Temp.DriveD());
    return space.capacity - space.free;
  };
  const std::uintmax_t before = used();
  fs::permissions(Source() / "mode", fs::perms::owner_read);
  EXPECT_EQ(RunNextDay().UnchangedFiles, 2U) << LogLines();
  EXPECT_LT(used() - before, std::uintmax_t{8} << 20);
  EXPECT_NE(NumberOf(State() / "big"), NumberOf(first / "big"));
  EXPECT_EQ(Differences(Describe(State()), Describe(Source())), "");
  // Somebody edits a file of a backup.
  WriteTestFile(State() / "big", "edited");
  EXPECT_EQ(Differences(Describe(first), was), "");
}

TEST_F(DiskOfStatesTest, ADiskWithoutLinksGetsCopiesAndThePlanSaysSo) {
  if (!Mount({"/sbin/mkfs.vfat"})) GTEST_SKIP() << "no right to mount";
  Begin();
  Put("file", "content");
  Run();
  Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
  EXPECT_EQ(Foresee(Job()).Counters.CopiedFiles, 1U);
  EXPECT_EQ(Run().CopiedFiles, 1U);
  EXPECT_EQ(ReadTestFile(State() / "file"), "content");
  EXPECT_EQ(LogLines(), "");
}

TEST_F(DiskOfStatesTest, AFileOfAllTheNamesItMayHaveIsCopiedAndToldOnce) {
  if (!Mount({"/sbin/mkfs.ext4", "-q", "-F"})) GTEST_SKIP() << "no right to mount";
  Begin();
  for (const char* name : {"full", "full too", "other"}) Put(name, name);
  Run();
  fs::create_directories(Temp.DriveD() / "names");
  for (const char* name : {"full", "full too"}) {
    const fs::path from = State() / name;
    for (int i = 0;
         link(from.c_str(), (Temp.DriveD() / "names" / (name + std::to_string(i))).c_str()) == 0;
         ++i) {
    }
    ASSERT_EQ(errno, EMLINK);
  }
  const fs::path first = State();
  const RunCounters& counters = RunNextDay();
  EXPECT_EQ(counters.CopiedFiles, 2U);
  EXPECT_EQ(counters.UnchangedFiles, 1U);
  EXPECT_EQ(counters.FailedFiles + counters.WarningFiles, 0U);
  const std::string told = LogLines();
  EXPECT_TRUE(told.starts_with(": 檔案的硬連結已達上限，個別複製：C:\\src\\full")) << told;
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;
  EXPECT_EQ(NumberOf(State() / "other"), NumberOf(first / "other"));
  EXPECT_EQ(RunNextDay().CopiedFiles, 0U) << "the copies have room for names again";
}

}  // namespace
}  // namespace kavrel
