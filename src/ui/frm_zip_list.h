// The dialog in which the user chooses one of a job's archives.
#pragma once

#include <QDialog>
#include <optional>
#include <string>
#include <vector>

#include "archive/compressed_backup.h"
#include "ui/controls/cls_lict_view.h"

class QPushButton;

namespace kavrel {

class SettingsStore;

class frmZipList : public QDialog {
  Q_OBJECT

 public:
  explicit frmZipList(QWidget* parent, SettingsStore* sizes = nullptr);

  /// Shows the archives, the first one selected, and gives the name of the chosen one.
  static std::optional<std::u16string> Pick(const std::vector<ArchiveFile>& archives,
                                            QWidget* parent, SettingsStore* sizes = nullptr);

  void AddDisc(const ArchiveFile& archive);
  /// The chosen archive's number, counted from 0 in the order of adding; -1 when there is none.
  int SelectedDisc() const { return lstDiscs_.SelectedIndex(); }

 private:
  clsLictView lstDiscs_;
  QPushButton* cmdOK_;
};

}  // namespace kavrel
