// A job log, to be read and searched.
#pragma once

#include <QDialog>
#include <string>

#include "ui/log_lines.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QListView;

namespace kavrel {

class SettingsStore;

class FrmLog : public QDialog {
  Q_OBJECT

 public:
  FrmLog(const QString& name, std::u16string text, QWidget* parent, SettingsStore* sizes = nullptr);

 private:
  QWidget* MakeFind();
  /// Goes to the next line with the text, from `row` on.
  void Find(int row);
  void FindNext();
  void Copy() const;

  LogLines lines_;
  QListView* list_;
  QLineEdit* txtFind_;
  QCheckBox* chkFailed_;
  QLabel* lblState_;
};

}  // namespace kavrel
