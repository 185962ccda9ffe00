// What the job that is being edited would do: where it writes, when, and what may be wrong.
#pragma once

#include <QGroupBox>

#include "app/job_preview.h"

class QLabel;
class QLineEdit;

namespace kavrel {

class JobPreviewBox : public QGroupBox {
  Q_OBJECT

 public:
  JobPreviewBox();

  void Show(const JobPreview& preview, bool enabled);
  /// Nothing to show.
  void Clear() { Show({}, true); }

 protected:
  void changeEvent(QEvent* event) override;

 private:
  static void Tell(QLabel& label, const QString& name, const QString& text);
  void ApplyColour();

  QLineEdit* txtNext_;
  QLabel *lblDue_, *lblWarnings_;
};

}  // namespace kavrel
