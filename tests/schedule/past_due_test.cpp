#include "schedule/past_due.h"

#include <gtest/gtest.h>

#include "support/set_clock.h"

namespace kavrel {
namespace {

const DateTime kNow = *FromCivil(2009, 9, 23, 14, 7, 30);

BackupJob Overdue(std::u16string name, bool enabled) {
  BackupJob job;
  job.Name = std::move(name);
  job.Enabled = enabled;
  job.NextRun = *FromCivil(2009, 9, 23, 1);
  job.EveryMinutes = 10;
  return job;
}

TEST(PastDueRule, PutsOffWhatIsOffOrNotWantedAndLeavesTheRestToTheFirstTick) {
  SetClock clock(kNow);
  std::vector<BackupJob> jobs{Overdue(u"off", false), Overdue(u"now", true),
                              Overdue(u"later", true), Overdue(u"future", true)};
  jobs[2].RefusedDays = 1 << 4;  // Wednesday, today
  jobs[3].NextRun = kNow;
  for (const bool enabled : {false, true}) {
    jobs.push_back(Overdue(u"stuck", enabled));
    jobs.back().EveryMinutes = 0;
  }
  std::u16string asked;
  const AskPastDue ask = [&](PastDueQuestion& question) {
    asked += question.JobName() + u" ";
    question.Answer(question.JobName() == u"later");
  };
  EXPECT_EQ(AskAboutPastDue(jobs, clock, ask), (std::vector<std::size_t>{0, 2}));
  EXPECT_EQ(asked, u"now later ");
  EXPECT_TRUE(PutOff(jobs[0], kNow));
  EXPECT_EQ(jobs[0].NextRun, *FromCivil(2009, 9, 23, 14, 10));
  EXPECT_TRUE(PutOff(jobs[2], kNow));
  EXPECT_EQ(jobs[2].NextRun, *FromCivil(2009, 9, 24));
}

TEST(PastDueRule, AnAbsentUserIsAskedOnce) {
  SetClock clock(kNow);
  int asked = 0;
  const AskPastDue ask = [&](PastDueQuestion& question) {
    ++asked;
    while (!question.Answered()) question.Tick();
  };
  EXPECT_TRUE(AskAboutPastDue(std::vector(5, Overdue(u"job", true)), clock, ask).empty());
  EXPECT_EQ(asked, 1);
}

}  // namespace
}  // namespace kavrel
