// The dialog that shows the date tags of destination folders and puts them together.
#pragma once

#include <QDialog>

#include "ui/controls/cls_lict_view.h"

class QLineEdit;
class QPushButton;

namespace kavrel {

class Clock;
class SettingsStore;

class frmHelp : public QDialog {
  Q_OBJECT

 public:
  /// Without a clock the machine's own is shown; both outlive the dialog.
  explicit frmHelp(QWidget* parent, Clock* clock = nullptr, SettingsStore* sizes = nullptr);

 private:
  void FillTags();
  void LvTag_Click(int row);
  void txtSel_Change(const QString& text);
  void btnCopy_Click();
  QString Expanded(const QString& path) const;

  Clock& clock_;
  clsLictView LvTag_;
  QLineEdit *txtSel_, *txtTest_;
  QPushButton *btnCopy_, *btnClear_;
};

}  // namespace kavrel
