#include "engine/tree_count.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "engine/restore.h"
#include "engine/run_driver.h"
#include "support/test_program.h"

namespace kavrel {
namespace {

/// A tree with everything that a walk treats in a way of its own.
void MakeTree(const std::filesystem::path& root) {
  for (const char* name : {"a.txt", "b.jpg", "sub/c.txt", "sub/deep/d.jpg", "Temp/e.txt",
                           "sub/f.tmp", "sub/deep/g.txt", "big.txt"}) {
    WriteTestFile(root / name, std::string(std::string(name) == "big.txt" ? 5000 : 100, 'x'));
  }
  std::filesystem::create_directories(root / "empty/inner");
  std::filesystem::create_symlink("a.txt", root / "link");
  std::filesystem::create_directory_symlink(root, root / "loop");
}

struct Counted {
  std::uint64_t Files, Bytes;
};

Counted Count(TestProgram& test, const BackupJob& job, bool restore, std::size_t slice) {
  const std::u16string backup = test.Program.DestinationNow(job);
  TreeCount count(test.Program.Files, restore ? backup : job.Source.Path,
                  restore ? job.Source.Path : backup,
                  restore ? Scope::OfRestore(job.IncludeSubfolders)
                          : Scope(job, test.Program.Exclusions, backup));
  for (int i = 0; !count.Advance(slice); ++i) {
    if (i == 1000) ADD_FAILURE() << "no end";
  }
  return {count.Files(), count.Bytes()};
}

TEST(TreeCount, CountsWhatARunThenFinds) {
  struct Case {
    const char* What;
    void (*Change)(TestProgram&, BackupJob&);
  };
  const Case kCases[] = {
      {"everything", [](TestProgram&, BackupJob&) {}},
      {"top folder only", [](TestProgram&, BackupJob& job) { job.IncludeSubfolders = false; }},
      {"two types that meet", [](TestProgram&, BackupJob& job) { job.FileTypes = u"*.txt;a.*"; }},
      {"without a type",
       [](TestProgram&, BackupJob& job) {
         job.FileTypes = u"*.jpg";
         job.ExcludeFileTypes = true;
       }},
      {"size limit",
       [](TestProgram&, BackupJob& job) {
         job.LimitFileSize = true;
         job.MaxFileSizeKB = 2;
       }},
      {"rules",
       [](TestProgram& test, BackupJob&) {
         test.SetRules(true);
         ExclusionRule folder{true, u"folder", u"*", u"Temp\\", u"*", u"", u"", u""};
         ExclusionRule file{true, u"file", u"*", u"*", u"*.tmp", u"", u"", u""};
         EXPECT_TRUE(test.Program.Exclusions.SaveExclusions({folder, file}));
       }},
      {"destination inside",
       [](TestProgram&, BackupJob& job) { job.Destination.Path = u"C:\\src\\sub\\backup\\"; }},
  };
  for (const auto& [what, change] : kCases) {
    SCOPED_TRACE(what);
    TestProgram test;
    MakeTree(test.Source());
    WriteTestFile(test.Source() / "sub/backup/old.txt", "old");
    BackupJob& job = test.AddJob();
    change(test, job);
    const Counted counted = Count(test, job, false, 3);
    ASSERT_EQ(RunBackupJob(test.Program.Context, job).Outcome, RunOutcome::Ran);
    const RunCounters& counters = test.Program.Context.Report.Counters;
    EXPECT_GT(counted.Files, 0U);
    EXPECT_EQ(counted.Files, counters.SourceFiles);
    EXPECT_EQ(counted.Bytes, counters.SourceBytes);
    const Counted back = Count(test, job, true, 1000);
    ASSERT_EQ(RunRestoreJob(test.Program.Context, job, {RestoreMode::Incremental}).Outcome,
              RunOutcome::Ran);
    EXPECT_EQ(back.Files, test.Program.Context.Report.Counters.SourceFiles);
    EXPECT_EQ(back.Bytes, test.Program.Context.Report.Counters.SourceBytes);
  }
}

TEST(TreeCount, AMissingFolderIsCountedAtOnce) {
  TestProgram test;
  BackupJob& job = test.AddJob();
  EXPECT_EQ(Count(test, job, false, 1).Files, 0U);
}

}  // namespace
}  // namespace kavrel
