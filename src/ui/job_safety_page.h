// The job editor's fourth page: what keeps a run from doing harm, and what becomes of old backups.
#pragma once

#include <QWidget>

#include "core/job_form.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QSpinBox;

namespace kavrel {

class JobSafetyPage : public QWidget {
  Q_OBJECT

 public:
  JobSafetyPage();

  void Show(const ExtraSettings& extras);
  /// What the job's dated folders cost, in words.
  void ShowForecast(const QString& text);
  /// Fills the form's fields that this page shows.
  void Read(JobForm& form) const;

 Q_SIGNALS:
  /// The user changed something.
  void Changed();

 private:
  QWidget* MakeGuard();
  QWidget* MakeOthers();
  QWidget* MakeProof();
  QWidget* MakeStates();
  QWidget* MakeKeeping();
  void ShowKeeping();
  QSpinBox* MakeNumber(const char* name, int first, int last);
  QCheckBox* MakeSwitch(const char* name, const QString& text);

  QCheckBox *chkGuard_, *chkChanges_, *chkSpace_, *chkVerify_, *chkSums_, *chkScrub_, *chkDrill_,
      *chkLinks_, *chkUnfinished_, *chkDeleteOld_;
  QComboBox *cboLinkStates_, *cboKeep_;
  QLineEdit* txtKeepPlan_;
  QLabel* lblStates_;
  QSpinBox *numGuardPercent_, *numGuardFewest_, *numKeep_;
};

}  // namespace kavrel
