// The dialog in which the user picks files and folders of a backup, and where they go.
#pragma once

#include <QDialog>
#include <QTimer>
#include <memory>
#include <optional>

#include "app/backup_browser.h"
#include "core/restore_pick.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QTreeView;

namespace kavrel {

class BackupModel;
class FilePicker;
class SettingsStore;

class FrmRestore : public QDialog {
  Q_OBJECT

 public:
  /// What is to be told of the backup: its job, and the folder that it came from.
  struct Backup {
    std::u16string Job, Source;
    const BackupBrowser& Browser;
  };
  /// The browser, the picker and the store outlive the dialog.
  FrmRestore(const Backup& backup, FilePicker& picker, QWidget* parent,
             SettingsStore* sizes = nullptr);

  /// What was picked, once the dialog was accepted.
  RestorePick Pick() const;

 private:
  QWidget* MakeTree();
  QWidget* MakeTarget(const QString& source);
  void ShowState();
  void StartSearch();
  void SearchOn();
  void BrowseTarget();
  void TakePick();

  const BackupBrowser& browser_;
  FilePicker& picker_;
  PathSet picked_;
  BackupModel* model_;
  std::unique_ptr<BackupSearch> search_;
  QTimer search_timer_;
  QTreeView* tvwFiles_;
  QLineEdit *txtFind_, *txtTarget_;
  QLabel* lblPicked_;
  QRadioButton *optPlace_, *optOther_;
  QCheckBox* chkNewer_;
  QPushButton *btnTarget_, *cmdOK_;
};

}  // namespace kavrel
