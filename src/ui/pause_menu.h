// The menu that pauses the schedule and lets it go on.
#pragma once

#include <QObject>

#include "app/program.h"

class QAction;
class QMenu;
class QWidget;

namespace kavrel {

/// Each window and tray menu has one of its own.
class PauseMenu : public QObject {
  Q_OBJECT

 public:
  /// Both outlive the menu, which is the window's child.
  PauseMenu(Program& program, QWidget* window);

  QMenu* Menu() { return menu_; }

 Q_SIGNALS:
  /// A pause was begun or ended here.
  void Chosen();

 private:
  void Tell(ErrorCode error);

  Program& program_;
  QWidget* window_;
  QMenu* menu_;
  QAction* resume_;
};

}  // namespace kavrel
