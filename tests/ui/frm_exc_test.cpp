#include "ui/frm_exc.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

#include "support/test_program.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

class NoSearch final : public NetEnum {
 public:
  Step Next(NetEntry&) override { return Step::Done; }
};

class RuleEditorTest : public testing::Test {
 protected:
  frmExc& Open() {
    exc_ = std::make_unique<frmExc>(Program.Program, nullptr,
                                    [] { return std::make_unique<NoSearch>(); });
    ShowAndWait(*exc_);
    return *exc_;
  }
  template <class T>
  T& Get(const char* name) {
    T* found = Find<T>(*exc_, name);
    if (found == nullptr) qFatal("no %s", name);
    return *found;
  }
  QPushButton& Button(const char* name) { return Get<QPushButton>(name); }
  void Option(const char* name) { Get<QRadioButton>(name).click(); }
  void Text(const char* name, const QString& text) { Get<QLineEdit>(name).setText(text); }
  QString Cell(int row, int column) {
    return ViewOf(List()).model()->index(row, column).data().toString();
  }
  QWidget& List() { return Get<QWidget>("lstExc"); }
  int Rows() { return ViewOf(List()).model()->rowCount(); }
  void SelectRow(int row) { Click(*ViewOf(List()).viewport(), CellCentre(List(), row, 2)); }
  QString OkMessage() {
    return MessageOf([this] { Button("btnOK").click(); });
  }
  const std::vector<ExclusionRule>& Rules() { return Program.Program.Exclusions.Rules(); }
  std::string File() { return ReadTestFile(Program.Temp.Home() / "Exc.txt"); }

  TestProgram Program;
  std::unique_ptr<frmExc> exc_;
};

TEST_F(RuleEditorTest, EachRefusalSaysWhyAndAddsNothing) {
  Open();
  Button("btnNew").click();
  EXPECT_EQ(Get<QLineEdit>("txtDesc").text(), "新的排除方案");
  EXPECT_TRUE(OkMessage().startsWith("磁碟機設定錯誤，"));

  Option("optFile1");
  Text("txtFile1", "*.tmp");
  Option("optFolder1");
  Text("txtFolder1", "Te*p");
  EXPECT_EQ(OkMessage(), "檔案名稱無效：Invalid Character - *");
  EXPECT_EQ(exc_->focusWidget(), &Get<QLineEdit>("txtFile1"));
  Option("optFile2");
  Text("txtFile2", " *.tmp ");
  EXPECT_EQ(OkMessage(), "資料夾名稱無效：Invalid Character - *");
  Text("txtFolder1", "  ");
  EXPECT_EQ(OkMessage(), "資料夾名稱無效：檔案或資料夾並未設定");
  for (const char* option : {"1", "2"}) {
    Option(qPrintable(QStringLiteral("optFolder") + option));
    Text(qPrintable(QStringLiteral("txtFolder") + option), "a\\\\b");
    EXPECT_EQ(OkMessage(), "資料夾名稱請勿使用「\\\\」，只要加入「\\」即可。");
  }
  Text("txtFolder2", "Te*p");
  Text("txtDesc", "# 備註");  // would be read as a comment
  EXPECT_EQ(OkMessage(), "名稱請勿以「#」或「;」開頭。");
  EXPECT_EQ(Rows(), 14);
  Text("txtDesc", "暫存");
  Button("btnOK").click();
  EXPECT_EQ(Rows(), 15);
  EXPECT_EQ(
      Cell(14, 0) + "|" + Cell(14, 1) + "|" + Cell(14, 2) + "|" + Cell(14, 3) + "|" + Cell(14, 4),
      "暫存|啟動|*.tmp|Te*p|* ( 全部 )");
  EXPECT_EQ(Rules().size(), 14u);
  EXPECT_EQ(PlainCaption(Button("btnDone").text()), "儲存排除清單設定");
  Button("btnDone").click();
  EXPECT_FALSE(exc_->isVisible());
  ASSERT_EQ(Rules().size(), 15u);
  EXPECT_EQ(Rules()[14].Folder, u"Te*p\\");
}

TEST_F(RuleEditorTest, EditingChoosesTheOptionsThatTheRuleMeans) {
  WriteTestFile(Program.Temp.Home() / "Exc.txt",
                "a\tTrue\tC:\t\\\t*\r\nb\tFalse\t*\tTemp\\\tx.txt\r\nc\tTrue\tE:\t*ca*\\\t*.b\r\n");
  Program.Program.Exclusions.LoadExclusions();
  Open();
  const auto options = [&](int row) {
    SelectRow(row);
    DoubleClick(*ViewOf(List()).viewport(), CellCentre(List(), row, 2));
    QString chosen;
    for (auto* option : exc_->findChildren<QRadioButton*>()) {
      if (option->isChecked()) chosen += option->objectName().mid(3) + " ";
    }
    return chosen;
  };
  EXPECT_EQ(options(0), "Drive1 Folder3 File0 ");
  EXPECT_EQ(Get<QComboBox>("cboDrive").currentText(), "C:");
  Press(*exc_, Qt::Key_Escape);
  EXPECT_TRUE(exc_->isVisible());
  EXPECT_EQ(options(1), "Drive0 Folder1 File1 ");
  EXPECT_EQ(Get<QLineEdit>("txtFolder1").text(), "Temp\\");
  EXPECT_FALSE(Get<QCheckBox>("chkEnabled").isChecked());
  Text("txtDesc", "改過");
  Press(Get<QLineEdit>("txtDesc"), Qt::Key_Return);
  EXPECT_EQ(Cell(1, 0), "改過");
  // A drive that is not there now stays in the rule.
  EXPECT_EQ(options(2), "Drive1 Folder2 File2 ");
  EXPECT_EQ(Get<QComboBox>("cboDrive").currentText(), "E:");
  Button("btnCancels").click();

  Click(*ViewOf(List()).viewport(), CheckBoxCentre(List(), 0));
  EXPECT_EQ(Cell(0, 1), "關閉");
  SelectRow(2);
  EXPECT_EQ(MessageOf([&] { Button("btnDel").click(); }, "是"), "您確定要刪除指定的排除項目嗎？");
  Button("btnDone").click();
  EXPECT_EQ(File(), "a\tFalse\tC:\t\\\t*\r\n\xA7\xEF\xB9L\tFalse\t*\tTemp\\\tx.txt\r\n");
}

TEST_F(RuleEditorTest, ChangesAreNeverLostUnasked) {
  Open();
  const std::string before = File();
  Click(*ViewOf(List()).viewport(), CheckBoxCentre(List(), 0));
  MessageOf([&] { Press(*exc_, Qt::Key_Escape); }, "取消");
  EXPECT_TRUE(exc_->isVisible());
  MessageOf([&] { Button("btnRescan").click(); }, "否");
  EXPECT_EQ(Cell(0, 1), "關閉");
  // Exc.txt cannot be replaced: nothing is said, and nothing is lost.
  std::filesystem::remove(Program.Temp.Home() / "Exc.txt");
  std::filesystem::create_directories(Program.Temp.Home() / "Exc.txt/x");
  Button("btnDone").click();
  EXPECT_TRUE(exc_->isVisible());
  EXPECT_EQ(PlainCaption(Button("btnDone").text()), "儲存排除清單設定");
  std::filesystem::remove_all(Program.Temp.Home() / "Exc.txt");
  EXPECT_NE(MessageOf([&] { Button("btnRestore").click(); }, "是"), "");
  EXPECT_EQ(File(), before);
  EXPECT_EQ(Cell(0, 1), "啟動");
  EXPECT_EQ(PlainCaption(Button("btnDone").text()), "完成排除清單設定");
  Press(*exc_, Qt::Key_Escape);
  EXPECT_FALSE(exc_->isVisible());
}

}  // namespace
}  // namespace kavrel
