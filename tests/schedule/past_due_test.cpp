#include "schedule/past_due.h"

#include <gtest/gtest.h>

#include "base/number.h"
#include "base/text.h"

namespace kavrel {
namespace {

using std::chrono::minutes;

const DateTime kNow = *FromCivil(2009, 9, 23, 14, 7, 30);

BackupJob Overdue(std::u16string name, bool enabled) {
  BackupJob job;
  job.Name = std::move(name);
  job.Enabled = enabled;
  job.NextRun = *FromCivil(2009, 9, 23, 1);
  job.EveryMinutes = 10;
  return job;
}

TEST(PastDueQuestion, CountsDownToItsDefaultAction) {
  PastDueQuestion question;
  question.Action = u"立刻備份";
  question.SetJob(Overdue(u"文件", true));
  EXPECT_EQ(ToUtf8(question.Message()),
            "Kavrel發現到【文件】在【2009/9/23 上午 01:00:00】時間內並未做備份，您要：");
  question.Load();
  question.Tick();
  EXPECT_EQ(question.Caption(), u" ");
  for (int left = 18; left >= 0; --left) {
    EXPECT_FALSE(question.Answered());
    question.Tick();
    EXPECT_EQ(ToUtf8(question.Caption()),
              "Kavrel將於 " + std::to_string(left) + " 秒後將會立即執行【立刻備份】");
  }
  EXPECT_TRUE(question.Answered() && question.TimedOut && !question.Later);

  question.DefaultLater = true;
  question.Load();
  for (int i = 0; i < 19; ++i) question.Tick();
  EXPECT_FALSE(question.Answered());
  question.Tick();
  EXPECT_TRUE(question.Answered() && question.TimedOut && question.Later);
}

TEST(PastDueQuestion, AUserWhoLooksStopsTheCountdown) {
  PastDueQuestion question;
  question.Load();
  for (int i = 0; i < 10; ++i) question.Tick();
  question.StopCountdown();
  for (int i = 0; i < 100; ++i) question.Tick();
  EXPECT_FALSE(question.Answered());
  question.Answer(true);
  EXPECT_TRUE(question.Later && !question.TimedOut);
}

TEST(PastDueRule, MovesWhatIsOffOrPutOffAndLeavesTheRestToTheFirstTick) {
  PastDueState state;
  int asked = 0;
  bool later = false;
  const AskPastDue ask = [&](PastDueQuestion& question) {
    ++asked;
    question.Answer(later);
  };
  BackupJob off = Overdue(u"off", false), now = Overdue(u"now", true), put_off = now;
  BackupJob future = now;
  future.NextRun = kNow;
  EXPECT_TRUE(ApplyPastDueRule(off, kNow, state, ask));
  EXPECT_EQ(off.NextRun, *FromCivil(2009, 9, 23, 14, 10));
  EXPECT_FALSE(ApplyPastDueRule(future, kNow, state, ask));
  EXPECT_EQ(asked, 0);
  EXPECT_FALSE(ApplyPastDueRule(now, kNow, state, ask));
  EXPECT_EQ(now.NextRun, *FromCivil(2009, 9, 23, 1));
  later = true;
  put_off.RefusedDays = 1 << 4;  // Wednesday, today
  EXPECT_TRUE(ApplyPastDueRule(put_off, kNow, state, ask));
  EXPECT_EQ(put_off.NextRun, *FromCivil(2009, 9, 24));
  EXPECT_EQ(asked, 2);

  for (const bool enabled : {false, true}) {
    BackupJob stuck = Overdue(u"stuck", enabled);
    stuck.EveryMinutes = 0;
    EXPECT_FALSE(ApplyPastDueRule(stuck, kNow, state, ask));
  }
  EXPECT_EQ(asked, 2);
}

TEST(PastDueRule, AnAbsentUserIsAskedOnce) {
  PastDueState state;
  int asked = 0;
  const AskPastDue ask = [&](PastDueQuestion& question) {
    ++asked;
    while (!question.Answered()) question.Tick();
  };
  for (int i = 0; i < 5; ++i) {
    BackupJob job = Overdue(Decimal(i), true);
    EXPECT_FALSE(ApplyPastDueRule(job, kNow, state, ask));
  }
  EXPECT_EQ(asked, 1);
}

}  // namespace
}  // namespace kavrel
