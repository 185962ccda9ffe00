// The job editor's third page: when a job runs.
#pragma once

#include <QWidget>
#include <array>

#include "core/job_form.h"
#include "ui/controls/cls_date.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QStackedLayout;

namespace kavrel {

class JobTimePage : public QWidget {
  Q_OBJECT

 public:
  JobTimePage();

  /// Shows all five components of the interval, each in its list.
  void Show(const BackupJob& job);
  /// Fills the form's fields that this page shows.
  void Read(JobForm& form) const;
  /// Leads the user to the field that a refused form is about.
  void FocusField(FormCheck check);

 Q_SIGNALS:
  /// The user changed something.
  void Changed();

 private:
  QWidget* MakeCounts();
  QGroupBox* MakeWeekdays();
  void ComTime_Click();
  void IntervalChanged();

  bool keep_interval_ = true;  ///< the user has changed nothing of it
  QLabel* lblInterval_;
  QComboBox* ComTime_;
  QStackedLayout* counts_;
  std::array<QComboBox*, 5> count_lists_;  ///< by IntervalKind
  ClsDate picDate_, picTime_;
  std::array<QCheckBox*, 8> chkDOW_{};  ///< 1 = Sunday … 7 = Saturday
};

}  // namespace kavrel
