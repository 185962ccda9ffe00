// The menu of the tray icon.
#pragma once

#include <QObject>

#include "app/program.h"

class QAction;
class QMenu;
class QWidget;

namespace kavrel {

class TrayMenu : public QObject {
  Q_OBJECT

 public:
  /// Both outlive the menu, which is the window's child.
  TrayMenu(Program& program, QWidget* window);

  QMenu* Menu() { return menu_; }

 Q_SIGNALS:
  /// The window is to be shown, or hidden.
  void ToggleWanted();
  void PauseChosen();
  void ExitWanted();

 private:
  /// Whether the program may end now: not in the midst of a run, nor over an open dialog, whose
  /// changes would be lost. The toolbar's button cannot be reached then.
  bool MayExit() const;

  Program& program_;
  QMenu* menu_;
};

}  // namespace kavrel
