#include "ui/caption_strip.h"

#include <QPainter>

namespace kavrel {

namespace {

constexpr int kMargin = 2;

}  // namespace

CaptionStrip::CaptionStrip(QWidget* parent) : QWidget(parent) {
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void CaptionStrip::SetText(const QString& text) {
  if (text == text_) return;
  text_ = text;
  // Not the accessible name: a screen reader would read out every file.
  update();
}

QSize CaptionStrip::sizeHint() const {
  return {40 * fontMetrics().averageCharWidth(), fontMetrics().height() + 2 * kMargin};
}

QSize CaptionStrip::minimumSizeHint() const {
  return {0, sizeHint().height()};
}

void CaptionStrip::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  const QRect area = rect().adjusted(kMargin, kMargin, -kMargin, -kMargin);
  painter.drawText(area, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                   fontMetrics().elidedText(text_, Qt::ElideMiddle, area.width()));
}

}  // namespace kavrel
