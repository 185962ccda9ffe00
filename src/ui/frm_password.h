// Asks for the password of an archive that the job's own does not open.
#pragma once

#include <QDialog>

#include "base/secret.h"

class QCheckBox;
class QLineEdit;

namespace kavrel {

class FrmPassword : public QDialog {
  Q_OBJECT

 public:
  FrmPassword(const QString& job, const QString& archive, QWidget* parent);

  Secret Password() const;
  /// The job is to have it from now on.
  bool Keep() const;

 private:
  QLineEdit* txtPassword_;
  QCheckBox* chkKeep_;
};

}  // namespace kavrel
