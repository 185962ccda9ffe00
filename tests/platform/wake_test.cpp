#include "platform/wake.h"

#include <gtest/gtest.h>

#include <thread>

namespace kavrel {
namespace {

// A change that wakes nobody leaves both asleep for ever.
TEST(Wake, NoChangeIsSleptThrough) {
  constexpr std::uint32_t kRounds = 20000;
  std::atomic<std::uint32_t> there = 0, back = 0;
  std::thread other([&] {
    for (std::uint32_t i = 0; i < kRounds; ++i) {
      SleepWhile(there, i);
      back = i + 1;
      Wake(back);
    }
  });
  for (std::uint32_t i = 0; i < kRounds; ++i) {
    there = i + 1;
    Wake(there);
    SleepWhile(back, i);
  }
  other.join();
  EXPECT_EQ(back, kRounds);
}

}  // namespace
}  // namespace kavrel
