#include "ui/controls/cls_toolbar.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QToolButton>

#include "ui/icons.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

class ToolbarTest : public ::testing::Test {
 protected:
  ToolbarTest() {
    window_.resize(700, 90);
    bar_.SetTargetPictureBox(&window_);
    bar_.Initialize();
    for (const IconId id : {IconId::RunChecked, IconId::Log, IconId::Options})
      bar_.AddIcon(LoadIcon(id));
    bar_.AddButton(0, "執行所有已勾選排程");
    bar_.AddButton(-1, {}, clsToolbar::Separator);
    bar_.AddButton(1, "顯示備份日誌", clsToolbar::CheckButton);
    bar_.AddButton(2, "程式選項", clsToolbar::WholeDropDown);
    ShowAndWait(window_);
  }

  QToolButton& Button(const QString& tip) {
    for (auto* button : window_.findChildren<QToolButton*>()) {
      if (button->toolTip() == tip) return *button;
    }
    qFatal("no such button");
  }

  QWidget window_;
  clsToolbar bar_;
};

TEST_F(ToolbarTest, ButtonsAnswerMouseAndKeyboardUnderTheirNumbers) {
  EXPECT_EQ(bar_.ButtonCount(), 4);
  QStringList events;
  QObject::connect(&bar_, &clsToolbar::ButtonClick, &bar_, [&](int index) {
    events += QStringLiteral("click %1 %2").arg(index).arg(bar_.ButtonChecked(index));
  });
  QObject::connect(&bar_, &clsToolbar::ButtonDropDown, &bar_, [&](int index, int x, int y) {
    events += QStringLiteral("drop %1").arg(index);
    QToolButton& button = Button("程式選項");
    EXPECT_EQ(button.mapFromGlobal(QPoint(x, y)), QPoint(0, button.height()));
  });
  Click(Button("執行所有已勾選排程"));
  Click(Button("顯示備份日誌"));
  Click(Button("程式選項"));
  bar_.SetButtonChecked(3, false);
  Button("顯示備份日誌").setFocus();
  Press(Button("顯示備份日誌"), Qt::Key_Return);
  Press(Button("顯示備份日誌"), Qt::Key_Right);
  EXPECT_TRUE(Button("程式選項").hasFocus());
  Press(Button("程式選項"), Qt::Key_Down);
  bar_.SetButtonEnabled(1, false);
  Click(Button("執行所有已勾選排程"));
  EXPECT_EQ(events, (QStringList{"click 1 0", "click 3 1", "drop 4", "click 3 1", "drop 4"}));
  EXPECT_FALSE(Button("程式選項").isDown());
}

TEST_F(ToolbarTest, TipsAreCutAndCaptionsGiveWayInANarrowWindow) {
  bar_.SetButtonTipText(1, QString(100, u'長'));
  EXPECT_EQ(bar_.ButtonTipText(1).size(), 80);
  bar_.SetButtonTipText(1, "執行所有排程");
  bar_.SetButtonCaption(3, "日誌");
  bar_.SetButtonTipText(3, "關閉備份日誌");
  EXPECT_EQ(bar_.ButtonCaption(1), "執行所有排程");
  EXPECT_EQ(bar_.ButtonCaption(3), "日誌");
  EXPECT_EQ(Button("關閉備份日誌").accessibleName(), "關閉備份日誌");
  EXPECT_EQ(bar_.ButtonTipText(0) + bar_.ButtonTipText(2) + bar_.ButtonTipText(5), "");

  EXPECT_EQ(Button("執行所有排程").toolButtonStyle(), Qt::ToolButtonTextUnderIcon);
  window_.resize(170, 90);
  EXPECT_TRUE(WaitUntil(
      [&] { return Button("執行所有排程").toolButtonStyle() == Qt::ToolButtonIconOnly; }));
  EXPECT_TRUE(WaitUntil([&] { return Button("程式選項").isVisible(); }));
  bar_.SetButtonVisible(4, false);
  EXPECT_FALSE(bar_.ButtonVisible(4));
  window_.resize(700, 90);
  EXPECT_TRUE(WaitUntil(
      [&] { return Button("執行所有排程").toolButtonStyle() == Qt::ToolButtonTextUnderIcon; }));
}

}  // namespace
}  // namespace kavrel
