// Archives that a disk has damaged: whatever bytes turn, a restore puts nothing in a file's place
// but the file itself, and tells what it could not bring back.
#include <gtest/gtest.h>

#include <random>

#include "faults/world.h"

namespace fs = std::filesystem;

namespace kavrel::faults {
namespace {

class DamageTest : public testing::TestWithParam<const char*> {};

TEST_P(DamageTest, ARestoreBringsTheOldOrThePackedVersionAndTellsTheTruth) {
  RealJob job;
  std::mt19937 random(7);
  const auto write = [&](const char* version) {
    fs::remove_all(job.Source);
    for (int i = 0; i < 12; ++i) {
      std::string bytes = version + std::to_string(i);
      for (int more = i * 90; more > 0; --more) bytes += static_cast<char>(random());
      WriteTestFile(job.Source / ("d" + std::to_string(i % 3)) / std::to_string(i), bytes);
    }
    fs::create_symlink(version, job.Source / "link");
    return ReadTree(job.Source);
  };
  const Tree packed = write("packed");
  job.Make("compressed");
  ASSERT_EQ(job.Command({"run", "J", "--compression", GetParam()}).ExitCode, 0);
  fs::path archive;
  for (const auto& entry : fs::directory_iterator(job.Dest)) {
    if (entry.path().extension() == ".7z") archive = entry.path();
  }
  const std::string whole = ReadTestFile(archive);
  constexpr std::size_t kBlock = 512;
  const std::size_t blocks = (whole.size() + kBlock - 1) / kBlock;
  const bool all = SweepStep(0) == 1;
  const std::size_t flips = all ? 340 : 8;
  std::size_t refused = 0, tried = 0;
  for (std::size_t turn = 0; turn < blocks + flips; ++turn) {
    std::string damaged = whole;
    if (turn < blocks) {
      if (!all && turn % 3 != 0 && turn + 2 < blocks) continue;
      std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(turn * kBlock),
                  std::min(kBlock, whole.size() - turn * kBlock), '\0');
    } else {
      damaged[random() % whole.size()] ^= static_cast<char>(1 << random() % 8);
    }
    const Tree old = write("old");
    WriteTestFile(archive, damaged);
    const CommandResult result = job.Command({"restore", "J", "--latest"});
    const Tree found = ReadTree(job.Source);
    ++tried;
    refused += result.ExitCode != 0;
    EXPECT_TRUE(result.ExitCode <= 1) << turn << result.Errors;
    EXPECT_EQ(found.size(), old.size()) << turn;
    for (const auto& [path, entry] : old) {
      const bool there = found.contains(path),
                 is_new = there && found.at(path).SameContent(packed.at(path));
      EXPECT_TRUE(is_new || (there && found.at(path).SameContent(entry))) << turn << path;
      EXPECT_TRUE(is_new || result.ExitCode == 1) << turn << path;
    }
  }
  EXPECT_GT(refused, tried / 2);
  Count("damaged archives restored", tried);
}

INSTANTIATE_TEST_SUITE_P(, DamageTest, testing::Values("store", "fast", "full"),
                         [](const auto& test) { return std::string(test.param); });

}  // namespace
}  // namespace kavrel::faults
