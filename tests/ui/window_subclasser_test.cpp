#include "ui/controls/window_subclasser.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <functional>

#include "ui/window_driver.h"

namespace kavrel {
namespace {

/// Writes down what it is called for and does what the test wants.
struct Recorder : SubclassOwner {
  Recorder(QString name, QStringList& calls) : Name(std::move(name)), Calls(calls) {}

  void WndProc(SubclassWhen when, bool& handled, bool& result, QWidget* window, QEvent* event,
               std::intptr_t user_value) override {
    const auto* edit = qobject_cast<QLineEdit*>(window);
    Calls += QStringLiteral("%1%2 %3 %4")
                 .arg(Name, when == SubclassWhen::Before ? "-" : "+", QString::number(user_value),
                      edit != nullptr ? edit->text() : QString());
    if (Act) Act(when, handled, result, event);
  }

  QString Name;
  QStringList& Calls;
  std::function<void(SubclassWhen, bool&, bool&, QEvent*)> Act;
};

TEST(WindowSubclasser, CallsTheLatestHookFirstBeforeAndLastAfterTheWindow) {
  QStringList calls;
  QLineEdit edit;
  Recorder early("early", calls), late("late", calls);
  WindowSubclasser first, second;
  EXPECT_FALSE(first.Subclass(nullptr, &early));
  ASSERT_TRUE(first.Subclass(&edit, &early, 7));
  ASSERT_TRUE(second.Subclass(&edit, &late, 8));
  for (const auto when : {SubclassWhen::Before, SubclassWhen::After}) {
    first.AddMessage(&edit, QEvent::KeyPress, when);
    second.AddMessage(&edit, QEvent::KeyPress, when);
  }
  Press(edit, Qt::Key_X);
  EXPECT_EQ(calls, (QStringList{"late- 8 ", "early- 7 ", "early+ 7 x", "late+ 8 x"}));

  calls.clear();
  second.DeleteMessage(&edit, QEvent::KeyPress, SubclassWhen::Before);
  first.UnSubclass(&edit);
  Press(edit, Qt::Key_Y);
  EXPECT_EQ(calls, QStringList{"late+ 8 xy"});
}

TEST(WindowSubclasser, AHandledEventReachesNeitherEarlierHooksNorTheWindow) {
  QStringList calls;
  QLineEdit edit;
  Recorder early("early", calls), late("late", calls);
  bool accept = false;
  late.Act = [&](SubclassWhen, bool& handled, bool& result, QEvent*) {
    handled = true;
    result = accept;
  };
  WindowSubclasser first, second;
  first.Subclass(&edit, &early);
  second.Subclass(&edit, &late);
  first.AddMessage(&edit, QEvent::KeyPress, SubclassWhen::Before);
  second.AddMessage(&edit, QEvent::KeyPress, SubclassWhen::Before);
  for (const bool wanted : {false, true}) {
    accept = wanted;
    QKeyEvent key(QEvent::KeyPress, Qt::Key_X, {}, "x");
    QApplication::sendEvent(&edit, &key);
    EXPECT_EQ(key.isAccepted(), wanted);
  }
  EXPECT_EQ(edit.text(), "");
  EXPECT_EQ(calls, (QStringList{"late- 0 ", "late- 0 "}));
}

TEST(WindowSubclasser, HooksMayEndWhileTheyAreCalled) {
  QStringList calls;
  Recorder owner("own", calls);
  auto subclasser = std::make_unique<WindowSubclasser>();
  auto edit = std::make_unique<QLineEdit>();
  subclasser->Subclass(edit.get(), &owner);
  subclasser->AddMessage(edit.get(), QEvent::KeyPress, SubclassWhen::Before);
  subclasser->AddMessage(edit.get(), QEvent::KeyPress, SubclassWhen::After);
  owner.Act = [&](SubclassWhen, bool&, bool&, QEvent*) { subclasser.reset(); };
  Press(*edit, Qt::Key_X);
  Press(*edit, Qt::Key_Y);
  EXPECT_EQ(calls, QStringList{"own- 0 "});
  EXPECT_EQ(edit->text(), "xy");

  // A hook that outlives its window.
  WindowSubclasser survivor;
  survivor.Subclass(edit.get(), &owner);
  edit.reset();
  QLineEdit other;
  EXPECT_TRUE(survivor.Subclass(&other, &owner));
}

}  // namespace
}  // namespace kavrel
