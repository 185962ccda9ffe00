// Every call that can fail, failing in turn, under every kind of command.
#include <gtest/gtest.h>

#include <cerrno>

#include "faults/world.h"

namespace kavrel::faults {
namespace {

/// What each kind of call fails with.
struct Kind {
  const char* Name;
  std::vector<std::string> What;
};
const std::vector<Kind> kFaults = {
    {"open", {std::to_string(EIO), std::to_string(EACCES), std::to_string(EROFS)}},
    {"stat", {std::to_string(EIO), std::to_string(ESTALE)}},
    {"read", {std::to_string(EIO), std::to_string(EINTR)}},
    {"list", {std::to_string(EIO)}},
    {"seek", {std::to_string(EIO)}},
    {"write", {std::to_string(ENOSPC), std::to_string(EDQUOT), "short"}},
    {"resize", {std::to_string(ENOSPC)}},
    {"copy", {std::to_string(EIO), std::to_string(ENOSPC), "short"}},
    {"rename", {std::to_string(EIO), std::to_string(EACCES)}},
    {"link", {std::to_string(EMLINK), std::to_string(EPERM), std::to_string(EIO)}},
    {"make", {std::to_string(ENOSPC), std::to_string(EROFS)}},
    {"unlink", {std::to_string(EIO)}},
    {"sync", {std::to_string(EIO), std::to_string(ENOSPC)}},
    {"attributes", {std::to_string(EPERM), std::to_string(EIO)}},
    {"close", {std::to_string(EIO), std::to_string(EDQUOT)}},
    {"spawn", {std::to_string(EAGAIN)}},
};

class FaultTest : public testing::TestWithParam<Scenario> {
 protected:
  /// Every call of `program` of every kind, failing in turn in every way.
  void Sweep(const std::string& program, unsigned long step) const {
    World world(GetParam());
    unsigned long injected = 0, start = 0, wrong = 0;
    std::vector<Kind> faults = kFaults;
    if (program != "kavrelctl") faults.push_back({"any", {"kill"}});
    for (const Kind& fault : faults) {
      for (const std::string& what : fault.What) {
        for (unsigned long at = 1 + start++ % step;; at += step) {
          world.Reset();
          const Fault now{fault.Name, at, what, {}, program};
          if (!world.Run(now)) break;
          ++injected;
          const std::string wrongs = world.Wrongs();
          if (!wrongs.empty() && ++wrong < 20) ADD_FAILURE() << now.Text() << "\n" << wrongs;
        }
      }
    }
    EXPECT_GT(injected, 0U);
    Count("faults injected", injected);
    Count("losses and untruths", wrong);
  }
};

TEST_P(FaultTest, NoSingleFaultCostsAFileOrGoesUntold) {
  Sweep("kavrelctl", SweepStep(23));
}

TEST_P(FaultTest, NorDoesOneOfTheArchiveProgram) {
  if (GetParam().Job[1] != "compressed") GTEST_SKIP() << "needs no archive program";
  Sweep("7zz", SweepStep(29));
}

/// A disk that is gone from some call on, each in turn: the source's, then the destination's.
TEST_P(FaultTest, ADiskThatIsPulledCostsNothing) {
  if (GetParam().Command.size() > 2) GTEST_SKIP() << "reads and writes no disk but its own";
  World world(GetParam());
  const unsigned long step = SweepStep(17);
  unsigned long injected = 0, wrong = 0;
  for (const bool origin : {true, false}) {
    for (unsigned long at = 1;; at += step) {
      world.Reset();
      const Fault now{"any", at, "gone", origin ? world.Origin() : world.Target()};
      if (!world.Run(now)) break;
      ++injected;
      std::string wrongs = origin ? world.Wrongs() : world.WrongsAfterKill();
      if (!origin) {
        // What could not be put back while the disk was away is, once it is there again.
        world.Run();
        wrongs += world.WrongsAfterHealing(false);
      }
      if (!wrongs.empty() && ++wrong < 20) ADD_FAILURE() << now.Text() << origin << "\n" << wrongs;
    }
  }
  EXPECT_GT(injected, 0U);
  Count("disks pulled", injected);
  Count("losses and untruths", wrong);
}

INSTANTIATE_TEST_SUITE_P(, FaultTest, testing::ValuesIn(kScenarios, kScenarios + kScenarioCount),
                         [](const auto& test) { return std::string(test.param.Name); });

}  // namespace
}  // namespace kavrel::faults
