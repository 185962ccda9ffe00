#include "ui/frm_ff_edit.h"

#include <gtest/gtest.h>

#include <QGroupBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

#include "support/test_program.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

struct TwoFilters : TestProgram {
  TwoFilters() {
    WriteTestFile(Temp.Home() / "FileType.txt", "one\t*.txt;*.doc\r\ntwo\t*.jpg\r\n");
    Program.Filters.LoadFilters();
  }
};

class FilterEditorTest : public testing::Test {
 protected:
  FilterEditorTest() { ShowAndWait(Edit); }
  QWidget& List(const char* name) { return *Find<QWidget>(Edit, name); }
  QStringList Rows(const char* name) {
    QStringList rows;
    const QAbstractItemModel& model = *ViewOf(List(name)).model();
    for (int row = 0; row < model.rowCount(); ++row) rows += model.index(row, 0).data().toString();
    return rows;
  }
  void Select(const char* name, int row) {
    Click(*ViewOf(List(name)).viewport(), CellCentre(List(name), row));
  }
  QPushButton& Button(const char* name) { return *Find<QPushButton>(Edit, name); }
  QLineEdit& Box(const char* name) { return *Find<QLineEdit>(Edit, name); }
  void Enter(const char* name, const QString& text) {
    Box(name).selectAll();
    Type(Box(name), text);
  }
  std::string File() { return ReadTestFile(Program.Temp.Home() / "FileType.txt"); }

  TwoFilters Program;
  frmFFEdit Edit{Program.Program, nullptr};
};

TEST_F(FilterEditorTest, PatternsAreAddedReplacedAndRemoved) {
  EXPECT_EQ(Rows("LvFFs"), QStringList({"one", "two"}));
  EXPECT_EQ(Rows("LvExts"), QStringList({"*.txt", "*.doc"}));
  EXPECT_FALSE(Find<QGroupBox>(Edit, "fraFF")->isEnabled());
  DoubleClick(*ViewOf(List("LvFFs")).viewport(), CellCentre(List("LvFFs"), 0));
  EXPECT_TRUE(Find<QGroupBox>(Edit, "fraFF")->isEnabled());
  Enter("txtExt", " *.TXT ");
  Press(Box("txtExt"), Qt::Key_Return);
  EXPECT_EQ(Rows("LvExts"), QStringList({"*.TXT", "*.doc"}));
  EXPECT_EQ(Box("txtExt").text(), "");
  for (const char* bad : {"", "a/b", "a\\b", "x:"}) {
    Enter("txtExt", bad);
    Button("btnExtAdd").click();
    EXPECT_EQ(Box("txtExt").text(), bad);
  }
  Enter("txtExt", "*.a; *.b;");
  Button("btnExtAdd").click();
  EXPECT_EQ(Rows("LvExts"), QStringList({"*.TXT", "*.doc", "*.a", "*.b"}));
  Select("LvExts", 1);
  Button("btnExtDel").click();
  Enter("txtDesc", " ");
  Button("btnFFSave").click();  // refused: no name
  EXPECT_TRUE(Find<QGroupBox>(Edit, "fraFF")->isEnabled());
  Enter("txtDesc", "# one");  // would be read as a comment
  Button("btnFFSave").click();
  EXPECT_TRUE(Find<QGroupBox>(Edit, "fraFF")->isEnabled());
  Enter("txtDesc", "文書");
  Button("btnFFSave").click();
  EXPECT_FALSE(Find<QGroupBox>(Edit, "fraFF")->isEnabled());
  EXPECT_EQ(Rows("LvFFs"), QStringList({"文書", "two"}));
  Button("btnDone").click();
  EXPECT_FALSE(Edit.isVisible());
  EXPECT_EQ(File(), "\xA4\xE5\xAE\xD1\t*.TXT;*.a;*.b\r\ntwo\t*.jpg\r\n");
}

TEST_F(FilterEditorTest, NewListsDeletedListsAndWhatSavingAsks) {
  Button("btnNewFF").click();
  EXPECT_EQ(Box("txtDesc").text(), "請輸入新的名稱");
  EXPECT_EQ(Rows("LvExts"), QStringList());
  Enter("txtDesc", "three");
  Enter("txtExt", "*.c");
  Button("btnExtAdd").click();
  EXPECT_EQ(MessageOf([&] { Button("btnDone").click(); }, "是"), "");
  EXPECT_FALSE(Edit.isVisible());
  EXPECT_EQ(File(), "one\t*.txt;*.doc\r\ntwo\t*.jpg\r\nthree\t*.c\r\n");

  ShowAndWait(Edit);
  Select("LvFFs", 2);
  Button("btnDelFF").click();
  Select("LvFFs", 0);
  Button("btnDelFF").click();
  EXPECT_EQ(Rows("LvFFs"), QStringList({"two"}));
  EXPECT_EQ(Rows("LvExts"), QStringList({"*.jpg"}));
  Button("btnEditFF").click();
  Enter("txtDesc", "dropped");
  MessageOf([&] { Button("btnDone").click(); }, "否");
  EXPECT_EQ(File(), "two\t*.jpg\r\n");

  ShowAndWait(Edit);
  Button("btnDelFF").click();
  std::filesystem::remove(Program.Temp.Home() / "FileType.txt");
  std::filesystem::create_directories(Program.Temp.Home() / "FileType.txt/x");
  EXPECT_TRUE(
      MessageOf([&] { Button("btnDone").click(); }).startsWith("副檔名清單無法儲存\r\n錯誤代碼："));
  EXPECT_TRUE(Edit.isVisible());
  MessageOf([&] { Press(Edit, Qt::Key_Escape); }, "否");
  EXPECT_FALSE(Edit.isVisible());
}

}  // namespace
}  // namespace kavrel
