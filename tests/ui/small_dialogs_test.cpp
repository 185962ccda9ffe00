#include <gtest/gtest.h>

#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "support/set_clock.h"
#include "ui/frm_help.h"
#include "ui/frm_past_due.h"
#include "ui/frm_zip_list.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

TEST(TagHelp, PutsTagsTogetherAndCopiesThem) {
  SetClock clock{2009, 9, 23, 15, 4, 5};
  frmHelp help(nullptr, &clock);
  ShowAndWait(help);
  QWidget& list = *Find<QWidget>(help, "LvTag");
  QAbstractItemView& view = ViewOf(list);
  auto& tags = *Find<QLineEdit>(help, "txtSel");
  auto& example = *Find<QLineEdit>(help, "txtTest");
  auto& copy = *Find<QPushButton>(help, "btnCopy");
  auto& clear = *Find<QPushButton>(help, "btnClear");
  EXPECT_EQ(view.model()->rowCount(), 22);
  EXPECT_EQ(view.model()->index(21, 0).data(), "<day>");
  EXPECT_EQ(view.model()->index(21, 2).data(), "週三");
  EXPECT_TRUE(Find<QLabel>(help, "lblKey")->text().contains("輸出：D:\\Backup\\09-09-23\\"));
  EXPECT_FALSE(copy.isEnabled() || clear.isEnabled());

  Click(*view.viewport(), CellCentre(list, 2));
  Type(tags, "年");
  Click(*view.viewport(), CellCentre(list, 4));  // an empty row
  Press(*view.viewport(), Qt::Key_Down);
  Press(*view.viewport(), Qt::Key_Return);
  EXPECT_EQ(tags.text(), "<yyyy>年<m>");
  EXPECT_EQ(example.text(), "2009年9");
  EXPECT_TRUE(copy.isEnabled() && clear.isEnabled());
  Press(tags, Qt::Key_Return);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), "<yyyy>年<m>");
  clear.click();
  EXPECT_EQ(example.text(), "");
  EXPECT_FALSE(copy.isEnabled() || clear.isEnabled());
  Press(help, Qt::Key_Escape);
  EXPECT_FALSE(help.isVisible());
}

TEST(ArchiveList, OffersTheFirstAndGivesTheNameChosen) {
  const std::vector<ArchiveFile> archives{
      {u"new.7z", {300, 0}, 2'000'000}, {u"mid.7z", {200, 7}, 1}, {u"old.7z", {100, 0}, 5}};
  const auto answer = [&](const std::function<void(QWidget&)>& act) {
    WhenDialog(act);
    return frmZipList::Pick(archives, nullptr);
  };
  EXPECT_EQ(answer([](QWidget& dialog) {
              QWidget& list = *Find<QWidget>(dialog, "lstDiscs");
              EXPECT_EQ(ViewOf(list).model()->index(0, 2).data(), "1.91 MB");
              Find<QPushButton>(dialog, "cmdOK")->click();
            }),
            u"new.7z");
  EXPECT_EQ(answer([](QWidget& dialog) {
              QWidget& list = *Find<QWidget>(dialog, "lstDiscs");
              DoubleClick(*ViewOf(list).viewport(), CellCentre(list, 2));
            }),
            u"old.7z");
  EXPECT_EQ(answer([](QWidget& dialog) {
              QWidget& list = *Find<QWidget>(dialog, "lstDiscs");
              Press(*ViewOf(list).viewport(), Qt::Key_Down);
              Press(*ViewOf(list).viewport(), Qt::Key_Return);
            }),
            u"mid.7z");
  EXPECT_EQ(answer([](QWidget& dialog) { Press(dialog, Qt::Key_Escape); }), std::nullopt);
  WhenDialog([](QWidget& dialog) {
    EXPECT_FALSE(Find<QPushButton>(dialog, "cmdOK")->isEnabled());
    Find<QPushButton>(dialog, "cmdCancel")->click();
  });
  EXPECT_EQ(frmZipList::Pick({}, nullptr), std::nullopt);
}

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
