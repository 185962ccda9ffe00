#include "ui/controls/cls_progress.h"

#include <QProgressBar>

#include "ui/controls/container.h"

namespace kavrel {

namespace {

constexpr int kShowEveryMs = 40;

}  // namespace

clsProgress::clsProgress(QObject* parent) : QObject(parent) {
  later_.setSingleShot(true);
  connect(&later_, &QTimer::timeout, this, &clsProgress::Show);
}

void clsProgress::Create() {
  if (!container_ || bar_) return;
  bar_ = new QProgressBar(container_);
  FillContainer(container_, bar_);
  Show();
}

QWidget* clsProgress::hwnd() const {
  return bar_;
}

void clsProgress::SetAccessibleName(const QString& name) {
  if (bar_) bar_->setAccessibleName(name);
}

void clsProgress::SetMin(int min) {
  min_ = min;
  Show();
}

void clsProgress::SetMax(int max) {
  max_ = max;
  Show();
}

void clsProgress::SetValue(int value) {
  value_ = qBound(min_, value, qMax(min_, max_));
  if (!bar_ || later_.isActive()) return;
  const qint64 since = shown_.isValid() ? shown_.elapsed() : kShowEveryMs;
  if (since >= kShowEveryMs) {
    Show();
  } else {
    later_.start(static_cast<int>(kShowEveryMs - since));
  }
}

void clsProgress::Show() {
  later_.stop();
  if (!bar_) return;
  bar_->setRange(min_, qMax(min_, max_));
  bar_->setValue(value_);
  shown_.start();
}

}  // namespace kavrel
