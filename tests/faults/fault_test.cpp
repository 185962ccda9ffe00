// Every call that can fail, failing in turn, under every kind of command.
#include <gtest/gtest.h>

#include <cerrno>

#include "faults/world.h"

namespace kavrel::faults {
namespace {

/// What each kind of call fails with.
const struct {
  const char* Kind;
  std::vector<std::string> What;
} kFaults[] = {
    {"open", {std::to_string(EIO), std::to_string(EACCES), std::to_string(EROFS)}},
    {"stat", {std::to_string(EIO), std::to_string(ESTALE)}},
    {"read", {std::to_string(EIO), std::to_string(EINTR)}},
    {"list", {std::to_string(EIO)}},
    {"seek", {std::to_string(EIO)}},
    {"write", {std::to_string(ENOSPC), std::to_string(EDQUOT), "short"}},
    {"resize", {std::to_string(ENOSPC)}},
    {"copy", {std::to_string(EIO), std::to_string(ENOSPC), "short"}},
    {"rename", {std::to_string(EIO), std::to_string(EACCES)}},
    {"make", {std::to_string(ENOSPC), std::to_string(EROFS)}},
    {"unlink", {std::to_string(EIO)}},
    {"sync", {std::to_string(EIO), std::to_string(ENOSPC)}},
    {"attributes", {std::to_string(EPERM), std::to_string(EIO)}},
    {"close", {std::to_string(EIO), std::to_string(EDQUOT)}},
    {"spawn", {std::to_string(EAGAIN)}},
};

class FaultTest : public testing::TestWithParam<Scenario> {};

TEST_P(FaultTest, NoSingleFaultCostsAFileOrGoesUntold) {
  World world(GetParam());
  const unsigned long step = SweepStep(23);
  unsigned long injected = 0, start = 0, wrong = 0;
  for (const auto& fault : kFaults) {
    for (const std::string& what : fault.What) {
      for (unsigned long at = 1 + start++ % step;; at += step) {
        world.Reset();
        const Fault now{fault.Kind, at, what};
        if (!world.Run(now)) break;
        ++injected;
        const std::string wrongs = world.Wrongs();
        if (!wrongs.empty() && ++wrong < 20) ADD_FAILURE() << now.Text() << "\n" << wrongs;
      }
    }
  }
  Count("faults injected", injected);
  Count("losses and untruths", wrong);
}

INSTANTIATE_TEST_SUITE_P(, FaultTest, testing::ValuesIn(kScenarios, kScenarios + kScenarioCount),
                         [](const auto& test) { return std::string(test.param.Name); });

}  // namespace
}  // namespace kavrel::faults
