#include "engine/run_planner.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <map>
#include <random>
#include <set>

#include "base/text.h"
#include "engine/restore.h"
#include "support/test_program.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

class RunPlannerTest : public testing::Test, protected TestProgram {
 protected:
  RunPlannerTest() { setenv("XDG_DATA_HOME", (Temp.Root() / "data").c_str(), 1); }
  ~RunPlannerTest() override { unsetenv("XDG_DATA_HOME"); }

  RunCounters Plan(RunPlan& plan) {
    RecordingHost host;
    RunState state;
    RunCounters counters;
    EXPECT_EQ(PlanBackupJob(Program.Context, host, state, Program.Store.Jobs[0], plan, counters),
              RunOutcome::Ran);
    return counters;
  }

  using Tree = std::map<std::string, std::string>;
  /// What tells one version of an entry from another, by relative path.
  static Tree Snapshot(const fs::path& root) {
    Tree tree;
    if (!fs::exists(root)) return tree;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
      if (IsBackupsOwn(FromUtf8(entry.path().filename().string()))) continue;
      struct stat found {};
      lstat(entry.path().c_str(), &found);
      const bool folder = S_ISDIR(found.st_mode);
      tree[fs::relative(entry.path(), root).string() + (folder ? "/" : "")] =
          folder ? "" : std::to_string(found.st_ino) + (found.st_size > 0 ? "+" : "");
    }
    return tree;
  }
  /// What became of the destination's entries, as the steps of a plan say it.
  static std::set<std::string> Changes(const Tree& before, const Tree& after) {
    std::set<std::string> changes;
    for (const auto& [path, version] : before) {
      const auto now = after.find(path);
      if (now == after.end()) {
        changes.insert("- " + path);
      } else if (now->second != version) {
        changes.insert("! " + path);
      }
    }
    for (const auto& [path, version] : after) {
      if (!before.contains(path)) changes.insert("+ " + path);
    }
    return changes;
  }
  static std::set<std::string> Changes(const RunPlan& plan) {
    std::set<std::string> changes;
    for (const PlanStep& step : plan.Steps) {
      const char* mark = step.Action == PlanAction::Copy      ? "+ "
                         : step.Action == PlanAction::Replace ? "! "
                         : step.Action == PlanAction::Recycle || step.Action == PlanAction::Delete
                             ? "- "
                             : nullptr;
      std::string path = ToUtf8(ReplaceAll(step.Path, u"\\", u"/"));
      if (step.IsFolder && !path.ends_with("/")) path += "/";
      if (mark && path != "/") changes.insert(mark + path);
    }
    return changes;
  }
};

void MakeRandomTree(const fs::path& folder, std::mt19937& random, int depth) {
  fs::create_directories(folder);
  for (int i = 0; i < 5; ++i) {
    const fs::path entry = folder / std::string(1, static_cast<char>('a' + random() % 8));
    if (fs::exists(fs::symlink_status(entry))) continue;
    switch (random() % (depth > 0 ? 5 : 3)) {
      case 0:
        fs::create_symlink(random() % 2 ? "here" : "there", entry);
        SetWritten(entry, {1000000000, 0});
        break;
      case 1:
      case 2:
        WriteTestFile(entry, std::string(1 + random() % 3, 'x'));
        SetWritten(entry, {1000000000 + static_cast<std::int64_t>(random() % 2) * 1000, 0});
        break;
      default:
        MakeRandomTree(entry, random, depth - 1);
    }
  }
}

TEST_F(RunPlannerTest, WhatThePlanSaysIsWhatTheRunDoes) {
  for (unsigned seed = 0; seed < 80; ++seed) {
    std::mt19937 random(seed);
    fs::remove_all(Source());
    fs::remove_all(Dest());
    MakeRandomTree(Source(), random, 3);
    if (random() % 8 != 0) MakeRandomTree(Dest(), random, 3);
    Program.Store.Jobs.clear();
    BackupJob& job = AddJob(static_cast<BackupType>(random() % 3));
    job.UseRecycleBin = random() % 2;
    job.IncludeSubfolders = random() % 4 != 0;
    job.LimitFileSize = random() % 4 == 0;
    if (random() % 4 == 0) job.FileTypes = u"[a-c];[c-e]";
    job.Extras.GuardMirror = false;
    RunPlan plan;
    const Tree before = Snapshot(Dest());
    const RunCounters planned = Plan(plan);
    ASSERT_EQ(Snapshot(Dest()), before);
    ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    EXPECT_EQ(planned, Program.Context.Report.Counters) << "seed " << seed;
    EXPECT_EQ(Changes(plan), Changes(before, Snapshot(Dest()))) << "seed " << seed;
    if (HasFailure()) break;
  }
}

TEST_F(RunPlannerTest, WhatARestorePlansIsWhatTheRestoreDoes) {
  for (unsigned seed = 0; seed < 80; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    fs::remove_all(Source());
    fs::remove_all(Dest());
    MakeRandomTree(Source(), random, 2);
    Program.Store.Jobs.clear();
    const bool packed = random() % 4 == 0 && Program.Archiver.Present();
    BackupJob& job = AddJob(packed ? BackupType::Compressed : BackupType::Full);
    ASSERT_EQ(Program.RunJobNow(0), RunOutcome::Ran);
    const fs::path target = random() % 4 == 0 ? Temp.DriveD() / "other" : Source();
    fs::remove_all(target);
    if (random() % 8 != 0) MakeRandomTree(target, random, 2);
    job.IncludeSubfolders = random() % 4 != 0;
    RestorePick pick;
    for (int i = 0; i < 3; ++i) pick.Paths.Add(std::u16string(1, u"abcdefgh"[random() % 8]));
    pick.ReplaceNewer = random() % 2;
    if (target != Source()) pick.Target = u"D:\\other\\";
    RestoreRequest request;
    request.Picker = NewestArchive;
    request.Mode = random() % 2 ? RestoreMode::Incremental : RestoreMode::Full;
    if (target != Source() || random() % 2) request.Pick = &pick;

    RunPlan plan;
    RunState state;
    RunCounters planned;
    const Tree before = Snapshot(Temp.Root());
    ASSERT_EQ(PlanRestore(Program.Context, Host, state, job, request, plan, planned),
              RunOutcome::Ran);
    EXPECT_EQ(Snapshot(Temp.Root()), before) << "nothing is written";
    const Tree at_target = Snapshot(target);
    EXPECT_EQ(request.Pick ? Program.RunRestorePickedNow(0, pick, NewestArchive)
                           : Program.RunRestoreNow(0, request.Mode, NewestArchive),
              RunOutcome::Ran);
    const RunCounters& done = Program.Context.Report.Counters;
    EXPECT_EQ(planned.CopiedFiles, done.CopiedFiles);
    EXPECT_EQ(planned.FailedFiles, done.FailedFiles);
    EXPECT_EQ(planned.UnchangedFiles, done.UnchangedFiles);
    EXPECT_EQ(planned.SourceFiles, done.SourceFiles);
    EXPECT_EQ(Changes(plan), Changes(at_target, Snapshot(target)));
    if (HasFailure()) break;
  }
}

TEST_F(RunPlannerTest, ReasonsAndSizesAndNothingIsWritten) {
  WriteTestFile(Source() / "new", "12345");
  WriteTestFile(Source() / "longer", "123");
  WriteTestFile(Source() / "touched", "12");
  WriteTestFile(Source() / "same", "1");
  WriteTestFile(Source() / "huge", std::string(3000, 'x'));
  WriteTestFile(Source() / "Temp" / "x", "x");
  mkfifo((Source() / "pipe").c_str(), 0600);
  WriteTestFile(Dest() / "longer", "1");
  WriteTestFile(Dest() / "touched", "12");
  WriteTestFile(Dest() / "same", "1");
  WriteTestFile(Dest() / "gone" / "x", "1234567");
  for (const char* name : {"longer", "same"}) {
    SetWritten(Source() / name, {1000000000, 0});
    SetWritten(Dest() / name, {1000000000, 0});
  }
  SetWritten(Dest() / "touched", {1000000000, 0});
  BackupJob& job = AddJob(BackupType::Synchronise);
  job.LimitFileSize = true;
  job.MaxFileSizeKB = 1;
  SetRules(true);
  RunPlan plan;
  const Tree before = Snapshot(Temp.Root());
  Plan(plan);
  EXPECT_EQ(Snapshot(Temp.Root()), before);
  std::map<std::u16string, std::tuple<PlanAction, PlanReason, std::uint64_t>> steps;
  for (const PlanStep& step : plan.Steps) steps[step.Path] = {step.Action, step.Reason, step.Size};
  using enum PlanAction;
  const decltype(steps) expected = {{u"new", {Copy, PlanReason::New, 5}},
                                    {u"longer", {Replace, PlanReason::Size, 3}},
                                    {u"touched", {Replace, PlanReason::Time, 2}},
                                    {u"huge", {LeaveOut, PlanReason::TooLarge, 3000}},
                                    {u"Temp\\", {LeaveOut, PlanReason::Rule, 0}},
                                    {u"pipe", {LeaveOut, PlanReason::Special, 0}},
                                    {u"gone\\x", {Delete, PlanReason::NotInSource, 7}},
                                    {u"gone\\", {Delete, PlanReason::NotInSource, 0}}};
  EXPECT_EQ(steps, expected);
  EXPECT_EQ(plan.NetBytes, 5 + 3 - 1 + 2 - 2 - 7);
  EXPECT_EQ(plan.Warnings,
            std::vector<std::u16string>{
                u"目標資料夾中有不是這個排程所備份的檔案：D:\\dst\\，將移除 1 個檔案，保留 3 個"});
}

TEST_F(RunPlannerTest, ACompressedJobListsWhatItPacks) {
  if (!Program.Archiver.Present()) GTEST_SKIP() << "no archive program";
  WriteTestFile(Source() / "a" / "b", "123");
  WriteTestFile(Source() / "c", "1");
  BackupJob& job = AddJob(BackupType::Compressed);
  job.FileTypes = u"b";
  RunPlan plan;
  EXPECT_EQ(Plan(plan).CopiedBytes, 3U);
  ASSERT_EQ(plan.Steps.size(), 1U);
  EXPECT_EQ(plan.Steps[0].Path, u"a/b");
  EXPECT_EQ(plan.Steps[0].Action, PlanAction::Pack);
  EXPECT_FALSE(fs::exists(Dest()));
  // Without a single file the run makes no archive, and fails.
  job.FileTypes = u"none";
  RunPlan none;
  EXPECT_EQ(Plan(none).FailedFiles, 1U);
  ASSERT_EQ(none.Steps.size(), 1U);
  EXPECT_EQ(none.Steps[0].Reason, PlanReason::NoFiles);
}

}  // namespace
}  // namespace kavrel
