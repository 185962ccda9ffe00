// The jobs in the main window's list: searched, moved, copied and removed there.
#include "ui/job_edits.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QLineEdit>
#include <QTest>

#include "support/tree.h"
#include "ui/frm_set.h"
#include "ui/main_window.h"
#include "ui/qt_text.h"

namespace kavrel {
namespace {

class JobEditsTest : public ::testing::Test {
 protected:
  JobEditsTest() {
    for (const char16_t* name : {u"一", u"二", u"三", u"四"}) main_.AddJob(name);
    main_.Program.Store.Jobs[1].Extras.KeepNewest = 7;
    main_.Start();
  }
  QWidget& Port() { return *ViewOf(*main_.Jobs().hwnd()).viewport(); }
  QPoint At(int shown_row) { return CellCentre(*main_.Jobs().hwnd(), shown_row); }
  /// The names as they are shown, in their order.
  QString Shown() {
    const QAbstractItemModel& rows = *ViewOf(*main_.Jobs().hwnd()).model();
    QString names;
    for (int row = 0; row < rows.rowCount(); ++row) names += rows.index(row, 0).data().toString();
    return names;
  }
  /// Those of the store's file.
  QString Stored() {
    JobStore store(main_.Temp.Files());
    store.LoadJobs();
    QString names;
    for (const BackupJob& job : store.Jobs) names += ToQString(job.Name);
    return names;
  }

  MainWindow main_;
};

TEST_F(JobEditsTest, ADraggedJobRunsInItsNewPlace) {
  QPoint above = At(0);
  above.ry() -= 6;
  Drag(Port(), At(2), above);
  EXPECT_EQ(Shown(), "三一二四");
  EXPECT_EQ(Stored(), "三一二四");
  EXPECT_EQ(main_.Jobs().SelectedItem(), 0);
  EXPECT_EQ(main_.Program.Store.Jobs[2].Extras.KeepNewest, 7) << "its settings go with it";
  EXPECT_TRUE(main_.Program.Schedule.TimerOn());
  Drag(Port(), At(0), QPoint(At(0).x(), Port().height() - 5));
  EXPECT_EQ(Stored(), "一二四三");
  // A drag of a few pixels, and one that is given up, are none.
  Drag(Port(), At(1), At(1) + QPoint(2, 2));
  QTest::mousePress(&Port(), Qt::LeftButton, {}, At(0));
  QMouseEvent move(QEvent::MouseMove, At(3), Port().mapToGlobal(At(3)), Qt::NoButton,
                   Qt::LeftButton, {});
  QApplication::sendEvent(&Port(), &move);
  Press(ViewOf(*main_.Jobs().hwnd()), Qt::Key_Escape);
  QTest::mouseRelease(&Port(), Qt::LeftButton, {}, At(3));
  EXPECT_EQ(Stored(), "一二四三");

  for (int row = 0; row < 4; ++row) {
    main_.WriteSource(main_.Jobs().ItemText(row, 0).toStdString() + "/甲.txt", "a");
  }
  main_.Program.Schedule.RunCheckedJobs();
  QString ran;
  for (const LogRow& row : main_.Program.LogRows.Rows()) ran += ToQString(row.Job);
  EXPECT_EQ(ran, "一二四三");
}

TEST_F(JobEditsTest, KeysAndMenuMoveAJobButNotWhatIsSortedOrSearched) {
  main_.Jobs().SetSelectedItem(1);
  QWidget& list = ViewOf(*main_.Jobs().hwnd());
  Press(list, Qt::Key_Down, Qt::AltModifier);
  EXPECT_EQ(Stored(), "一三二四");
  EXPECT_EQ(main_.Jobs().SelectedItem(), 2);
  Press(list, Qt::Key_Up, Qt::AltModifier);
  Press(list, Qt::Key_Up, Qt::AltModifier);
  EXPECT_EQ(Stored(), "二一三四");
  Press(list, Qt::Key_Up, Qt::AltModifier);
  EXPECT_EQ(Stored(), "二一三四") << "it is the first";

  Press(list, Qt::Key_F, Qt::ControlModifier);
  EXPECT_TRUE(main_.Shown("picSearch"));
  Type(*QApplication::focusWidget(), "d:\\三");
  EXPECT_EQ(Shown(), "三");
  Shot(main_.Window, "search");
  Press(*QApplication::focusWidget(), Qt::Key_Return);
  main_.Jobs().SetSelectedItem(2);
  Press(list, Qt::Key_Up, Qt::AltModifier);
  EXPECT_EQ(Stored(), "二一三四");
  Press(list, Qt::Key_Escape);
  EXPECT_EQ(Shown(), "二一三四");
  EXPECT_FALSE(main_.Shown("picSearch"));

  // What is done to a job that was found is done to that one.
  main_.Window.findChild<JobEdits*>()->OpenSearch();
  Type(*main_.Window.findChild<QLineEdit*>("txtJobSearch"), "四");
  EXPECT_TRUE(MessageOf([&] { main_.Menu(main_.Jobs(), 3, "mnuJobRemove"); }, "否").contains("四"));
  main_.Window.findChild<JobEdits*>()->CloseSearch();
  main_.Menu(main_.Jobs(), 1, "mnuJobDown");
  EXPECT_EQ(Stored(), "二三一四");
}

TEST_F(JobEditsTest, RemovingAsksAndLeavesTheBackup) {
  main_.WriteSource("三/甲.txt", "a");
  ASSERT_EQ(main_.Program.RunJobNow(2), RunOutcome::Ran);
  main_.Jobs().SetSelectedItem(2);
  QWidget& list = ViewOf(*main_.Jobs().hwnd());
  EXPECT_EQ(MessageOf([&] { Press(list, Qt::Key_Delete); }, "否"), "您確定要移除【三】嗎？");
  EXPECT_EQ(Stored(), "一二三四");
  MessageOf([&] { Press(list, Qt::Key_Delete); }, "是");
  EXPECT_EQ(Stored(), "一二四");
  EXPECT_EQ(Shown(), "一二四");
  EXPECT_EQ(main_.Jobs().SelectedItem(), 2);
  EXPECT_EQ(TreeDifferences(main_.Temp.DriveC() / "三", main_.Backup("三")), "");
}

TEST_F(JobEditsTest, AnAlarmOfTheChangeGuardEndsWhereSomebodySaysSo) {
  KnownChanges& known = main_.Program.Store.Jobs[1].Extras.Changes;
  known.Alarm = *FromCivil(2009, 9, 22);
  EXPECT_FALSE(
      MessageOf([&] { main_.Menu(main_.Jobs(), 1, "mnuJobAcceptChanges"); }, "否").isEmpty());
  EXPECT_NE(known.Alarm, kZeroDate);
  MessageOf([&] { main_.Menu(main_.Jobs(), 1, "mnuJobAcceptChanges"); }, "是");
  main_.Program.Store.LoadJobs();
  EXPECT_EQ(main_.Program.Store.Jobs[1].Extras.Changes.Alarm, kZeroDate);
}

TEST_F(JobEditsTest, ACopyIsOpenedInTheEditor) {
  WhenDialog([](QWidget& dialog) {
    auto& editor = dynamic_cast<FrmSet&>(dialog);
    EXPECT_EQ(Find<QLineEdit>(editor, "txtDesc")->text(), "二 - 複本");
    Find<QAbstractButton>(editor, "btnSaveJob")->click();
    Find<QAbstractButton>(editor, "btnSave")->click();
  });
  main_.Menu(main_.Jobs(), 1, "mnuJobDuplicate");
  EXPECT_EQ(Stored(), "一二三四二 - 複本");
  EXPECT_EQ(main_.Jobs().ItemCount(), 5);
}

}  // namespace
}  // namespace kavrel
