#include "ui/frm_shortcut.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <QLabel>
#include <QPushButton>

#include "support/command.h"
#include "support/test_program.h"
#include "support/variable.h"
#include "ui/fake_picker.h"
#include "ui/qt_text.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

class ShortcutTest : public testing::Test {
 protected:
  frmShortcut& Open(std::initializer_list<const char16_t*> names) {
    for (const char16_t* name : names) Program.AddJob().Name = name;
    Program.Program.Store.SaveJobs();
    dialog_ = std::make_unique<frmShortcut>(Program.Program, nullptr);
    dialog_->SetPicker(Picker);
    ShowAndWait(*dialog_);
    return *dialog_;
  }
  QWidget& List() { return *Find<QWidget>(*dialog_, "lstJobs"); }
  QAbstractItemView& View() { return ViewOf(List()); }
  QPushButton& Save() { return *Find<QPushButton>(*dialog_, "btnSave"); }
  void Check(int row, bool on = true) {
    Click(*View().viewport(), CheckBoxCentre(List(), row));
    const QVariant state = View().model()->index(row, 0).data(Qt::CheckStateRole);
    EXPECT_EQ(state.toInt(), on ? Qt::Checked : Qt::Unchecked);
  }
  QString Path(const char* name) {
    return QString::fromStdString((Program.Temp.Root() / name).string());
  }
  std::string ExecOf(const char* name) {
    const std::string text = ReadTestFile(Program.Temp.Root() / name);
    const std::size_t at = text.find("\nExec=") + 6;
    return text.substr(at, text.find('\n', at) - at);
  }

  TestProgram Program;
  FakePicker Picker;
  std::unique_ptr<frmShortcut> dialog_;
};

TEST_F(ShortcutTest, WritesALauncherThatStartsTheCheckedJobsInOrder) {
  Open({u"Daily docs", u"other", u"Photos", u"100% \"$HOME\" `x` \\ 中文"});
  EXPECT_FALSE(Save().isEnabled());
  EXPECT_TRUE(View().selectionModel()->isRowSelected(0));
  Check(2);
  Check(0);
  Check(3);
  EXPECT_TRUE(Save().isEnabled());
  Picker.Answer = Path("捷徑");
  Save().click();
  EXPECT_EQ(Picker.Title, "建立備份排程捷徑");
  EXPECT_TRUE(Picker.Start.endsWith("/資料備份排程捷徑.desktop"));
  const std::string text = ReadTestFile(Program.Temp.Root() / "捷徑.desktop");
  EXPECT_TRUE(
      text.starts_with("[Desktop Entry]\nType=Application\nName=捷徑\nComment=資料備份排程捷徑\n"))
      << text;
  // The store turns quotation marks into apostrophes; the rest arrives as it is.
  EXPECT_TRUE(
      ExecOf("捷徑.desktop")
          .ends_with(
              "kavrel\" \"--home=" + Program.Temp.Home().string() +
              "\" \"Daily docs\" \"Photos\" \"100%% '\\\\$HOME' \\\\`x\\\\` \\\\\\\\ 中文\""))
      << ExecOf("捷徑.desktop");
  EXPECT_EQ(access((Program.Temp.Root() / "捷徑.desktop").c_str(), X_OK), 0);
  EXPECT_FALSE(std::filesystem::exists(Program.Temp.Root() / "捷徑.desktop.tmp"));
  EXPECT_TRUE(Save().isEnabled() && List().isEnabled());

  for (const int row : {0, 2, 3}) Check(row, false);
  EXPECT_FALSE(Save().isEnabled());
}

TEST_F(ShortcutTest, AsksBeforeItReplacesAFileAndStaysUsable) {
  Open({u"--help"});
  Check(0);
  WriteTestFile(Program.Temp.Root() / "a.desktop", "mine");
  Picker.Answer = Path("a.desktop");
  EXPECT_EQ(MessageOf([&] { Save().click(); }, "否"), "檔案已存在，您要覆蓋它嗎？");
  EXPECT_EQ(ReadTestFile(Program.Temp.Root() / "a.desktop"), "mine");
  EXPECT_TRUE(Save().isEnabled());
  // A typed name without its ending names the same file.
  Picker.Answer = Path("a");
  EXPECT_NE(MessageOf([&] { Save().click(); }, "是"), "");
  EXPECT_TRUE(ExecOf("a.desktop").ends_with("\" \"--\" \"--help\"")) << ExecOf("a.desktop");
  Picker.Answer.clear();
  Save().click();
  EXPECT_TRUE(Save().isEnabled());
  Picker.Answer = Path("no such folder/b.desktop");
  Save().click();
  EXPECT_TRUE(Find<QLabel>(*dialog_, "lblState")->text().startsWith("捷徑無法寫入"));
}

}  // namespace
}  // namespace kavrel
