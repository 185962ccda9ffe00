// The editor of the file-type filters.
#pragma once

#include <QDialog>

#include "ui/controls/cls_lict_view.h"

class QGroupBox;
class QLineEdit;
class QPushButton;

namespace kavrel {

class Program;

/// Works on the program's filter table. After it has closed, its caller reads the table again,
/// which drops what was not saved.
class frmFFEdit : public QDialog {
  Q_OBJECT

 public:
  frmFFEdit(Program& program, QWidget* parent);

  /// As by Escape or the close box: leaves the frame, or the dialog, and asks before changes are
  /// lost.
  void reject() override;

 private:
  QWidget* MakeLists();
  void MakeFrame();
  void FillFilters(int select);
  void ShowFilter();
  void BeginEdit(int filter);
  void EndEdit();
  bool Store();
  bool AskToStore(bool with_text);
  QStringList Patterns() const;
  void AddPattern(const QString& pattern);
  void EnableButtons();

  void LvFFs_Select();
  void btnNewFF_Click();
  void btnEditFF_Click();
  void btnDelFF_Click();
  void btnExtAdd_Click();
  void btnExtDel_Click();
  void btnFFSave_Click();
  void btnFFCancel_Click();
  void btnDone_Click();

  Program& program_;
  /// Position in the filter table of the list in the frame; 0, the built-in one, stands for a new
  /// list, -1 for none.
  int edited_ = -1;
  bool changed_ = false;  ///< the frame holds what is not stored in the table
  bool dirty_ = false;    ///< the table holds what is not saved
  clsLictView LvFFs_, LvExts_;
  QGroupBox* fraFF_;
  QLineEdit *txtDesc_, *txtExt_;
  QPushButton *btnEditFF_, *btnDelFF_, *btnExtAdd_, *btnExtDel_, *btnFFSave_, *btnDone_;
};

}  // namespace kavrel
