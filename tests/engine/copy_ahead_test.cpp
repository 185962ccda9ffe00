// Copying ahead must not show: whatever is in the tree and wherever a run is cancelled, it leaves
// what a run without it leaves, and its host has seen the same.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <random>

#include "support/command.h"
#include "support/test_program.h"
#include "support/tree.h"
#include "support/unprivileged.h"

namespace fs = std::filesystem;

namespace kavrel {
namespace {

/// Adds to a folder what copies meet: small and large files, links, files that nobody may read, and
/// at the destination older files, folders and links that are in the way.
void Grow(std::mt19937& random, const fs::path& source, const fs::path& dest, int depth) {
  const auto dice = [&](unsigned sides) { return static_cast<unsigned>(random() % sides); };
  fs::create_directories(source);
  if (dice(3)) fs::create_directories(dest);
  const unsigned files = dice(8) ? dice(12) : 120;
  for (unsigned i = 0; i < files; ++i) {
    const std::string name = "f" + std::to_string(i);
    constexpr std::size_t kSizes[] = {0, 1, 700, 131072, 131073, 300000, 1500000};
    WriteTestFile(source / name, std::string(kSizes[dice(20) ? dice(4) : dice(7)],
                                             static_cast<char>('a' + dice(26))));
    if (!dice(15)) fs::permissions(source / name, fs::perms::none);
    if (i > 0 && !dice(6)) {
      fs::remove(source / name);
      fs::create_hard_link(source / "f0", source / name);
    }
    if (!dice(20)) fs::create_symlink("f0", source / ("link" + name));
    if (!fs::exists(dest) || dice(2)) continue;
    switch (dice(8)) {
      case 0:
        fs::create_directory(dest / name);
        break;
      case 1:
        fs::create_symlink("elsewhere", dest / name);
        break;
      case 2:
        WriteTestFile(dest / ("pt23150405.tmp"), "a user's own");
        [[fallthrough]];
      default:
        WriteTestFile(dest / name, "old");
    }
  }
  for (unsigned i = depth > 0 ? dice(4) : 0; i > 0; --i) {
    const std::string name = "d" + std::to_string(i);
    Grow(random, source / name, dest / name, depth - 1);
  }
}

struct Trace {
  std::vector<std::pair<std::uint64_t, std::uint64_t>> Progress;
  std::vector<std::u16string> Names;
  std::string Log;
  RunCounters Counters;
};

/// One run of a job onto a fresh copy of the folder `before`, as a user without rights; the result
/// is kept as the folder `after`.
Trace RunTraced(TestProgram& program, BackupType type, bool ahead, std::size_t cancel_at,
                const fs::path& before, const fs::path& after) {
  EXPECT_EQ(RunCommand({"/bin/cp", "-a", before, program.Dest()}).ExitCode, 0);
  program.Clock.Set(*FromCivil(2009, 9, 23, 15, 4, 5));
  program.Host.Calls.clear();
  program.Host.Names.clear();
  program.Program.Context.CopyAhead = ahead;
  program.Host.AtProgress = [&](std::uint64_t, std::uint64_t) {
    if (program.Host.Calls.size() == cancel_at) program.Program.State.CancelRequested = true;
  };
  program.Program.Store.Jobs.clear();
  {
    const Unprivileged user;
    program.Program.RunJobNow(program.AddJob(type).JobIndex);
  }
  Trace trace;
  for (const RecordingHost::Progress& call : program.Host.Calls) {
    trace.Progress.emplace_back(call.Total, call.Done);
  }
  trace.Names = program.Host.Names;
  trace.Log = program.LogLines();
  trace.Counters = program.Program.Context.Report.Counters;
  fs::rename(program.Dest(), after);
  return trace;
}

void GiveToUser(const fs::path& path) {
  ASSERT_EQ(RunCommand({"/bin/chown", "-hR", "65534:65534", path}).ExitCode, 0);
}

TEST(CopyAhead, LeavesAndShowsTheSameAsARunWithoutIt) {
  if (geteuid() != 0) GTEST_SKIP() << "needs a second user";
  std::size_t progress = 0, failures = 0;
  for (unsigned seed = 0; seed < 12; ++seed) {
    TestProgram program;
    const fs::path kept = program.Temp.Root() / "kept", before = kept / "before";
    std::mt19937 random(seed);
    Grow(random, program.Source(), before, 3);
    fs::create_directories(before);
    GiveToUser(program.Temp.Root());
    const BackupType type = seed % 3 ? BackupType::Full : BackupType::Synchronise;
    const std::size_t cancel_at = seed % 2 ? 1 + seed * 7 % 90 : 0;
    const Trace with = RunTraced(program, type, true, cancel_at, before, kept / "with");
    const Trace without = RunTraced(program, type, false, cancel_at, before, kept / "without");
    EXPECT_EQ(with.Progress, without.Progress) << seed;
    EXPECT_EQ(with.Names, without.Names) << seed;
    EXPECT_EQ(with.Log, without.Log) << seed;
    EXPECT_TRUE(with.Counters == without.Counters) << seed;
    EXPECT_EQ(TreeDifferences(kept / "without", kept / "with"), "") << seed;
    progress += with.Progress.size();
    failures += with.Counters.FailedFiles;
  }
  // The trees held what they were grown for.
  EXPECT_GT(progress, 1000u);
  EXPECT_GT(failures, 20u);
}

}  // namespace
}  // namespace kavrel
