// The main window and the job editor by keyboard alone: what Tab reaches, in which order, and what
// has a letter of its own.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QPushButton>
#include <QRadioButton>
#include <QTabBar>
#include <QTest>

#include "support/test_program.h"
#include "ui/frm_set.h"
#include "ui/letters.h"
#include "ui/main_window.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

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
