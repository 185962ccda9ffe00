// The panel in which one exclusion rule is entered.
#pragma once

#include <QGroupBox>
#include <array>

#include "rules/rule_form.h"

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace kavrel {

class RulePanel : public QWidget {
  Q_OBJECT

 public:
  RulePanel();

  /// What cboDrive offers; a drive that was typed or chosen stays.
  void SetDrives(const QStringList& drives);
  void AddDrive(const QString& drive);
  void Show(const RuleForm& form);
  RuleForm Read() const;
  /// Leads the user to the field that a refused form is about.
  void FocusField(RuleCheck check);
  QPushButton& OkButton() { return *btnOK_; }

 Q_SIGNALS:
  void Ok();
  void Cancelled();

 private:
  QGroupBox* MakeDrives();
  QGroupBox* MakeFolders();
  QGroupBox* MakeFiles();
  void EnableFields();

  QLineEdit* txtDesc_;
  std::u16string kept_name_;  ///< the one that txtDesc_ was given
  QCheckBox* chkEnabled_;
  std::array<QRadioButton*, 2> optDrive_;
  std::array<QRadioButton*, 4> optFolder_;
  std::array<QRadioButton*, 3> optFile_;
  QComboBox* cboDrive_;
  std::array<QLineEdit*, 3> txtFolder_{}, txtFile_{};  ///< from 1 on, by option
  QPushButton *btnOK_, *btnCancels_;
};

}  // namespace kavrel
