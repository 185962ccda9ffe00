// Every dialog by keyboard alone: what Tab reaches, in which order, and what has a letter of its
// own.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QPushButton>
#include <QRadioButton>
#include <QTabBar>
#include <QTest>

#include "support/test_program.h"
#include "support/variable.h"
#include "ui/fake_picker.h"
#include "ui/frm_exc.h"
#include "ui/frm_ff_edit.h"
#include "ui/frm_help.h"
#include "ui/frm_restore.h"
#include "ui/frm_set.h"
#include "ui/frm_shortcut.h"
#include "ui/letters.h"
#include "ui/main_window.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

class NoSearch final : public NetEnum {
 public:
  Step Next(NetEntry&) override { return Step::Done; }
};

class KeyboardTest : public testing::Test {
 protected:
  KeyboardTest() {
    Program.AddJob().Name = u"Photos";
    Program.Program.Store.SaveJobs();
  }

  static QString NameOf(const QWidget& control) {
    const QWidget* named = &control;
    while (named->objectName().isEmpty() || named->objectName().startsWith("qt_")) {
      if (named->isWindow()) break;
      named = named->parentWidget();
    }
    return named->objectName();
  }

  /// The names of what Tab goes through, from what has the focus until that has it again.
  static QStringList TabOrder(QWidget& window) {
    QStringList names;
    const QWidget* first = QApplication::focusWidget();
    for (int i = 0; i < 60; ++i) {
      names += NameOf(*QApplication::focusWidget());
      Press(*QApplication::focusWidget(), Qt::Key_Tab);
      if (QApplication::focusWidget() == first) break;
    }
    EXPECT_TRUE(window.isActiveWindow());
    return names;
  }

  /// The names of the controls that can be used now and that Tab does not come to. (Within a group
  /// of choices the arrow keys go on.)
  static QStringList Unreached(QWidget& window) {
    const QStringList order = TabOrder(window);
    QStringList missing;
    for (const auto* control : window.findChildren<QWidget*>()) {
      const auto* choice = qobject_cast<const QRadioButton*>(control);
      if (!control->isVisible() || !control->isEnabled() || control->window() != &window ||
          (control->focusPolicy() & Qt::TabFocus) == 0 || (choice && !choice->isChecked())) {
        continue;
      }
      if (!order.contains(NameOf(*control))) missing += NameOf(*control);
    }
    return missing;
  }

  static void Check(QWidget& window, const char* first) {
    SCOPED_TRACE(window.objectName().toStdString() + ", " + first);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    ASSERT_NE(QApplication::focusWidget(), nullptr);
    EXPECT_EQ(NameOf(*QApplication::focusWidget()), first) << "has the keys at first";
    EXPECT_EQ(Unreached(window), QStringList());
    EXPECT_EQ(LetterFaults(window), QStringList());
  }

  TestProgram Program;
};

TEST_F(KeyboardTest, TheJobEditor) {
  FrmSet set(Program.Program, nullptr);
  WhenDialog([](QWidget& editor) {
    Check(editor, "lstJobs");
    Find<QPushButton>(editor, "btnEdit")->click();
    Check(editor, "txtDesc");
    const QStringList order = TabOrder(editor);
    EXPECT_TRUE(order.join(' ').startsWith(
        "txtDesc txtSrc btnBrowseSrc txtDest btnTags btnBrowseDest cboBackupType cboFF cmdLoadFFs "
        "chkExc chkSubDirs chkSrcFolder chkEnabled chkFileSize chkZipPassWord"))
        << order.join(' ').toStdString();
    Find<QTabBar>(editor)->setCurrentIndex(2);
    Check(editor, "ComTime");
    Find<QTabBar>(editor)->setCurrentIndex(3);
    Check(editor, "chkGuard");
    Press(editor, Qt::Key_Escape);
    EXPECT_EQ(NameOf(*QApplication::focusWidget()), "lstJobs");
    Press(editor, Qt::Key_Escape);
  });
  set.List(0);
}

TEST_F(KeyboardTest, TheRuleEditors) {
  frmExc exclusions(Program.Program, nullptr, [] { return std::make_unique<NoSearch>(); });
  ShowAndWait(exclusions);
  Check(exclusions, "lstExc");
  Find<QPushButton>(exclusions, "btnNew")->click();
  Check(exclusions, "txtDesc");
  exclusions.hide();
  frmFFEdit filters(Program.Program, nullptr);
  ShowAndWait(filters);
  Check(filters, "LvFFs");
  Press(*QApplication::focusWidget(), Qt::Key_Return);
  Check(filters, "txtDesc");
}

TEST_F(KeyboardTest, TheSmallDialogs) {
  frmShortcut shortcut(Program.Program, nullptr);
  ShowAndWait(shortcut);
  Press(*QApplication::focusWidget(), Qt::Key_Space);
  Check(shortcut, "lstJobs");
  Press(shortcut, Qt::Key_Escape);
  EXPECT_FALSE(shortcut.isVisible());
  FakePicker picker;
  const auto browser = BrowseFolder(Program.Temp.Files(), u"D:\\");
  WriteTestFile(Program.Temp.DriveD() / "file", "x");
  FrmRestore restore({u"Photos", u"C:\\src\\", *browser}, picker, nullptr);
  ShowAndWait(restore);
  Press(*QApplication::focusWidget(), Qt::Key_Space);
  Check(restore, "tvwFiles");
  frmHelp help(nullptr);
  ShowAndWait(help);
  Press(*QApplication::focusWidget(), Qt::Key_Space);
  Check(help, "LvTag");
}

TEST_F(KeyboardTest, TheMainWindowAlsoWhileItRuns) {
  MainWindow main;
  main.AddJob(u"Photos");
  main.Start();
  EXPECT_TRUE(ViewOf(*main.Jobs().hwnd()).hasFocus());
  EXPECT_EQ(Unreached(main.Window), QStringList());
  main.Window.EnableControls(false);
  main.Window.ShowRunPanels(true);
  Press(main.Window, Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), main.Named("cmdCancel"));
  main.Window.ShowRunPanels(false);
  main.Window.EnableControls(true);
  EXPECT_TRUE(ViewOf(*main.Jobs().hwnd()).hasFocus());
}

}  // namespace
}  // namespace kavrel
