#include "walk/scope.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <optional>
#include <random>
#include <set>

#include "archive/compressed_backup.h"
#include "base/text.h"
#include "engine/into_plan.h"
#include "engine/restore.h"
#include "engine/run_driver.h"
#include "engine/run_planner.h"
#include "engine/tree_count.h"
#include "engine/verify.h"
#include "support/test_program.h"
#include "support/tree.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

using Paths = std::set<std::string>;

/// The files of a plan that are to be copied or packed, and the others that stay out.
struct Planned {
  Paths Taken, LeftOut;
};

Planned Sort(const RunPlan& plan) {
  Planned sorted;
  for (const PlanStep& step : plan.Steps) {
    std::string path = ToUtf8(ReplaceAll(step.Path, u"\\", u"/"));
    if (step.IsFolder) continue;
    if (step.Action == PlanAction::Copy || step.Action == PlanAction::Pack) {
      EXPECT_TRUE(sorted.Taken.insert(path).second) << path << " comes twice";
    }
    if (step.Action == PlanAction::LeaveOut && step.Reason != PlanReason::TooLarge) {
      EXPECT_TRUE(sorted.LeftOut.insert(path).second) << path << " comes twice";
    }
  }
  return sorted;
}

Paths FilesBelow(const fs::path& root) {
  Paths found;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (entry.path() == root / ".kavrel-sums") continue;
    if (entry.is_symlink() || !entry.is_directory()) {
      found.insert(entry.path().lexically_relative(root).string());
    }
  }
  return found;
}

struct Counted {
  std::uint64_t Files, Bytes;
};

class ScopeTest : public testing::TestWithParam<bool>, protected TestProgram {
 protected:
  std::size_t Pick(std::size_t choices) { return random_() % choices; }

  void MakeTree(const fs::path& folder, int depth) {
    fs::create_directories(folder);
    const std::string names[] = {"a.txt", "b.jpg", "c.tmp", "a.jpg", "data", "big.txt", "x"};
    for (const std::string& name : names) {
      const fs::path path = folder / name;
      switch (Pick(8)) {
        case 0:
          break;
        case 1:
          fs::create_symlink("a.txt", path);
          break;
        case 2:
          ASSERT_EQ(mkfifo(path.c_str(), 0666), 0);
          break;
        default:
          WriteTestFile(path, std::string(Pick(4) * 1500, 'x'));
          if (Pick(8) == 0) hidden_.insert(path);
      }
    }
    for (const std::string name : {"sub", "Temp", "dst", "dst2"}) {
      if (depth == 0 || Pick(3) == 0) continue;
      MakeTree(folder / name, depth - 1);
      if (Pick(8) == 0) closed_.insert(folder / name);
    }
  }

  BackupJob& MakeJob() {
    BackupJob& job = AddJob(Pick(2) ? BackupType::Full : BackupType::Differential);
    const char16_t* types[] = {u"*.*", u"*.txt;a.*", u"*.jpg;*.txt;*", u"data"};
    job.FileTypes = types[Pick(4)];
    job.ExcludeFileTypes = job.FileTypes != u"*.*" && Pick(3) == 0;
    job.IncludeSubfolders = Pick(4) != 0;
    job.LimitFileSize = Pick(2) == 0;
    job.MaxFileSizeKB = 2;
    if (Pick(3) == 0) job.Destination.Path = u"C:\\src\\dst\\";
    return job;
  }

  Counted Count(const BackupJob& job, bool restore = false) const {
    const std::u16string backup = Program.DestinationNow(job), &source = job.Source.Path;
    TreeCount count(Program.Files, restore ? backup : source, restore ? source : backup,
                    restore ? Scope::OfRestore(job.IncludeSubfolders)
                            : Scope(Program.Files, job, Program.Exclusions, backup));
    while (!count.Advance(3)) {
    }
    return {count.Files(), count.Bytes()};
  }

  std::mt19937 random_;
  std::set<fs::path> hidden_, closed_;  ///< what an ordinary user cannot read
};

/// Whatever a source is like and whoever runs: the plan, the count, the run, the verification and
/// the list of an archive see one and the same tree.
TEST_P(ScopeTest, PlanCountRunVerificationAndArchiveListAgree) {
  const bool user = GetParam() || geteuid() != 0;
  for (std::uint32_t seed = 0; seed < 12; ++seed) {
    SCOPED_TRACE(seed);
    random_.seed(seed);
    fs::remove_all(Source());
    fs::remove_all(Dest());
    hidden_.clear(), closed_.clear();
    Program.Store.Jobs.clear();
    MakeTree(Source(), 3);
    BackupJob& job = MakeJob();
    const fs::path dest = job.Destination.Path == u"D:\\dst\\" ? Dest() : Source() / "dst";
    fs::remove_all(dest);
    fs::create_directories(dest);
    SetRules(Pick(2) == 0);
    const ExclusionRule folder{true, u"folder", u"*", u"Temp\\", u"*", u"", u"", u""};
    const ExclusionRule file{true, u"file", u"*", u"*", u"*.tmp", u"", u"", u""};
    ASSERT_TRUE(Program.Exclusions.SaveExclusions({folder, file}));
    std::error_code gone;
    for (const fs::path& path : hidden_) fs::permissions(path, fs::perms::none, gone);
    for (const fs::path& path : closed_) fs::permissions(path, fs::perms::owner_all, gone);
    if (user) {
      for (const fs::path& path : {Temp.Root(), Temp.Home(), Temp.Home() / "Log", dest}) {
        fs::permissions(path, fs::perms::all, gone);
      }
    }

    RunPlan plan, packing, whole;
    RunCounters planned, run;
    Counted counted;
    VerifyReport verified;
    std::uint32_t verified_files = 0;
    std::u16string run_log;
    {
      std::optional<Unprivileged> nobody;
      if (GetParam()) nobody.emplace();
      BackupJob copy = job;
      copy.Source.WorkPath = job.Source.Path;
      copy.Destination.WorkPath = job.Destination.Path;
      planned = PlanWalk(Program.Context, copy, plan);
      counted = Count(job);
      ASSERT_EQ(RunBackupJob(Program.Context, job).Outcome, RunOutcome::Ran);
      run = Program.Context.Report.Counters;
      run_log = Program.Log.CurrentPath();
      verified = RunVerifyJob(Program.Context, job);
      verified_files = Program.Context.Report.Counters.SourceFiles;
      // Archives know no rules, and take in the subfolders always.
      Program.Exclusions.ExcEnabled = false;
      copy.IncludeSubfolders = true;
      PlanningContext apart(Program.Context, packing);
      ArchiveContext archiving = apart.Context.Archiving();
      copy.Destination.WorkPath = u"D:\\elsewhere\\";
      PlanCompression(archiving, copy);
      PlanWalk(Program.Context, copy, whole);
    }
    const Planned steps = Sort(plan);
    const Paths made = FilesBelow(dest);
    // What can be looked at and not be read fails in the run; what was too large never comes.
    Paths missing;
    for (const std::string& path : steps.Taken) {
      if (!made.contains(path)) missing.insert(path);
    }
    for (const std::string& path : made) EXPECT_TRUE(steps.Taken.contains(path)) << path;
    for (const std::string& path : missing) {
      EXPECT_TRUE(user && hidden_.contains(Source() / path)) << path;
    }
    EXPECT_EQ(planned.SourceFiles, run.SourceFiles);
    EXPECT_EQ(planned.SourceBytes, run.SourceBytes);
    EXPECT_EQ(planned.Folders, run.Folders);
    EXPECT_EQ(planned.ExcludedFiles, run.ExcludedFiles);
    EXPECT_EQ(planned.ExcludedFolders, run.ExcludedFolders);
    // A file of two patterns that cannot be read fails twice; no plan opens files.
    EXPECT_LE(planned.UnchangedFiles - run.UnchangedFiles, missing.size());
    EXPECT_EQ(planned.UnchangedFiles + planned.CopiedFiles + planned.FailedFiles,
              run.UnchangedFiles + run.CopiedFiles + run.FailedFiles);
    EXPECT_EQ(counted.Files, run.SourceFiles);
    EXPECT_EQ(counted.Bytes, run.SourceBytes);
    EXPECT_LE(verified_files, run.SourceFiles);
    EXPECT_EQ(verified.Counters.Equal, made.size());
    if (!user) {
      EXPECT_EQ(verified.Counters.Differences(), 0U);
      EXPECT_EQ(run.FailedFiles, 0U) << LogText(run_log);
    }
    EXPECT_EQ(Sort(packing).Taken, Sort(whole).Taken);
    EXPECT_EQ(Sort(packing).LeftOut, Sort(whole).LeftOut);
    for (const fs::path& path : closed_) fs::permissions(path, fs::perms::all, gone);
    counted = Count(job, true);
    ASSERT_EQ(RunRestoreJob(Program.Context, job, {RestoreMode::Incremental}).Outcome,
              RunOutcome::Ran);
    EXPECT_EQ(counted.Files, Program.Context.Report.Counters.SourceFiles);
    EXPECT_EQ(counted.Bytes, Program.Context.Report.Counters.SourceBytes);
  }
}

INSTANTIATE_TEST_SUITE_P(User, ScopeTest, testing::Bool());

}  // namespace
}  // namespace kavrel
