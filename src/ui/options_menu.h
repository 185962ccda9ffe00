// The menus of the toolbar: the program's options, and what it tells about itself.
#pragma once

#include <QMenu>
#include <QObject>

#include "app/program.h"

class QActionGroup;

namespace kavrel {

class GuideKey;
class PauseMenu;

/// Where the project is to be found, as the build was told; empty where it has no such place.
struct ProductAddresses {
  std::u16string Mail = KAVREL_MAIL_ADDRESS, Web = KAVREL_WEB_ADDRESS;
};

/// Every option is stored the moment it is chosen.
class OptionsMenu : public QObject {
  Q_OBJECT

 public:
  /// Both outlive the menus, which are the window's children.
  OptionsMenu(Program& program, QWidget* window, const ProductAddresses& addresses = {});

  /// Checks what the settings say.
  void ShowSettings();
  void PopupOptions(QPoint position);
  void PopupHelp(QPoint position);
  /// How the next restore works; not stored.
  RestoreMode Restore() const;

 Q_SIGNALS:
  void ExclusionsWanted();
  void ShortcutsWanted();
  void DrivesWanted();
  void PauseChosen();

 private:
  void BuildSwitches();
  void BuildChoices();
  void BuildLanguages();
  void ChooseLanguage(int index);
  void BuildHelp(const ProductAddresses& addresses);
  void ShowAbout();
  void ShowStored();
  void SetExclusions(bool on);

  Program& program_;
  QWidget* window_;
  QMenu* options_;
  QMenu* help_;
  GuideKey* guide_;
  PauseMenu* pause_;
  QAction *start_, *start_min_, *sound_, *exclusions_, *exclusions_on_, *shortcut_, *web_;
  QActionGroup *restore_, *compression_, *priority_, *language_;
};

}  // namespace kavrel
