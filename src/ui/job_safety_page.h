// The job editor's fourth page: what keeps a run from doing harm, and what becomes of old backups.
#pragma once

#include <QWidget>

#include "core/job_form.h"

class QCheckBox;
class QSpinBox;

namespace kavrel {

class JobSafetyPage : public QWidget {
  Q_OBJECT

 public:
  JobSafetyPage();

  void Show(const ExtraSettings& extras);
  /// Fills the form's fields that this page shows.
  void Read(JobForm& form) const;

 Q_SIGNALS:
  /// The user changed something.
  void Changed();

 private:
  QWidget* MakeGuard();
  QWidget* MakeOthers();
  QSpinBox* MakeNumber(const char* name, int first, int last);
  QCheckBox* MakeSwitch(const char* name, const QString& text);

  QCheckBox *chkGuard_, *chkSpace_, *chkVerify_, *chkLinks_;
  QSpinBox *numGuardPercent_, *numGuardFewest_, *numKeep_;
};

}  // namespace kavrel
