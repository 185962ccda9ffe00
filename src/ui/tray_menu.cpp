#include "ui/tray_menu.h"

#include <QApplication>

#include "base/translation.h"
#include "ui/menu_kit.h"
#include "ui/pause_menu.h"

namespace kavrel {

TrayMenu::TrayMenu(Program& program, QWidget* window)
    : QObject(window), program_(program), menu_(new QMenu(window)) {
  menu_->setObjectName(QStringLiteral("mnuTray"));
  QAction* toggle = AddItem(*menu_, QStringLiteral("mnuTrayShow"), TrLater(u"顯示 / 隱藏視窗"));
  menu_->setDefaultAction(toggle);
  connect(toggle, &QAction::triggered, this, &TrayMenu::ToggleWanted);
  auto* pause = new PauseMenu(program, window);
  connect(pause, &PauseMenu::Chosen, this, &TrayMenu::PauseChosen);
  menu_->addMenu(pause->Menu());
  menu_->addSeparator();
  QAction* exit = AddItem(*menu_, QStringLiteral("mnuTrayExit"), TrLater(u"結束Kavrel"));
  connect(menu_, &QMenu::aboutToShow, this, [this, exit] { exit->setEnabled(MayExit()); });
  connect(exit, &QAction::triggered, this, [this] {
    // A run may have begun while the menu was open.
    if (MayExit()) Q_EMIT ExitWanted();
  });
}

bool TrayMenu::MayExit() const {
  return !program_.State.RunBusy && QApplication::activeModalWidget() == nullptr;
}

}  // namespace kavrel
