// A run that is killed at any of its system calls: nothing is lost, and the next run heals.
#include <gtest/gtest.h>

#include "faults/world.h"

namespace kavrel::faults {
namespace {

/// Kills at every `step`-th call. After every other kill the next run finds no source files any
/// more, so that what the destination holds has to stand for itself.
void Sweep(World& world, unsigned long step, bool runs, bool may_empty) {
  unsigned long killed = 0, wrong = 0;
  for (unsigned long at = 1;; at += step) {
    world.Reset();
    const Fault fault{"any", at, "kill"};
    if (!world.Run(fault)) break;
    ++killed;
    std::string wrongs = world.WrongsAfterKill();
    const bool emptied = may_empty && killed % 2 == 0;
    if (emptied) world.EmptyOrigin();
    if (runs) {
      world.Run();
      wrongs += world.WrongsAfterHealing(emptied);
    }
    if (!wrongs.empty() && ++wrong < 20) ADD_FAILURE() << fault.Text() << "\n" << wrongs;
  }
  EXPECT_GT(killed, 0U);
  Count("kill points", killed);
  Count("losses and untruths", wrong);
}

class KillTest : public testing::TestWithParam<Scenario> {};

TEST_P(KillTest, AKilledRunCostsNothingAndTheNextOneHeals) {
  World world(GetParam());
  // A command that saves something heals by being whole; a mirror of an empty source is empty.
  const bool runs = GetParam().Command.size() == 2, mirror = GetParam().Job[1] == "sync",
             unpacks = GetParam().Restore && GetParam().Job[1] == "compressed";
  Sweep(world, SweepStep(29), runs, runs && !mirror && !unpacks);
}

TEST_P(KillTest, SoItIsInALargerTree) {
  if (GetParam().Job[1] == "compressed" || GetParam().Command.size() > 2) GTEST_SKIP();
  World world(GetParam(), 200);
  Sweep(world, SweepStep(40) == 1 ? 17 : 1009, true, false);
}

INSTANTIATE_TEST_SUITE_P(, KillTest, testing::ValuesIn(kScenarios, kScenarios + kScenarioCount),
                         [](const auto& test) { return std::string(test.param.Name); });

}  // namespace
}  // namespace kavrel::faults
