// Dated folders that share what did not change: each of them is the source as it was at its run and
// stays so, whatever comes after, and bears its name only once it is whole.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <map>
#include <random>

#include "base/text.h"
#include "engine/run_planner.h"
#include "engine/states.h"
#include "files/owner_mark.h"
#include "files/path.h"
#include "support/command.h"
#include "support/test_program.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

constexpr const char* kAttribute = "user.test";

using Tree = std::map<std::string, std::string>;

struct stat StatusOf(const fs::path& path) {
  struct stat found {};
  EXPECT_EQ(lstat(path.c_str(), &found), 0) << path;
  return found;
}

ino_t NumberOf(const fs::path& path) {
  return StatusOf(path).st_ino;
}

/// All that a state keeps of each entry; of files with several names in the tree, the first one.
Tree Describe(const fs::path& root) {
  Tree tree;
  std::map<ino_t, std::vector<std::string>> names;
  std::vector<fs::path> paths{root};
  for (const auto& entry : fs::recursive_directory_iterator(root)) paths.push_back(entry.path());
  for (const fs::path& path : paths) {
    const struct stat found = StatusOf(path);
    std::string& text = tree[path.lexically_relative(root)];
    text = std::to_string(found.st_mode) + " " + std::to_string(found.st_uid) + " " +
           std::to_string(found.st_mtim.tv_sec) + "." + std::to_string(found.st_mtim.tv_nsec);
    if (S_ISLNK(found.st_mode)) text += " -> " + fs::read_symlink(path).string();
    if (!S_ISREG(found.st_mode)) continue;
    char value[64];
    const ssize_t length = getxattr(path.c_str(), kAttribute, value, sizeof value);
    if (length > 0) text += " [" + std::string(value, static_cast<std::size_t>(length)) + "]";
    text += " " + ReadTestFile(path);
    names[found.st_ino].push_back(path.lexically_relative(root));
  }
  for (auto& [number, same] : names) {
    std::sort(same.begin(), same.end());
    for (const std::string& name : same) tree[name] += " = " + same.front();
  }
  return tree;
}

std::string Differences(const Tree& is, const Tree& was) {
  std::string text;
  for (const auto& [name, entry] : was) {
    const auto found = is.find(name);
    if (found == is.end()) {
      text += name + ": missing\n";
    } else if (found->second != entry) {
      text += name + ": " + found->second + ", was: " + entry + "\n";
    }
  }
  for (const auto& [name, entry] : is) {
    if (!was.contains(name)) text += name + ": too many\n";
  }
  return text;
}

class LinkedStatesTest : public testing::Test, protected TestProgram {
 protected:
  LinkedStatesTest() {
    setenv("XDG_DATA_HOME", (Temp.Root() / "data").c_str(), 1);
    fs::create_directories(Source());
  }
  ~LinkedStatesTest() override { unsetenv("XDG_DATA_HOME"); }

  BackupJob& Job() { return Program.Store.Jobs[0]; }
  void Begin(BackupType type = BackupType::Differential) {
    AddJob(type).Destination.Path = u"D:\\dst\\<yyyy>-<mm>-<dd> <hh>\\";
  }
  const RunCounters& Run() {
    Program.RunJobNow(0);
    return Program.Context.Report.Counters;
  }
  const RunCounters& RunNextDay() {
    Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
    return Run();
  }
  /// The folder of the present moment.
  fs::path State() const {
    const CivilTime now = ToCivil(const_cast<SetClock&>(Clock).Now());
    char name[32];
    snprintf(name, sizeof name, "%04d-%02d-%02d %02d", now.Year, now.Month, now.Day, now.Hour);
    return Dest() / name;
  }
  static fs::path Unfinished(const fs::path& state) { return state.string() + ".unfinished"; }
  void Put(const std::string& name, const std::string& content,
           FileTime time = {1'000'000'000, 7}) {
    WriteTestFile(Source() / name, content);
    SetWritten(Source() / name, time);
  }
  /// Makes a whole state one that an interrupted run has left.
  void Interrupt(const fs::path& state) const {
    fs::rename(state, Unfinished(state));
    const Result<Folder> folder = Temp.Files().OpenFolder(TempFolder::Text(Unfinished(state)));
    OwnerMark mark = *ReadOwnerMark(*folder);
    EXPECT_EQ(ToUtf8(PathName(DropBackslash(mark.Place))), state.filename());
    mark.Figures.reset();
    EXPECT_EQ(WriteOwnerMark(*folder, mark), 0);
  }
  /// Whatever is there may be used by an ordinary user, too.
  void OpenToAll() const {
    for (const fs::path& path :
         {Temp.Root(), Temp.Home(), Temp.Home() / "Log", Temp.DriveD(), Dest()}) {
      fs::create_directories(path);
      fs::permissions(path, fs::perms::all);
    }
  }
  /// Runs in a process that dies at that pump; false when the run ended before it.
  bool RunAndDie(int pump) {
    const pid_t child = fork();
    if (child == 0) {
      Host.AtPump = [&] {
        if (--pump <= 0) _exit(9);
      };
      Run();
      _exit(0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status) == 9;
  }
};

/// Changes of a source, so that sizes and times tell as little as they can.
class Changer {
 public:
  Changer(fs::path root, unsigned seed) : root_(std::move(root)), random_(seed) {
    for (int i = 0; i < 25; ++i) Create();
  }

  /// `plain`: one that sizes and times tell, which is all that a run into a folder that is there
  /// goes by.
  void Change(bool plain = false) {
    const fs::path a = Any(false), b = Any(false), folder = Any(true), other = Any(true);
    switch (plain ? Below(4) : Below(13)) {
      case 0:
      case 1:
        return Create();
      case 2:
        fs::remove(a);
        return;
      case 3:  // Written to in place, at another time.
        Write(a, 500 + Below(400));
        return;
      case 4:  // Another file of the same size and time.
        if (!fs::is_symlink(a)) {
          const struct stat old = StatusOf(a);
          fs::remove(a);
          Write(a, 0);
          SetWritten(a, {old.st_mtim.tv_sec, static_cast<std::int32_t>(old.st_mtim.tv_nsec)});
        }
        return;
      case 5:
        return Swap(a, b);
      case 6:
        if (folder != root_ && other != root_ && !Holds(folder, other) && !Holds(other, folder)) {
          Swap(folder, other);
        }
        return;
      case 7:
        fs::rename(a, folder / Name());
        return;
      case 8:
        if (folder != root_ && !Holds(folder, other)) fs::rename(folder, other / Name());
        return;
      case 9:
        if (!fs::is_symlink(a)) chmod(a.c_str(), Below(2) ? 0644 : 0400 | Below(0100));
        return;
      case 10:
        if (!fs::is_symlink(a)) fs::create_hard_link(a, folder / Name());
        return;
      case 11:
        fs::remove(a);
        fs::create_symlink("target " + std::to_string(Below(3)), a);
        return;
      default:
        if (!fs::is_symlink(a)) setxattr(a.c_str(), kAttribute, Below(2) ? "one" : "two", 3, 0);
    }
  }

 private:
  unsigned Below(unsigned end) { return static_cast<unsigned>(random_() % end); }
  std::string Name() { return "n" + std::to_string(++names_); }
  static bool Holds(const fs::path& folder, const fs::path& path) {
    return (path.string() + "/").starts_with(folder.string() + "/");
  }
  void Write(const fs::path& path, unsigned size) {
    const bool link = fs::is_symlink(path);
    if (link) fs::remove(path);
    if (!link && fs::exists(path)) chmod(path.c_str(), 0644);
    char text[16];
    snprintf(text, sizeof text, "%08u", ++contents_);
    WriteTestFile(path, text + std::string(size, '.'));
  }
  void Create() {
    const fs::path folder = Any(true);
    if (Below(4) == 0) {
      fs::create_directory(folder / Name());
    } else {
      const fs::path path = folder / Name();
      Write(path, 0);
      SetWritten(path, {1'000'000'000 + Below(2), static_cast<std::int32_t>(Below(2)) * 100});
    }
  }
  static void Swap(const fs::path& a, const fs::path& b) {
    if (a == b) return;
    const fs::path aside = a.string() + ".aside";
    fs::rename(a, aside);
    fs::rename(b, a);
    fs::rename(aside, b);
  }
  fs::path Any(bool folder) {
    std::vector<fs::path> found;
    if (folder) found.push_back(root_);
    for (const auto& entry : fs::recursive_directory_iterator(root_)) {
      const bool is_folder = entry.is_directory() && !entry.is_symlink();
      if (is_folder == folder) found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    if (found.empty()) {
      Create();
      return Any(folder);
    }
    return found[Below(static_cast<unsigned>(found.size()))];
  }

  const fs::path root_;
  std::mt19937 random_;
  unsigned names_ = 0, contents_ = 0;
};

class StatesOfRandomTreesTest : public LinkedStatesTest,
                                public testing::WithParamInterface<unsigned> {};

TEST_P(StatesOfRandomTreesTest, EachIsTheSourceAsItWasAndStaysSo) {
  const unsigned seed = GetParam();
  constexpr BackupType kTypes[] = {BackupType::Differential, BackupType::Synchronise,
                                   BackupType::Full};
  Begin(kTypes[seed % 3]);
  if (seed % 3 == 2) Job().Extras.LinkStates = LinkStates::Hard;
  Job().Extras.KeepNewest = 6;
  Changer source(Source(), seed);
  // From now on the store knows the job's identity, in whichever process it runs.
  Run();
  std::mt19937 random(seed + 1000);
  std::map<fs::path, Tree> states;
  const auto check = [&](const char* when) {
    for (auto at = states.begin(); at != states.end();) {
      if (!fs::exists(at->first)) {
        at = states.erase(at);
        continue;
      }
      EXPECT_EQ(Differences(Describe(at->first), at->second), "") << at->first << " " << when;
      ++at;
    }
  };
  for (int run = 0; run < 12 && !HasFailure(); ++run) {
    for (auto changes = random() % 8; changes > 0; --changes) source.Change();
    Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
    if (random() % 3 == 0) {
      const bool died = RunAndDie(static_cast<int>(1 + random() % 100));
      for (auto changes = random() % 3; changes > 0; --changes) source.Change(true);
      if (random() % 2 || !died) Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
    }
    RunPlan plan;
    RunCounters planned;
    RunState state;
    PlanBackupJob(Program.Context, Host, state, Job(), plan, planned);
    const Tree now = Describe(Source());
    const RunCounters& counters = Run();
    EXPECT_EQ(counters.FailedFiles + counters.WarningFiles, 0U) << LogLines();
    EXPECT_EQ(counters.CopiedFiles, planned.CopiedFiles);
    EXPECT_EQ(counters.UnchangedFiles, planned.UnchangedFiles);
    states[State()] = now;
    check("after a run");
    if (random() % 4 == 0) {
      source.Change(true);
      const Tree later = Describe(Source());
      Run();
      states[State()] = Job().Synchronise ? later : Describe(State());
      check("after another run into the same folder");
    }
    if (random() % 4 == 0) {
      auto back = states.begin();
      std::advance(back, random() % states.size());
      for (const auto& entry : fs::directory_iterator(Source())) fs::remove_all(entry);
      RestoreRequest request;
      request.Unit = u"D:\\dst\\" + FromUtf8(back->first.filename().string()) + u"\\";
      EXPECT_EQ(Program.RunRestoreNow(0, request), RunOutcome::Ran);
      EXPECT_EQ(Differences(Describe(Source()), back->second), "") << "restored";
      check("after a restore");
    }
  }
  EXPECT_LE(states.size(), 6U);
}
INSTANTIATE_TEST_SUITE_P(, StatesOfRandomTreesTest, testing::Range(0U, 24U));

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
    Job().Extras.LinkStates = choice.How;
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
    Job().Extras.LinkStates = LinkStates::Off;
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
  Job().Extras.LinkStates = LinkStates::Auto;
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
  fs::permissions(locked, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read |
                              fs::perms::others_exec);
  for (const BackupType type :
       {BackupType::Full, BackupType::Differential, BackupType::Synchronise}) {
    SetJobType(Job(), type);
    Put("locked/goes", "1");
    Put("locked/changes", "1");
    {
      const Unprivileged user;
      EXPECT_EQ(RunNextDay().FailedFiles, 0U) << LogLines();
      Interrupt(State());
    }
    fs::remove(locked / "goes");
    Put("locked/changes", "2", {1'100'000'000, 0});
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
  RunPlan plan;
  RunCounters planned;
  RunState state;
  PlanBackupJob(Program.Context, Host, state, Job(), plan, planned);
  EXPECT_EQ(planned.CopiedFiles, 1U);
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
