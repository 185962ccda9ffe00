// The strip above the list of finished runs that says which of them are shown.
#pragma once

#include <QWidget>

#include "log/log_filter.h"

class QCheckBox;
class QComboBox;
class QLineEdit;

namespace kavrel {

class LogBar : public QWidget {
  Q_OBJECT

 public:
  LogBar();

  /// Offers the jobs of these rows; the chosen one stays as long as it is among them.
  void OfferJobs(const std::vector<LogRow>& rows);
  LogFilter Filter() const;

 Q_SIGNALS:
  void Changed();

 private:
  QComboBox* cboLogJob_;
  QCheckBox* chkLogFailed_;
  QLineEdit* txtLogFind_;
};

}  // namespace kavrel
