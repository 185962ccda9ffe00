#include "schedule/pause.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"

namespace kavrel {
namespace {

using std::chrono::days;
using std::chrono::hours;
using std::chrono::seconds;

class PauseTest : public testing::Test {
 protected:
  const TempFolder temp_;
  const DateTime now_ = *FromCivil(2026, 11, 24, 23, 30, 5);
  SetClock clock_{now_};
  SchedulePause pause_{temp_.Files(), clock_};
  const std::filesystem::path file_ = temp_.Home() / "Pause.txt";
};

TEST_F(PauseTest, LastsUntilItsEndAndIsSeenByEveryProcess) {
  EXPECT_EQ(pause_.End(), std::nullopt);
  EXPECT_EQ(pause_.Resume(), 0) << "there is none";
  const DateTime midnight = EndOfPause(PauseChoice::Tomorrow, now_);
  EXPECT_EQ(PauseText(midnight), u"排程已暫停至 2026/11/25");
  ASSERT_EQ(pause_.Begin(midnight), 0);
  const SchedulePause another(temp_.Files(), clock_);
  EXPECT_EQ(another.End(), midnight);
  clock_.Set(midnight - seconds(1));
  EXPECT_EQ(another.End(), midnight);
  clock_.Set(midnight);
  EXPECT_EQ(another.End(), std::nullopt);

  ASSERT_EQ(pause_.Begin(EndOfPause(PauseChoice::NoEnd, now_)), 0);
  clock_.Set(now_ + days(4000));
  EXPECT_EQ(another.End(), kNoEnd);
  ASSERT_EQ(pause_.Begin(EndOfPause(PauseChoice::Hour, clock_.Now())), 0) << "in its place";
  EXPECT_EQ(another.End(), clock_.Now() + hours(1));
  ASSERT_EQ(pause_.Resume(), 0);
  EXPECT_EQ(another.End(), std::nullopt);
}

TEST_F(PauseTest, InDoubtIsNone) {
  ASSERT_EQ(pause_.Begin(now_ + hours(1)), 0);
  clock_.Set(now_ - hours(2));
  EXPECT_TRUE(pause_.End()) << "summer time has ended";
  clock_.Set(now_ - days(400));
  EXPECT_FALSE(pause_.End()) << "the clock was ahead when it was made";
  EXPECT_EQ(pause_.LastError(), 0);
  clock_.Set(now_);

  const std::string whole = ReadTestFile(file_);
  for (const std::string& text : {std::string(), whole.substr(0, 19),
                                  whole.substr(0, 25) + "\tsoon", std::string(9000, '0')}) {
    WriteTestFile(file_, text);
    EXPECT_FALSE(pause_.End()) << text;
    EXPECT_NE(pause_.LastError(), 0) << text;
  }
  std::filesystem::remove(file_);
  std::filesystem::create_directories(file_);
  EXPECT_FALSE(pause_.End());
  EXPECT_NE(pause_.LastError(), 0);
  EXPECT_NE(pause_.Begin(kNoEnd), 0);
}

}  // namespace
}  // namespace kavrel
