#include "ui/log_view.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QToolButton>

#include "ui/main_window.h"
#include "ui/row_colours.h"

namespace kavrel {

namespace {

using std::filesystem::exists;

/// The window with its log list in sight, and five finished runs.
class LogViewTest : public ::testing::Test {
 protected:
  LogViewTest() {
    for (const char16_t* failed : {u"0", u"3", u"0", u"1,200", u"0"}) {
      main_.AddLogRow(u"照片", failed);
    }
    main_.Start();
    Click(main_.Button(4));
  }

  QAbstractItemView& View() { return ViewOf(*main_.Logs().hwnd()); }
  int LogFiles() {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(main_.Temp.Home() / "Log")) {
      count += entry.path().extension() == ".txt" ? 1 : 0;
    }
    return count;
  }
  std::string Stored() { return ReadTestFile(main_.Temp.Home() / "Log/QVDlog.log"); }

  MainWindow main_;
};

TEST_F(LogViewTest, OpensAtTheNewestRunAndShowsNoTimeThatIsNotKnown) {
  EXPECT_EQ(main_.Logs().SelectedItems(), QList<int>{4});
  main_.Program.LogRows.Append(ReadLogRow({u"文件", u"還原完成", u"1", u"0", u"0", u"上午 12:00:00",
                                           u"2026/11/25 下午 03:04:05", u""}));
  Click(main_.Button(4));
  Click(main_.Button(4));
  EXPECT_EQ(main_.Logs().SelectedItems(), QList<int>{5});
  EXPECT_EQ(main_.Logs().ItemText(5, 5), "");
  EXPECT_EQ(main_.Logs().ItemText(5, 6), "2026/11/25 下午 03:04:05");
}

TEST_F(LogViewTest, ShowsALogWhereTheDesktopCannotAndFindsWhatFailed) {
  std::u16string text = u"\uFEFF開始\r\n";
  for (int i = 0; i < 3; ++i) text += u"2026/11/24 下午 03:04:05: 備份檔案 (成功)：甲\r\n";
  text +=
      u"2026/11/24 下午 03:04:05: 備份檔案 (失敗)：<b>乙\r\n"
      u"2026/11/24 下午 03:04:05: 原因：Permission denied\r\n結束\r\n";
  WriteTestFile(main_.Temp.Home() / "Log/4.txt",
                {reinterpret_cast<const char*>(text.data()), text.size() * 2});
  const QByteArray path = qgetenv("PATH");
  qputenv("PATH", main_.Temp.Home().c_str());
  WhenDialog([](QWidget& dialog) {
    EXPECT_EQ(dialog.windowTitle(), "日誌：4.txt");
    auto& list = *Find<QListView>(dialog, "lstLog");
    const auto colour = [&](int row) {
      return list.model()->index(row, 0).data(Qt::ForegroundRole).value<QColor>();
    };
    ASSERT_EQ(list.model()->rowCount(), 7);
    EXPECT_EQ(colour(4), FailureTextColour(QPalette()));
    EXPECT_EQ(colour(5), FailureTextColour(QPalette()));
    EXPECT_NE(colour(3), FailureTextColour(QPalette()));
    Type(*Find<QLineEdit>(dialog, "txtFind"), "備份檔案");
    EXPECT_EQ(list.currentIndex().row(), 1);
    Click(*Find<QPushButton>(dialog, "cmdNext"));
    EXPECT_EQ(list.currentIndex().row(), 2);
    Click(*Find<QCheckBox>(dialog, "chkFailed"));
    ASSERT_EQ(list.model()->rowCount(), 2);
    EXPECT_TRUE(list.model()->index(1, 0).data().toString().endsWith("Permission denied"));
    Press(dialog, Qt::Key_Escape);
  });
  DoubleClick(*View().viewport(), CellCentre(*main_.Logs().hwnd(), 4));
  std::filesystem::remove(main_.Temp.Home() / "Log/3.txt");
  main_.Logs().SetSelectedItem(3);
  const QString refused = MessageOf([&] { Press(View(), Qt::Key_Return); });
  EXPECT_TRUE(refused.startsWith("無法讀取日誌「")) << refused.toStdString();
  qputenv("PATH", path);
}

TEST_F(LogViewTest, DeletesTheChosenRowsWithTheirFiles) {
  main_.Logs().SetSelectedItem(1);
  main_.Logs().SetSelected(3, true);
  Press(View(), Qt::Key_Delete);
  EXPECT_EQ(main_.Logs().ItemCount(), 3);
  EXPECT_EQ(LogFiles(), 3);
  EXPECT_FALSE(exists(main_.Temp.Home() / "Log/3.txt"));
  EXPECT_EQ(main_.Window.windowTitle(), "Kavrel Ver 2.05 專業版 [ 備份紀錄總計：3 筆 ]");
  EXPECT_EQ(Stored().find("Log/1.txt"), std::string::npos);
  EXPECT_NE(Stored().find("Log/2.txt"), std::string::npos);

  Press(View(), Qt::Key_A);
  EXPECT_EQ(main_.Logs().ItemSelCount(), 3);
  Press(View(), Qt::Key_N);
  EXPECT_EQ(main_.Logs().ItemSelCount(), 0);
  Press(View(), Qt::Key_Delete);
  EXPECT_EQ(main_.Logs().ItemCount(), 3);
  main_.Menu(main_.Logs(), 2, "mnu_LogDisplay_1_7");
  EXPECT_EQ(main_.Logs().ItemCount(), 2);
}

TEST_F(LogViewTest, ClearingTakesEveryJobLogAndNothingElse) {
  WriteTestFile(main_.Temp.Home() / "Log/unlisted.TXT", "log");
  WriteTestFile(main_.Temp.Home() / "Log/notes.md", "mine");
  const QStringList menu = main_.Menu(main_.Logs(), 0, "mnu_LogDisplay_1_8");
  EXPECT_TRUE(menu.contains("*全部清除(&C)...")) << menu.join("|").toStdString();
  EXPECT_EQ(main_.Logs().ItemCount(), 0);
  EXPECT_EQ(LogFiles(), 0);
  EXPECT_FALSE(exists(main_.Temp.Home() / "Log/unlisted.TXT"));
  EXPECT_TRUE(exists(main_.Temp.Home() / "Log/notes.md"));
  EXPECT_EQ(Stored(), "");
  EXPECT_EQ(main_.Window.windowTitle(), "Kavrel Ver 2.05 專業版 [ 備份紀錄總計：0 筆 ]");
}

TEST_F(LogViewTest, TheBarShowsSomeOfTheRunsAndOnlyTheseAreDeleted) {
  main_.AddLogRow(u"文件", u"1");
  main_.AddLogRow(u"文件");
  auto* list = main_.Window.findChild<LogView*>();
  list->CatchUp();
  auto& jobs = *Find<QComboBox>(main_.Window, "cboLogJob");
  auto& failed = *Find<QCheckBox>(main_.Window, "chkLogFailed");
  auto& text = *Find<QLineEdit>(main_.Window, "txtLogFind");
  EXPECT_EQ(jobs.count(), 3);
  failed.click();
  EXPECT_EQ(main_.Logs().ItemCount(), 3);
  EXPECT_EQ(main_.Window.windowTitle(), "Kavrel Ver 2.05 專業版 [ 備份紀錄總計：3 筆 ]");
  jobs.setCurrentText("文件");
  EXPECT_EQ(main_.Logs().ItemCount(), 1);
  main_.AddLogRow(u"文件", u"2");
  EXPECT_TRUE(WaitUntil([&] { return main_.Logs().ItemCount() == 2; }));
  main_.Logs().SetSelectedItem(0);
  Press(View(), Qt::Key_Delete);
  EXPECT_FALSE(exists(main_.Temp.Home() / "Log/5.txt"));
  main_.Menu(main_.Logs(), 0, "mnu_LogDisplay_1_8");
  EXPECT_EQ(main_.Logs().ItemCount(), 0) << "what the bar shows is cleared";
  EXPECT_EQ(main_.Program.LogRows.Rows().size(), 6U);
  failed.click();
  EXPECT_EQ(main_.Logs().ItemCount(), 1);
  jobs.setCurrentIndex(0);
  Type(text, "1,200");
  EXPECT_EQ(main_.Logs().ItemCount(), 1);
  text.clear();
  EXPECT_EQ(main_.Logs().ItemCount(), 6);
}

TEST_F(LogViewTest, OpensALogEvenAfterTheFolderWasMoved) {
  // What opens files on this desktop only notes what it was given.
  const std::filesystem::path tools = main_.Temp.Root() / "tools",
                              note = main_.Temp.Root() / "note";
  WriteTestFile(tools / "xdg-open", "#!/bin/sh\necho \"$1\" > " + note.string() + ".part\nmv " +
                                        note.string() + ".part " + note.string() + "\n");
  std::filesystem::permissions(tools / "xdg-open", std::filesystem::perms::owner_all);
  const QByteArray path = qgetenv("PATH");
  qputenv("PATH", QByteArray(tools.c_str()) + ":" + path);
  const auto opened = [&] {
    EXPECT_TRUE(WaitUntil([&] { return exists(note); }));
    const std::string text = ReadTestFile(note);
    std::filesystem::remove(note);
    return text;
  };
  DoubleClick(*View().viewport(), CellCentre(*main_.Logs().hwnd(), 2));
  EXPECT_EQ(opened(), (main_.Temp.Home() / "Log/2.txt").string() + "\n");
  main_.Program.LogRows.Append(
      ReadLogRow({u"搬來的", u"", u"", u"", u"0", u"", u"", u"X:\\舊的\\Log\\4.txt"}));
  EXPECT_TRUE(WaitUntil([&] { return main_.Logs().ItemCount() == 6; }));
  main_.Logs().SetSelectedItem(5);
  Press(View(), Qt::Key_Return);
  EXPECT_EQ(opened(), (main_.Temp.Home() / "Log/4.txt").string() + "\n");
  qputenv("PATH", path);
}

}  // namespace
}  // namespace kavrel
