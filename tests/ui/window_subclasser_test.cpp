#include "ui/controls/window_subclasser.h"

#include <gtest/gtest.h>

#include <QLineEdit>
#include <functional>
#include <memory>

#include "ui/window_driver.h"

namespace kavrel {
namespace {

struct CountingOwner : SubclassOwner {
  void WndProc(SubclassWhen, bool&, bool&, QWidget*, QEvent*, std::intptr_t) override {
    ++Calls;
    Act();
  }

  int Calls = 0;
  std::function<void()> Act;
};

TEST(WindowSubclasser, HooksMayEndWhileTheyAreCalled) {
  CountingOwner owner;
  auto subclasser = std::make_unique<WindowSubclasser>();
  auto edit = std::make_unique<QLineEdit>();
  subclasser->Subclass(edit.get(), &owner);
  subclasser->AddMessage(edit.get(), QEvent::KeyPress, SubclassWhen::Before);
  subclasser->AddMessage(edit.get(), QEvent::KeyPress, SubclassWhen::After);
  owner.Act = [&] { subclasser.reset(); };
  Press(*edit, Qt::Key_X);
  Press(*edit, Qt::Key_Y);
  EXPECT_EQ(owner.Calls, 1);
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
