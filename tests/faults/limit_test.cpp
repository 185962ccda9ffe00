// What the system lets a process have: threads, open files, memory, stack, and the size of a file.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "faults/world.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

class LimitTest : public testing::TestWithParam<Scenario> {
 protected:
  /// Runs the command under a limit, and once more without it.
  void Try(const std::vector<std::string>& started_by, const std::string& limit) {
    world_.Reset();
    // The limit does not hold for root.
    if (geteuid() == 0 && limit.starts_with("--nproc")) {
      RunCommand({"/bin/chown", "-R", "65534:65534", world_.Root()});
    }
    world_.StartedBy = started_by;
    world_.StartedBy.insert(world_.StartedBy.end(), {"/usr/bin/prlimit", limit});
    world_.Run();
    world_.StartedBy.clear();
    const CommandResult limited = world_.Result;
    const bool out_of_memory = limited.Errors.find("out of memory") != std::string::npos;
    // A program that the system cannot load has done nothing.
    const bool started = limited.ExitCode != 127;
    std::string wrongs = out_of_memory || !started ? world_.WrongsAfterKill() : world_.Wrongs();
    if (out_of_memory != (limited.ExitCode == 4)) wrongs += "an untrue exit code\n";
    world_.Run();
    wrongs += world_.WrongsAfterHealing(false);
    EXPECT_EQ(wrongs, "") << limit << " " << limited.ExitCode << limited.Output << limited.Errors;
    ++tried_;
  }
  void TearDown() override { Count("limits tried", tried_); }

  World world_{GetParam(), 60};
  std::size_t tried_ = 0;
};

TEST_P(LimitTest, EndsWithToldFailuresOrSuccess) {
  for (const int files : {4, 5, 6, 7, 8, 10, 12, 16, 24}) {
    Try({}, "--nofile=" + std::to_string(files));
  }
  for (const int bytes : {3'000, 100'000}) Try({}, "--fsize=" + std::to_string(bytes));
  Try({}, "--stack=65536");
  const std::vector<std::string> somebody{"/usr/bin/setpriv", "--reuid=65534", "--regid=65534",
                                          "--clear-groups"};
  Try(geteuid() == 0 ? somebody : std::vector<std::string>(), "--nproc=1");
#ifndef __SANITIZE_ADDRESS__
  const int step = SweepStep(0) == 1 ? 100'000 : 700'000;
  for (int memory = 7'000'000; memory < 14'000'000; memory += step) {
    Try({}, "--as=" + std::to_string(memory));
  }
#endif
}

#ifndef __SANITIZE_ADDRESS__
/// Also before it has begun to look at its arguments.
TEST(MemoryTest, ItsEndIsToldFromTheFirstInstructionOn) {
  std::size_t told = 0, done = 0;
  for (int memory = 8'500'000; memory < 13'000'000; memory += 25'000) {
    const CommandResult result =
        RunCommand({"/usr/bin/prlimit", "--as=" + std::to_string(memory), KAVRELCTL, "--version"});
    if (result.ExitCode == 127) continue;  // The system cannot load it.
    const bool out_of_memory = result.Errors.find("out of memory") != std::string::npos;
    EXPECT_EQ(result.ExitCode, out_of_memory ? 4 : 0) << memory << ": " << result.Errors;
    ++(out_of_memory ? told : done);
  }
  EXPECT_GT(told, 0U);
  EXPECT_GT(done, 0U);
}
#endif

INSTANTIATE_TEST_SUITE_P(, LimitTest, testing::ValuesIn(kScenarios, kScenarios + 7),
                         [](const auto& test) { return std::string(test.param.Name); });

}  // namespace
}  // namespace kavrel::faults
