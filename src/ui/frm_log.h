// A job log, to be read and searched.
#pragma once

#include <QDialog>
#include <string>
#include <string_view>

#include "base/result.h"
#include "ui/log_lines.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QListView;

namespace kavrel {

class SettingsStore;

/// That a log cannot be read, and why.
QString UnreadableLogText(std::u16string_view path, ErrorCode error);

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
