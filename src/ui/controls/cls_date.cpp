#include "ui/controls/cls_date.h"

#include <QCalendarWidget>
#include <QDateTimeEdit>
#include <QLocale>
#include <QSignalBlocker>
#include <algorithm>

#include "base/screen_format.h"
#include "ui/controls/container.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

// Date-times here have no time zone; UTC has no hour that daylight saving skips.
QDateTime ToQt(DateTime value) {
  return QDateTime::fromSecsSinceEpoch(value.time_since_epoch().count(), Qt::UTC);
}

DateTime FromQt(const QDateTime& value) {
  return DateTime(std::chrono::seconds(value.toSecsSinceEpoch()));
}

/// The width that shows each day of a year whole.
int LongestDate(const QDateTimeEdit& edit) {
  constexpr int kArrow = 40;
  int width = 0;
  for (QDate day(2026, 1, 1); day.year() == 2026; day = day.addDays(1)) {
    const QString text = edit.locale().toString(day, edit.displayFormat());
    width = std::max(width, edit.fontMetrics().horizontalAdvance(text));
  }
  return width + kArrow;
}

}  // namespace

ClsDate::ClsDate(QObject* parent) : QObject(parent) {}

void ClsDate::Create() {
  if (!container_ || edit_) return;
  edit_ = new QDateTimeEdit(container_);
  edit_->setTimeSpec(Qt::UTC);
  edit_->setLocale(QLocale());
  edit_->setDateTimeRange(ToQt(*FromCivil(100, 1, 1)), ToQt(*FromCivil(9999, 12, 31, 23, 59, 59)));
  ApplyStyle();
  SetValue(value_);
  SetEnabled(enabled_);
  FillContainer(container_, edit_);
  connect(edit_, &QDateTimeEdit::dateTimeChanged, this, [this](const QDateTime& value) {
    value_ = FromQt(value);
    Q_EMIT Change();
  });
}

QWidget* ClsDate::hwnd() const {
  return edit_;
}

void ClsDate::SetAccessibleName(const QString& name) {
  if (edit_) edit_->setAccessibleName(name);
}

void ClsDate::SetStyle(PickerStyle style) {
  style_ = style;
  ApplyStyle();
}

void ClsDate::ApplyStyle() {
  if (!edit_) return;
  const QSignalBlocker quiet(edit_);
  const bool time = style_ == Time;
  edit_->setDisplayFormat(time ? ShowsHalfDays() ? QStringLiteral("AP hh:mm:ss")
                                                 : QStringLiteral("HH:mm:ss")
                               : TrText(u"yyyy'年'M'月'd'日' dddd"));
  edit_->setCalendarPopup(!time);
  if (time) return;
  edit_->setMinimumWidth(LongestDate(*edit_));
  QCalendarWidget* calendar = edit_->calendarWidget();
  calendar->setLocale(edit_->locale());
  calendar->setFirstDayOfWeek(WeekBeginsOnMonday() ? Qt::Monday : Qt::Sunday);
  calendar->setVerticalHeaderFormat(QCalendarWidget::NoVerticalHeader);
  calendar->setHorizontalHeaderFormat(QCalendarWidget::SingleLetterDayNames);
}

void ClsDate::SetEnabled(bool enabled) {
  enabled_ = enabled;
  if (edit_) edit_->setEnabled(enabled);
}

DateTime ClsDate::Value() const {
  return value_;
}

void ClsDate::SetValue(DateTime value) {
  value_ = value;
  if (!edit_) return;
  const QSignalBlocker quiet(edit_);
  edit_->setDateTime(ToQt(value));
}

}  // namespace kavrel
