#include "ui/controls/cls_lict_view.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QContextMenuEvent>
#include <QHeaderView>
#include <QSignalSpy>

#include "ui/icons.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

/// A list of jobs in a window of its own.
class LictViewTest : public ::testing::Test {
 protected:
  LictViewTest() {
    window_.resize(700, 400);
    list_.SetTargetPictureBox(&window_);
    list_.SetFullRowSelect(true);
    list_.SetCheckBoxes(true);
    list_.SetMultiSelect(false);
    list_.SetImageList(clsLictView::SmallImages, {LoadIcon(IconId::JobRow)});
    list_.SetImageList(clsLictView::LargeImages, {LoadIcon(IconId::RunChecked)});
    list_.Create();
    list_.ColumnAdd(0, 190, "排程名稱");
    list_.ColumnAdd(1, 150, "來源資料夾");
    list_.ColumnAdd(2, 80, "備份", clsLictView::AlignCentre);
    AddRow("照片", "C:\\相片\\", 12);
    AddRow("文件", "C:\\文件\\", 9);
    AddRow("郵件", "D:\\郵件\\", 100);
    ShowAndWait(window_);
    QObject::connect(&list_, &clsLictView::ItemCheck, &list_, [this](int row, bool checked) {
      checks_ += QStringLiteral("%1%2").arg(row).arg(checked ? "+" : "-");
      EXPECT_EQ(list_.Checked(row), checked);
    });
  }

  void AddRow(const QString& name, const QString& path, int count) {
    const int row = list_.ItemAdd(-1, name, 0, 0);
    list_.ItemAddSub(row, 1, path);
    list_.ItemAddSub(row, 2, QString::number(count));
  }

  QWidget& Port() { return *ViewOf(*list_.hwnd()).viewport(); }
  QHeaderView& Header() { return *list_.hwnd()->findChild<QHeaderView*>(); }
  QPoint Cell(int shown, int column = 0) { return CellCentre(*list_.hwnd(), shown, column); }
  QPoint Box(int shown) { return CheckBoxCentre(*list_.hwnd(), shown); }
  QPoint HeaderMiddle(int column) {
    return {Header().sectionViewportPosition(column) + Header().sectionSize(column) / 2, 8};
  }
  QString ShownNames() {
    QStringList names{"", "", ""};
    for (int row = 0; row < 3; ++row) names[list_.ShownPosition(row)] = list_.ItemText(row, 0);
    return names.join(" ");
  }

  QWidget window_;
  clsLictView list_;
  QStringList checks_;
};

TEST_F(LictViewTest, EveryChangeOfACheckBoxByTheUserIsReported) {
  list_.SetChecked(2, true);
  EXPECT_TRUE(checks_.isEmpty());
  for (const auto view : {clsLictView::ReportView, clsLictView::IconView,
                          clsLictView::SmallIconView, clsLictView::ListView}) {
    SCOPED_TRACE(view);
    list_.SetView(view);
    list_.SetSelectedItem(1);
    checks_.clear();
    QApplication::processEvents();
    Click(Port(), Box(1));
    Click(Port(), Box(2));
    Click(Port(), Box(2));
    EXPECT_EQ(list_.SelectedItem(), 1) << "a check box is no choice of a row";
    Press(ViewOf(*list_.hwnd()), Qt::Key_Space);
    EXPECT_EQ(checks_.join(" "), "1+ 2- 2+ 1-");
  }
}

TEST_F(LictViewTest, SpaceSetsAllSelectedRowsAsTheFocusedOne) {
  list_.SetMultiSelect(true);
  list_.SetChecked(1, true);
  list_.SetSelectList(true);
  list_.SetSelected(2, false);
  Press(ViewOf(*list_.hwnd()), Qt::Key_Space);
  EXPECT_EQ(checks_, QStringList{"0+"});  // row 1 is checked already
  EXPECT_FALSE(list_.Checked(2));
}

TEST_F(LictViewTest, ADoubleClickOnACheckBoxOnlyTogglesIt) {
  QSignalSpy double_click(&list_, &clsLictView::DbClick), click(&list_, &clsLictView::Click);
  DoubleClick(Port(), Box(1));
  EXPECT_EQ(double_click.count(), 0);
  EXPECT_EQ(click.count(), 0);
  DoubleClick(Port(), Cell(1, 1));
  ASSERT_EQ(double_click.count(), 1);
  EXPECT_EQ(double_click[0], (QVariantList{1, 1}));
  EXPECT_EQ(list_.SelectedItem(), 1);
}

TEST_F(LictViewTest, SortingChangesWhatIsShownAndNoRowsNumber) {
  Click(*Header().viewport(), HeaderMiddle(2));
  EXPECT_EQ(ShownNames(), "照片 文件 郵件") << "sorting was not asked for";
  list_.SetHeaderSort(true);
  Click(*Header().viewport(), HeaderMiddle(2));
  EXPECT_EQ(ShownNames(), "文件 照片 郵件");
  Click(Port(), Box(0));
  EXPECT_EQ(checks_, QStringList{"1+"});
  Click(Port(), Cell(1));
  EXPECT_EQ(list_.SelectedIndex(), 0);
  AddRow("影片", "E:\\", 50);
  EXPECT_EQ(list_.ShownPosition(3), 2);

  Click(*Header().viewport(), HeaderMiddle(2));
  EXPECT_EQ(list_.ShownPosition(2), 0);
  list_.ItemRemove(3);
  Click(*Header().viewport(), HeaderMiddle(2));
  EXPECT_EQ(ShownNames(), "照片 文件 郵件");

  // Keys come before texts: 下午 01 is later than 上午 11, whatever the letters say.
  list_.SetItemSortKey(0, 2, 300);
  list_.SetItemSortKey(1, 2, 200);
  list_.SetItemSortKey(2, 2, 100);
  Click(*Header().viewport(), HeaderMiddle(2));
  EXPECT_EQ(ShownNames(), "郵件 文件 照片");
}

TEST_F(LictViewTest, ClicksBesideTheRowsSelectNothing) {
  QSignalSpy select(&list_, &clsLictView::ItemSelect), menu(&list_, &clsLictView::RightClick);
  Click(Port(), Cell(1));
  ASSERT_EQ(select.count(), 1);
  EXPECT_EQ(select[0][0], 1);
  RightClick(Port(), Cell(2, 1));
  RightClick(Port(), QPoint(300, 300));
  EXPECT_EQ(list_.SelectedItem(), -1);
  EXPECT_EQ(select.last()[0], -1);
  list_.SetSelectedItem(0);
  QContextMenuEvent key(QContextMenuEvent::Keyboard, QPoint(5, 5), QPoint());
  QApplication::sendEvent(&ViewOf(*list_.hwnd()), &key);
  ASSERT_EQ(menu.count(), 3);
  EXPECT_EQ(menu[0].mid(0, 2), (QVariantList{2, 1}));
  EXPECT_EQ(menu[1].mid(0, 2), (QVariantList{-1, -1}));
  EXPECT_EQ(menu[2][0], 0);
  EXPECT_TRUE(Port().rect().contains(Port().mapFromGlobal(menu[2][2].toPoint())));
}

}  // namespace
}  // namespace kavrel
