// The picker of a date or of a time of day.
#pragma once

#include <QObject>
#include <QPointer>

#include "base/date_time.h"

class QDateTimeEdit;

namespace kavrel {

/// Holds date and time both, whichever of them it shows. A property set before Create is kept.
class ClsDate : public QObject {
  Q_OBJECT

 public:
  enum PickerStyle { LongDate = 0, Time = 1 };

  explicit ClsDate(QObject* parent = nullptr);

  void SetPictureBox(QWidget* container) { container_ = container; }
  QWidget* PictureBox() const { return container_; }
  void Create();
  QWidget* hwnd() const;
  void SetAccessibleName(const QString& name);

  /// Time has arrows up and down; every other style is the long date with a calendar.
  PickerStyle Style() const { return style_; }
  void SetStyle(PickerStyle style);
  bool Enabled() const { return enabled_; }
  void SetEnabled(bool enabled);
  DateTime Value() const;
  /// Raises no Change.
  void SetValue(DateTime value);

 Q_SIGNALS:
  /// The user changed the value.
  void Change();

 private:
  void ApplyStyle();

  QPointer<QWidget> container_;
  QPointer<QDateTimeEdit> edit_;
  PickerStyle style_ = LongDate;
  DateTime value_ = kZeroDate;
  bool enabled_ = true;
};

}  // namespace kavrel
