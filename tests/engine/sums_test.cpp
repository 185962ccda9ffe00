// The list of sums that a backup holds: after whatever a run did, each line of it is that of the
// file as it lies there, and each file has one.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "base/text.h"
#include "files/owner_mark.h"
#include "files/sum_list.h"
#include "support/command.h"
#include "support/test_program.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class SumsTest : public testing::Test, protected TestProgram {
 protected:
  std::map<std::string, ContentSum> Lines(const fs::path& root) const {
    std::map<std::string, ContentSum> lines;
    const FileSystem files(TempFolder::Text(Temp.Home()));
    const Result<Folder> folder = files.OpenFolder(TempFolder::Text(root));
    SumListReader reader(*folder, kSumList);
    while (const SumLine* line = reader.Next()) {
      EXPECT_TRUE(lines.emplace(line->Path, line->Sum).second) << "twice: " << line->Path;
    }
    return lines;
  }

  /// What is amiss in the list of a folder.
  std::string Amiss(const fs::path& root) const {
    std::map<std::string, ContentSum> lines = Lines(root);
    std::string amiss;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      if (!fs::is_regular_file(entry.symlink_status())) continue;
      const std::string path = entry.path().lexically_relative(root).generic_string();
      if (IsBackupsOwn(FromUtf8(path))) continue;
      const auto line = lines.find(path);
      if (line == lines.end()) {
        amiss += "no line: " + path + "\n";
        continue;
      }
      if (line->second != SumOf(ReadTestFile(entry.path()))) amiss += "wrong: " + path + "\n";
      lines.erase(line);
    }
    for (const auto& [path, sum] : lines) amiss += "too many: " + path + "\n";
    if (fs::exists(root / ".kavrel-sums.new")) amiss += "a journal is left\n";
    if (fs::exists(root / ".kavrel-sums.tmp")) amiss += "half a list is left\n";
    return amiss;
  }

  static fs::path List(const fs::path& root) { return root / ".kavrel-sums"; }
  FileStatus StatusOf(const fs::path& path) const {
    const Result<FileStatus> status =
        FileSystem(TempFolder::Text(Temp.Home())).Status(TempFolder::Text(path));
    EXPECT_EQ(status.Error, 0) << path;
    return *status;
  }
  void Write(const std::string& name, const std::string& content) {
    WriteTestFile(Source() / name, content);
  }
  void MakeTree() {
    Write("empty", "");
    Write("small", "a few bytes");
    Write("sub/at the border", std::string(512 << 10, 'b'));
    Write("sub/beyond it", std::string((512 << 10) + 1, 'c'));
    Write("sub/deep/large", std::string(5 << 20, 'd'));
    Write("is moved", "e");
    Write("goes", "g");
    Write("gone/a", "h");
    Write("several", std::string(3000, 'i'));
    fs::create_hard_link(Source() / "several", Source() / "sub/names");
#ifndef _WIN32
    Write("with\\backslash", "j");
    Write("with\nline\r's end", "k");
    Write("caf\xE9", "no UTF-8");
    fs::create_symlink("small", Source() / "link");
#endif
    std::ofstream(Source() / "holes") << "begin";
    fs::resize_file(Source() / "holes", 3 << 20);
    std::ofstream(Source() / "small holes") << "begin";
    fs::resize_file(Source() / "small holes", 300 << 10);
  }
  void ChangeTree() {
    Write("small", "other bytes, more of them");
    Write("sub/deep/large", std::string(6 << 20, 'x'));
    fs::remove(Source() / "goes");
    fs::remove_all(Source() / "gone");
    fs::rename(Source() / "is moved", Source() / "sub/moved");
    Write("new/one", "n");
  }
  void Run() {
    ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran) << LogLines();
  }
};

TEST_F(SumsTest, TheListIsRightAfterEachRunAndUntouchedByOneThatChangesNothing) {
  for (const BackupType type :
       {BackupType::Full, BackupType::Differential, BackupType::Synchronise}) {
    SCOPED_TRACE(static_cast<int>(type));
    fs::remove_all(Source());
    fs::remove_all(Dest());
    MakeTree();
    Program.Store.Jobs.clear();
    AddJob(type).Extras.GuardMirror = false;
    Run();
    EXPECT_EQ(Amiss(Dest()), "");
    ChangeTree();
    Run();
    EXPECT_EQ(Amiss(Dest()), "");
    EXPECT_EQ(TreeDifferences(Source(), Dest()) == "", type == BackupType::Synchronise);
    if (type == BackupType::Full) continue;
    const FileStatus before = StatusOf(List(Dest()));
    Run();
    const FileStatus after = StatusOf(List(Dest()));
    EXPECT_EQ(before.Id, after.Id);
    EXPECT_EQ(before.Changed, after.Changed);
  }
}

TEST_F(SumsTest, TheCheckCommandReadsIt) {
  MakeTree();
  fs::remove(Source() / "with\nline\r's end");  // for newer ones than Debian's
  AddJob();
  Run();
  const auto check = [&] {
    return RunCommand({"/bin/sh", "-c", "cd \"$1\" && xxh128sum --quiet -c .kavrel-sums", "sh",
                       Dest().string()})
        .ExitCode;
  };
  EXPECT_EQ(check(), 0);
  WriteTestFile(Dest() / "sub/beyond it", std::string((512 << 10) + 1, 'C'));
  EXPECT_EQ(check(), 1);
}

TEST_F(SumsTest, EachDatedFolderHasTheLinesOfWhatItShares) {
  MakeTree();
  Write("moves/x", "x");
  Write("moves/y", "y");
  AddJob(BackupType::Differential).Destination.Path = u"D:\\dst\\<yyyy>-<mm>-<dd>\\";
  Run();
  const fs::path first = Dest() / "2009-09-23", second = Dest() / "2009-09-24";
  ASSERT_TRUE(fs::exists(first)) << LogLines();
  EXPECT_EQ(Amiss(first), "");
  ChangeTree();
  fs::rename(Source() / "moves", Source() / "sub/came");
  Clock.Advance(std::uint64_t{24} * 60 * 60 * 1000);
  Run();
  ASSERT_TRUE(fs::exists(second)) << LogLines();
  EXPECT_EQ(Amiss(second), "");
  EXPECT_EQ(Amiss(first), "");
  EXPECT_EQ(StatusOf(first / "moves/x").Id, StatusOf(second / "sub/came/x").Id);
}

TEST_F(SumsTest, WhatAKilledRunLeftIsBelievedWhereOnlyOneFileCanBeMeant) {
  MakeTree();
  AddJob(BackupType::Differential);
  Run();
  // Killed between the journal and the names: one file was to be replaced, one is new.
  WriteTestFile(Dest() / "came", "came");
  Write("came", "came");
  fs::last_write_time(Dest() / "came", fs::last_write_time(Source() / "came"));
  WriteTestFile(Dest() / ".kavrel-sums.new",
                FormatSumLine({{}, "small"}) +
                    FormatSumLine({SumOf("what it was to be"), "small"}) +
                    FormatSumLine({SumOf("came"), "came"}) + "a torn li");
  Run();  // finds nothing to change
  EXPECT_EQ(Amiss(Dest()), "no line: small\n");
  EXPECT_EQ(Program.VerifyJobNow(0).Counters.Differences(), 0U);
  EXPECT_EQ(Amiss(Dest()), "");
}

TEST_F(SumsTest, AVerificationMakesWhatIsMissingAndLeavesWhatIsRight) {
  MakeTree();
  AddJob(BackupType::Synchronise);
  Run();
  const FileStatus before = StatusOf(List(Dest()));
  const FileStatus folder = StatusOf(Dest());
  EXPECT_EQ(Program.VerifyJobNow(0).Counters.Differences(), 0U);
  EXPECT_EQ(StatusOf(List(Dest())).Id, before.Id);
  const std::string good = ReadTestFile(List(Dest()));
  for (const std::string& spoilt :
       {std::string(), std::string("no list at all\n\0\xFF", 17), good.substr(0, good.size() / 2),
        FormatSumLine({SumOf("another content"), "small"})}) {
    WriteTestFile(List(Dest()), spoilt);
    EXPECT_EQ(Program.VerifyJobNow(0).Counters.Differences(), 0U);
    EXPECT_EQ(Amiss(Dest()), "") << spoilt;
  }
  EXPECT_EQ(StatusOf(Dest()).Written, folder.Written);
  // What differs from its source gets no line of what it is by now.
  fs::remove(List(Dest()));
  WriteTestFile(Dest() / "small", "spoilt here");
  EXPECT_EQ(Program.VerifyJobNow(0).Counters.Differences(), 1U);
  EXPECT_EQ(Amiss(Dest()), "no line: small\n");
}

TEST_F(SumsTest, EachOfAThousandFaultsIsFoundAndTheRightSideNamed) {
  constexpr int kFaults = 1000, kKinds = 5;
  const auto content = [](int i) {
    return "file " + std::to_string(i) + std::string(static_cast<std::size_t>(i % 97) * 41, 'x');
  };
  const auto name = [](int i) { return "d" + std::to_string(i % 10) + "/" + std::to_string(i); };
  for (int i = 0; i < kFaults + 100; ++i) Write(name(i), content(i));
  AddJob(BackupType::Differential);
  Run();
  const auto flipped = [&](int i) {
    std::string bytes = content(i);
    bytes[static_cast<std::size_t>(i) * 7 % bytes.size()] ^= static_cast<char>(1 << i % 8);
    return bytes;
  };
  std::map<std::string, ChangedSide> expected;
  for (int i = 0; i < kFaults; ++i) {
    const fs::path copy = Dest() / name(i), source = Source() / name(i);
    ChangedSide side = ChangedSide::Copy;
    switch (i % kKinds) {
      case 0:
        SpoilTestFile(copy, flipped(i));
        break;
      case 1:
        SpoilTestFile(copy, content(i).substr(0, content(i).size() - 1));
        break;
      case 2:
        SpoilTestFile(copy, content(i - 1));  // another file's content
        break;
      case 3:
        SpoilTestFile(source, flipped(i));
        MakeLater(copy);
        side = ChangedSide::Source;
        break;
      default:
        SpoilTestFile(source, flipped(i) + "more");
        fs::last_write_time(source, fs::last_write_time(source) + std::chrono::hours(1));
        side = ChangedSide::Source;
    }
    expected[name(i)] = side;
  }
  const VerifyReport report = Program.VerifyJobNow(0);
  EXPECT_EQ(report.Counters.Damaged, kFaults / kKinds * 4U);
  EXPECT_EQ(report.Counters.Changed, kFaults / kKinds * 1U);
  EXPECT_EQ(report.Counters.Equal, 100U);
  ASSERT_EQ(report.Differing.size(), std::size_t{kFaults});
  for (const VerifyDifference& difference : report.Differing) {
    std::string path = ToUtf8(difference.Path).substr(std::string("C:\\src\\").size());
    std::replace(path.begin(), path.end(), '\\', '/');
    ASSERT_TRUE(expected.contains(path)) << path;
    EXPECT_EQ(difference.Side, expected[path]) << path;
  }
  // Without the list nobody knows.
  fs::remove(List(Dest()));
  const VerifyReport unknown = Program.VerifyJobNow(0);
  EXPECT_EQ(unknown.Counters.Differences(), static_cast<std::uint32_t>(kFaults));
  EXPECT_EQ(unknown.Differing.front().Side, ChangedSide::Unknown);
}

TEST_F(SumsTest, WhoeverWritesAndPutsTheTimeBackHasSpoiltNothing) {
  Write("vault", std::string(4000, 'v'));
  AddJob(BackupType::Differential);
  Run();
  SpoilTestFile(Source() / "vault", std::string(4000, 'w'));
  const VerifyReport report = Program.VerifyJobNow(0);
  EXPECT_EQ(report.Counters.Changed, 1U);
  EXPECT_EQ(report.Counters.Damaged, 0U);
}

TEST_F(SumsTest, ARestoreTellsOfACopyThatItsSumConvicts) {
  for (const BackupType type : {BackupType::Differential, BackupType::Full}) {
    constexpr FileTime old{1'700'000'000, 5'000'005};
    Write("d/bad", "it was good");
    Write("fine", "fine");
    SetWritten(Source() / "d/bad", old);
    SetWritten(Source() / "fine", old);
    AddJob(type);
    Run();
    const fs::path copy = Dest() / "d/bad";
    const auto keeps_the_good = [&](std::string_view spoilt) {
      if (!spoilt.empty()) SpoilTestFile(copy, spoilt);
      EXPECT_EQ(Program.RunRestoreNow(0, RestoreMode::Full), RunOutcome::Ran);
      EXPECT_EQ(ReadTestFile(Source() / "d/bad"), "it was good");
      EXPECT_EQ(Program.Store.Jobs[0].LastRunResult.FailedFiles, 1U) << LogLines();
    };
    // The good file stays where both have one time or look the same.
    keeps_the_good("it was go");
    keeps_the_good("it was g00d");
    EXPECT_EQ(Program.VerifyJobNow(0).Counters.Damaged, 1U) << "the proof is still there";
    // And where it was touched and nobody has written to the copy, as far as its time tells and its
    // disk knows when it was made; permissions and links are changed by later runs and states.
    SetWritten(Source() / "d/bad", {old.Seconds + 3600, 0});
    if (StatusOf(copy).Made != FileTime()) {
      fs::permissions(copy, fs::perms(0600));
      keeps_the_good("it was g0");
      // Others have that content, too.
      SpoilTestFile(copy, "");
      keeps_the_good({});
      SpoilTestFile(copy, "fine");
      MakeLater(Dest() / std::u16string(kSumList));
      keeps_the_good({});
    }
    // What somebody has written, or put in the copy's place, is taken; and whatever else is there,
    // or nothing, makes way.
    const char* const changes[] = {"written", "replaced", "renamed", "something else", ""};
    for (const std::string_view change : changes) {
      if (change == "written") {
        WriteTestFile(copy, "it was g00d");
      } else if (change == "replaced") {
        Write("d/bad", "it was good");
        SpoilTestFile(copy, "it was g00d");
        SetWritten(copy, old);
        MakeLater(copy);
      } else if (change == "renamed") {
        Write("d/bad", "it was good");
        fs::rename(Dest() / "fine", copy);
      } else if (!change.empty()) {
        Write("d/bad", std::string(change));
      } else {
        fs::remove(Source() / "d/bad");
      }
      EXPECT_EQ(Program.RunRestoreNow(0, RestoreMode::Full), RunOutcome::Ran);
      EXPECT_EQ(Program.Store.Jobs[0].LastRunResult.FailedFiles, 0U);
      EXPECT_EQ(Program.Context.Report.Counters.WarningFiles, 1U) << LogLines();
      EXPECT_EQ(ReadTestFile(Source() / "d/bad"), ReadTestFile(copy));
      EXPECT_NE(LogLines().find("還原的檔案與備份時的校驗碼不符 (警告)："), std::string::npos);
    }
    Program.Store.Jobs.clear();
    fs::remove_all(Dest());
  }
}

TEST_F(SumsTest, ArchivesHaveTheirsBesideThem) {
  if (!Program.Context.Archiver.Present()) GTEST_SKIP() << "no archive program";
  Write("a", "a");
  AddJob(BackupType::Compressed);
  Run();
  Clock.Advance(std::uint64_t{2} * 60 * 60 * 1000);
  Run();
  EXPECT_EQ(Lines(Dest()).size(), 2U);
  EXPECT_EQ(Amiss(Dest()), "");
  // The archive of the hour is written anew, and one has gone.
  for (const auto& entry : fs::directory_iterator(Dest())) {
    if (entry.path().extension() != ".7z") continue;
    fs::remove(entry.path());
    break;
  }
  Write("b", "b");
  Run();
  EXPECT_EQ(Amiss(Dest()), "");
  fs::remove(List(Dest()));
  EXPECT_EQ(Program.VerifyJobNow(0).Counters.Differences(), 0U);
  EXPECT_EQ(Lines(Dest()).size(), 1U);
}

TEST_F(SumsTest, AnArchiveThatIsNotTheOneThatWasWrittenIsTold) {
  if (!Program.Context.Archiver.Present()) GTEST_SKIP() << "no archive program";
  Write("a", std::string(5000, 'a'));
  AddJob(BackupType::Compressed);
  Run();
  const auto archives = [&] {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(Dest())) {
      if (entry.path().extension() == ".7z") found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
  };
  Clock.Advance(std::uint64_t{2} * 60 * 60 * 1000);
  Write("a", "another");
  Run();
  ASSERT_EQ(archives().size(), 2U);
  const fs::path newest = archives()[1];
  const std::string good = ReadTestFile(newest), list = ReadTestFile(List(Dest()));
  const auto verified = [&](const std::string& bytes) {
    WriteTestFile(newest, bytes);
    const VerifyReport report = Program.VerifyJobNow(0);
    EXPECT_EQ(report.Counters.Damaged, 1U) << LogLines();
    EXPECT_EQ(report.Counters.Unreadable, 0U);
    EXPECT_EQ(ReadTestFile(List(Dest())), list);
    const VerifyReport read = Program.ScrubJobNow(0);
    EXPECT_EQ(read.Counters.Damaged, 1U) << LogLines();
    EXPECT_EQ(read.Counters.Equal, 1U);
    return report.Differing.empty() ? ChangedSide::Source : report.Differing[0].Side;
  };
  EXPECT_EQ(verified(ReadTestFile(archives()[0])), ChangedSide::Unknown);
  EXPECT_EQ(verified(good.substr(0, good.size() / 2)), ChangedSide::Copy);
  // Nor is it passed over when it is the only one.
  fs::rename(archives()[0], Temp.Root() / "oldest");
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Damaged, 1U);
  fs::rename(Temp.Root() / "oldest", Dest() / "2009年09月23日15時.7z");
  WriteTestFile(newest, good);
  EXPECT_EQ(Program.VerifyJobNow(0).Counters.Differences(), 0U);
  // Nor where two have changed places, and neither is a state any more.
  const std::vector<fs::path> both = archives();
  fs::rename(both[0], Temp.Root() / "one");
  fs::rename(both[1], both[0]);
  fs::rename(Temp.Root() / "one", both[1]);
  EXPECT_EQ(Program.ScrubJobNow(0).Counters.Damaged, 2U) << LogLines();
}

TEST_F(SumsTest, TheListIsNoPartOfWhatIsBackedUpAndGoesWithItsSwitch) {
  MakeTree();
  Write(".kavrel-sums", "somebody's own");
  BackupJob& job = AddJob(BackupType::Synchronise);
  Run();
  EXPECT_NE(LogLines().find("略過備份標記"), std::string::npos) << LogLines();
  EXPECT_EQ(Amiss(Dest()), "");
  ASSERT_EQ(Program.RunRestoreNow(0, RestoreMode::Full), RunOutcome::Ran);
  EXPECT_EQ(ReadTestFile(Source() / ".kavrel-sums"), "somebody's own");
  job.Extras.KeepSums = false;
  Run();
  EXPECT_TRUE(fs::exists(List(Dest()))) << "nothing has made it wrong";
  Write("small", "another text");
  Run();
  EXPECT_FALSE(fs::exists(List(Dest())));
}

}  // namespace
}  // namespace kavrel
