// The dialog in which the user picks files and folders of a backup, and where they go.
#pragma once

#include <QDialog>
#include <QTimer>
#include <functional>
#include <memory>
#include <optional>

#include "app/backup_browser.h"
#include "engine/states.h"
#include "ui/restore_wish.h"
#include "ui/state_strip.h"

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
class StateList;

/// The states of a job, of which the user takes one where they are listed.
struct RestoreStates {
  std::vector<JobState> List;
  int Chosen = -1;  ///< the one that the browser shows; -1: it is none of them
  /// Null where a state cannot be looked into.
  std::function<std::unique_ptr<BackupBrowser>(const JobState& state)> Browse;
  std::function<void(const JobState& state)> OpenFolder;
  std::vector<StateNote> Notes;  ///< of each
  StateGrowth Growth;            ///< of all
  /// Pins one, or lets go of it, and gives what is told of it then; nothing where that failed,
  /// after telling so.
  std::function<std::optional<QString>(JobState& state, bool pinned)> Pin;
  /// Shows what changed from one to another, by their positions.
  std::function<void(QWidget& owner, int older, int newer)> Compare;
  /// Shows all versions of a file; what is wanted then, if anything. Also without a list.
  std::function<std::optional<RestoreWish>(QWidget& owner, const std::u16string& path)> Versions;
};

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
             SettingsStore* sizes = nullptr, RestoreStates states = {});

  /// What is wanted, once the dialog was accepted. The state is empty where none was to be chosen.
  RestoreWish Wish() const;

 private:
  void MakeModel();
  void ChooseState(int row);
  void PinState(int row, bool pinned);
  QWidget* MakeTree();
  QLayout* MakeSearch();
  void ShowTreeMenu(const QPoint& at);
  void ShowCurrent();
  void ShowVersions();
  QWidget* MakeTarget(const QString& source);
  void ShowState();
  void StartSearch();
  void SearchOn();
  void BrowseTarget();
  void TakePick();

  RestoreStates states_;
  std::unique_ptr<BackupBrowser> of_state_;  ///< the browser of a state that was chosen here
  const BackupBrowser* browser_;
  FilePicker& picker_;
  PathSet picked_;
  BackupModel* model_ = nullptr;
  StateList* state_list_ = nullptr;
  std::unique_ptr<BackupSearch> search_;
  std::optional<RestoreWish> version_;  ///< that was chosen among those of one file
  QTimer search_timer_;
  QTreeView* tvwFiles_;
  QLineEdit *txtFind_, *txtTarget_;
  QLabel* lblPicked_;
  QRadioButton *optPlace_, *optOther_;
  QCheckBox* chkNewer_;
  QPushButton *btnVersions_, *btnTarget_, *cmdOK_;
};

}  // namespace kavrel
