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
  void resizeEvent(QResizeEvent* event) override;

 private:
  static void Tell(QLabel& label, const QString& name, const QString& text);
  void ApplyColour();
  /// Room for what usually is to be said, so that the window does not jump as one types, and for
  /// all of what is.
  void MakeRoom();

  QLineEdit* txtNext_;
  QLabel *lblDue_, *lblWarnings_;
};

}  // namespace kavrel
