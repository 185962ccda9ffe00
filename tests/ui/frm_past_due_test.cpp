#include "ui/frm_past_due.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QPushButton>

#include "ui/window_driver.h"

namespace kavrel {
namespace {

class PastDueTest : public testing::Test {
 protected:
  PastDueTest() { ShowAndWait(Dialog); }
  static PastDueQuestion Ask() {
    BackupJob job;
    job.Name = u"每日";
    job.NextRun = *FromCivil(2009, 9, 23, 1);
    PastDueQuestion question;
    question.Action = u"立刻備份";
    question.SetJob(job);
    question.Load();
    return question;
  }
  void Seconds(int count) {
    for (int i = 0; i < count; ++i) Dialog.timDelay_Timer();
  }
  PastDueQuestion Question = Ask();
  FrmPastDue Dialog{Question, nullptr};
};

TEST_F(PastDueTest, CountsDownAndTakesTheDefault) {
  EXPECT_EQ(Find<QLabel>(Dialog, "lblMsg")->text(),
            "Kavrel發現到【每日】在【2009/9/23 上午 01:00:00】時間內並未做備份，您要：");
  EXPECT_EQ(Dialog.windowTitle(), " ");
  EXPECT_EQ(Dialog.focusWidget(), Find<QPushButton>(Dialog, "btnNow"));
  Seconds(2);
  EXPECT_EQ(Dialog.windowTitle(), "Kavrel將於 18 秒後將會立即執行【立刻備份】");
  Seconds(17);
  EXPECT_TRUE(Dialog.isVisible());
  Seconds(1);
  EXPECT_FALSE(Dialog.isVisible());
  EXPECT_TRUE(Question.TimedOut && !Question.Later);
}

TEST_F(PastDueTest, EscapeStopsTheCountToo) {
  Press(Dialog, Qt::Key_Escape);
  Seconds(30);
  EXPECT_TRUE(Dialog.isVisible());
  Press(*Dialog.focusWidget(), Qt::Key_Return);
  EXPECT_TRUE(!Dialog.isVisible() && Question.Answered() && !Question.TimedOut);
}

TEST_F(PastDueTest, NothingButAnAnswerClosesItAndAClickStopsTheCount) {
  Dialog.close();
  EXPECT_TRUE(Dialog.isVisible());
  Seconds(3);
  Click(Dialog, QPoint(4, 4));
  Seconds(30);
  EXPECT_TRUE(Dialog.isVisible());
  Find<QPushButton>(Dialog, "btnLater")->click();
  EXPECT_FALSE(Dialog.isVisible());
  EXPECT_TRUE(Question.Later && !Question.TimedOut);
}

}  // namespace
}  // namespace kavrel
