// Files of several names: what is one file in the source is one file in its copy, through runs that
// change it, restores and failures, and nothing is written through a name for another.
#include "engine/hard_links.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "engine/run_planner.h"
#include "platform/error_codes.h"
#include "support/test_program.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

constexpr FileTime kOld{1'000'000'000, 0}, kNew{1'200'000'000, 0};

/// For each file the first of its names below the folder.
std::map<std::string, std::string> LinksOf(const fs::path& root) {
  std::map<std::string, ino_t> numbers;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    struct stat found {};
    if (entry.path() == root / ".kavrel-sums") continue;
    if (entry.is_regular_file() && lstat(entry.path().c_str(), &found) == 0) {
      numbers[entry.path().lexically_relative(root)] = found.st_ino;
    }
  }
  std::map<std::string, std::string> links;
  std::map<ino_t, std::string> firsts;
  for (const auto& [name, number] : numbers) {
    links[name] = firsts.try_emplace(number, name).first->second;
  }
  return links;
}

ino_t NumberOf(const fs::path& path) {
  struct stat found {};
  return lstat(path.c_str(), &found) == 0 ? found.st_ino : 0;
}

class HardLinksTest : public testing::TestWithParam<BackupType>, protected TestProgram {
 protected:
  void SetUp() override {
    Put("one", kOld);
    Link("one", "a/one too");
    Link("one", "z/deep/one more");
    fs::create_hard_link(Source() / "one", Temp.Root() / "outside");
    Put("pair", kOld);
    Link("pair", "pair too");
    Put("m/left out.bak", kOld);
    Link("m/left out.bak", "m/taken");
    Link("m/left out.bak", "n/taken");
    Put("alone", kOld);
    AddJob(GetParam());
    Job().ExcludeFileTypes = true;
    Job().FileTypes = u"*.bak";
  }

  BackupJob& Job() { return Program.Store.Jobs[0]; }
  void Put(const std::string& name, FileTime time, const std::string& more = {}) {
    WriteTestFile(Source() / name, "content of " + name + more);
    SetWritten(Source() / name, time);
  }
  void Link(const std::string& name, const std::string& other) {
    fs::create_directories((Source() / other).parent_path());
    fs::create_hard_link(Source() / name, Source() / other);
  }
  /// The same bytes in a file of its own.
  static void Split(const fs::path& path) {
    const FileTime time = path.filename() == "pair too" ? kOld : kNew;
    const std::string bytes = ReadTestFile(path);
    fs::remove(path);
    WriteTestFile(path, bytes);
    SetWritten(path, time);
  }

  const RunCounters& Run() {
    Program.RunJobNow(0);
    ExpectSame();
    return Program.Context.Report.Counters;
  }
  void ExpectSame() {
    EXPECT_EQ(Program.Context.Report.Counters.FailedFiles, 0U) << LogLines();
    EXPECT_EQ(Program.Context.Report.Counters.WarningFiles, 0U) << LogLines();
    const fs::path kept = Temp.Root() / "kept.bak";
    const bool there = fs::exists(Source() / "m/left out.bak");
    if (there) fs::rename(Source() / "m/left out.bak", kept);
    EXPECT_EQ(LinksOf(Source()), LinksOf(Dest()));
    for (const auto& [name, first] : LinksOf(Source())) {
      EXPECT_EQ(ReadTestFile(Source() / name), ReadTestFile(Dest() / name)) << name;
      EXPECT_EQ(fs::status(Source() / name).permissions(), fs::status(Dest() / name).permissions())
          << name;
    }
    if (there) fs::rename(kept, Source() / "m/left out.bak");
  }
  bool Compares() const { return GetParam() != BackupType::Full; }
};

TEST_P(HardLinksTest, NamesOfOneFileAreNamesOfOneCopyAndAnotherRunDoesNothing) {
  const std::uint64_t bytes = Run().CopiedBytes;
  EXPECT_EQ(Program.Context.Report.Counters.CopiedFiles, 8U);
  // Each content once.
  EXPECT_LE(bytes, 4 * std::string("content of m/left out.bak").size());
  const ino_t before = NumberOf(Dest() / "one");
  Run();
  EXPECT_EQ(LogLines(), "");
  if (!Compares()) return;
  EXPECT_EQ(Program.Context.Report.Counters.UnchangedFiles, 8U);
  EXPECT_EQ(NumberOf(Dest() / "one"), before);
}

TEST_P(HardLinksTest, WhatIsLinkedSplitOrChangedBetweenRunsComesOutTheSame) {
  Run();
  const auto copied = [&](std::uint32_t files) {
    if (!Compares()) return;
    EXPECT_EQ(Program.Context.Report.Counters.CopiedFiles, files) << LogLines();
  };
  // As good, but no longer one file; then one again.
  Split(Source() / "pair too");
  RunPlan plan;
  RunCounters planned;
  PlanBackupJob(Program.Context, Host, Program.State, Job(), plan, planned);
  EXPECT_EQ(planned.CopiedFiles, Run().CopiedFiles);
  copied(1);
  fs::remove(Source() / "pair too");
  Link("pair", "pair too");
  const ino_t number = NumberOf(Dest() / "pair");
  Run();
  copied(0);
  if (Compares()) {
    EXPECT_EQ(Program.Context.Report.Counters.UnchangedFiles, 8U);
    EXPECT_NE(LogLines().find(": 建立硬連結 (成功)：D:\\dst\\pair"), std::string::npos);
    EXPECT_EQ(LogLines().find(": 建立硬連結"), LogLines().rfind(": 建立硬連結"));
    EXPECT_TRUE(NumberOf(Dest() / "pair") == number || NumberOf(Dest() / "pair too") != number);
  }
  // Split, and with other rights; written to through one name; replaced; a new name of an old file.
  Split(Source() / "pair too");
  chmod((Source() / "pair too").c_str(), 0600);
  Put("a/one too", kNew, " changed");
  fs::remove(Source() / "n/taken");
  Put("n/taken", kNew, " replaced");
  Link("alone", "z/not alone");
  Run();
  copied(6);
  // The rights of a file of several names.
  chmod((Source() / "one").c_str(), 0640);
  Run();
  copied(1);
  Run();
  copied(0);
  // A name goes, under a mirror from the copy as well; the others stay one file.
  fs::remove(Source() / "one");
  if (GetParam() != BackupType::Synchronise) fs::remove(Dest() / "one");
  Run();
  copied(0);
}

TEST_P(HardLinksTest, NothingIsWrittenThroughANameThatSomebodyElseHasGivenACopy) {
  Run();
  const fs::path snapshot = Temp.Root() / "snapshot", kept = Temp.Root() / "kept";
  fs::copy(Dest(), snapshot, fs::copy_options::recursive | fs::copy_options::create_hard_links);
  fs::copy(snapshot, kept, fs::copy_options::recursive);
  chmod((Source() / "one").c_str(), 0600);
  chmod((Source() / "alone").c_str(), 0600);
  Put("pair", kNew, " changed");
  Run();
  EXPECT_EQ(Program.Context.Report.Counters.CopiedFiles, Compares() ? 4U : 8U) << LogLines();
  for (const auto& [name, first] : LinksOf(kept)) {
    EXPECT_EQ(ReadTestFile(kept / name), ReadTestFile(snapshot / name)) << name;
    EXPECT_EQ(fs::status(kept / name).permissions(), fs::status(snapshot / name).permissions());
  }
}

TEST_P(HardLinksTest, RestoresBringLinksBackAndLeaveNoOthers) {
  Run();
  const auto wanted = LinksOf(Dest());
  for (const RestoreMode mode : {RestoreMode::Full, RestoreMode::Incremental}) {
    fs::remove_all(Source() / "z");
    Split(Source() / "pair too");
    fs::remove(Source() / "alone");
    fs::create_hard_link(Source() / "pair", Source() / "alone");
    fs::remove(Source() / "m/left out.bak");
    Program.RunRestoreNow(0, mode);
    EXPECT_EQ(LinksOf(Source()), wanted) << LogLines();
    Put("m/left out.bak", kOld);
  }
  RestorePick pick;
  for (const char16_t* name : {u"one", u"z", u"pair too"}) pick.Paths.Add(name);
  pick.Target = TempFolder::Text(Temp.Root() / "target");
  Program.RunRestorePickedNow(0, pick, NewestArchive);
  const std::map<std::string, std::string> picked{
      {"one", "one"}, {"pair too", "pair too"}, {"z/deep/one more", "one"}};
  EXPECT_EQ(LinksOf(Temp.Root() / "target"), picked) << LogLines();
}

TEST_P(HardLinksTest, ANewNameOfAFileThatOnlySeemsToBeItsCopyHasItsOwnContent) {
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  // Of another content, but of the size and time of the copy.
  WriteTestFile(Source() / "other", "Content of alone");
  SetWritten(Source() / "other", kOld);
  fs::rename(Source() / "other", Source() / "alone");
  Link("alone", "another name");
  EXPECT_EQ(Foresee(Job()).Counters.FailedFiles, 0U);
  ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(Dest() / "another name"), "Content of alone");
  // And back, where the backup's other names are gone.
  WriteTestFile(Source() / "pair", "Content of pair");
  SetWritten(Source() / "pair", kOld);
  fs::remove(Source() / "pair too");
  const std::string kept = ReadTestFile(Dest() / "pair too");
  ASSERT_EQ(Program.RunRestoreNow(0, RestoreMode::Incremental), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(Source() / "pair too"), kept);
}

TEST_P(HardLinksTest, AJobCanSwitchItOff) {
  Job().Extras.KeepHardLinks = false;
  Program.RunJobNow(0);
  for (const auto& [name, first] : LinksOf(Dest())) EXPECT_EQ(name, first);
  EXPECT_EQ(Program.Context.Report.Counters.CopiedFiles, 8U);
}

TEST_P(HardLinksTest, AFirstCopyThatCannotTakeItsNameLeavesItsLinksWhole) {
  Run();
  const std::string changed(300'000, 'c');
  Put("one", kNew, changed);
  // Folders come into the way between the copies and their names.
  bool done = false;
  Host.AtProgress = [&](std::uint64_t, std::uint64_t) {
    if (std::exchange(done, true)) return;
    fs::remove(Dest() / "one");
    WriteTestFile(Dest() / "one" / "in the way", "x");
  };
  Program.RunJobNow(0);
  Host.AtProgress = nullptr;
  EXPECT_TRUE(done);
  EXPECT_EQ(Program.Context.Report.Counters.FailedFiles, 1U) << LogLines();
  for (const char* name : {"a/one too", "z/deep/one more"}) {
    EXPECT_EQ(ReadTestFile(Dest() / name), "content of one" + changed) << name;
  }
  fs::remove_all(Dest() / "one");
  Run();
}

INSTANTIATE_TEST_SUITE_P(, HardLinksTest,
                         testing::Values(BackupType::Full, BackupType::Differential,
                                         BackupType::Synchronise));

/// The table alone, over two open folders.
class LinkTableTest : public testing::Test {
 protected:
  LinkTableTest() {
    WriteTestFile(temp_.DriveC() / "a", "content");
    fs::create_hard_link(temp_.DriveC() / "a", temp_.DriveC() / "b");
    WriteTestFile(temp_.DriveD() / "a", "content");
    pair_.Source = std::move(*temp_.Files().OpenFolder(u"C:\\"));
    pair_.Dest = std::move(*temp_.Files().OpenFolder(u"D:\\"));
  }
  FileStatus Source(std::u16string_view name) const { return *pair_.Source.Status(name); }
  FileStatus Copy() const { return *pair_.Dest.Status(u"a"); }

  TempFolder temp_;
  SetClock clock_{2009, 9, 23, 15, 4, 5};
  TempNames names_{clock_, nullptr, u""};
  FolderPair pair_;
  StagedFile staged_;
};

TEST_F(LinkTableTest, WhatIsNoLongerWhatWasCopiedIsNotLinked) {
  HardLinks links;
  const FileStatus source = Source(u"a"), copy = Copy();
  links.NoteFirst(pair_, u"a", {}, source, &copy);
  // The number is another file's by now, or the file has been written to.
  for (const int what : {0, 1, 2}) {
    FileStatus other = Source(u"b");
    if (what == 0) ++other.Size;
    if (what == 1) ++other.Written.Seconds;
    if (what == 2) ++(other.Made == FileTime{} ? other.Changed : other.Made).Seconds;
    EXPECT_EQ(links.Find(other, true), nullptr) << what;
  }
  HardLinks::FirstCopy* first = links.Find(Source(u"b"), true);
  ASSERT_NE(first, nullptr);
  // Nor where the copy is another file by now.
  fs::rename(temp_.DriveD() / "a", temp_.DriveD() / "kept");
  WriteTestFile(temp_.DriveD() / "a", "contend");
  EXPECT_EQ(links.Stage(*first, pair_, u"b", nullptr, names_, staged_), kErrNotFound);
  SetWritten(temp_.DriveD() / "kept", kOld);
  fs::rename(temp_.DriveD() / "kept", temp_.DriveD() / "a");
  EXPECT_EQ(links.Stage(*first, pair_, u"b", nullptr, names_, staged_), kErrNotFound);
  EXPECT_EQ(std::distance(fs::directory_iterator(temp_.DriveD()), {}), 1);
}

TEST_F(LinkTableTest, ItHoldsWhatIsStillToComeAndNoMoreThanItsBound) {
  HardLinks links(2000);
  FileStatus source = Source(u"a");
  const FileStatus copy = Copy();
  std::uint64_t held = 0;
  for (source.Id = 1; !links.IsFull(); ++source.Id) {
    links.NoteFirst(pair_, u"a", {}, source, &copy);
    ++held;
  }
  EXPECT_GT(held, 4U);
  EXPECT_EQ(links.Find(source, false), nullptr);
  source.Id = 1;
  ASSERT_NE(links.Find(source, false), nullptr);
  links.Forget(source);
  EXPECT_EQ(links.Find(source, false), nullptr);
  source.Id = 1000;
  links.NoteFirst(pair_, u"a", {}, source, &copy);
  EXPECT_NE(links.Find(source, false), nullptr) << "the room of the first one";
}

}  // namespace
}  // namespace kavrel
