#include "ui/controls/cls_status_bar.h"

#include <QLabel>
#include <QStatusBar>

#include "ui/controls/container.h"

namespace kavrel {

namespace {

/// A label that wishes for its panel's width and can be squeezed to nothing.
class Panel : public QLabel {
 public:
  Panel(const QString& text, int width) : QLabel(text), width_(width) {
    setTextFormat(Qt::PlainText);
    setContentsMargins(6, 1, 6, 1);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Preferred);
  }

  QSize sizeHint() const override { return {width_, QLabel::sizeHint().height()}; }
  QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

 private:
  int width_;
};

}  // namespace

clsStatusBar::clsStatusBar(QObject* parent) : QObject(parent) {}

void clsStatusBar::Create() {
  if (!container_ || bar_) return;
  bar_ = new QStatusBar(container_);
  bar_->setSizeGripEnabled(true);
  FillContainer(container_, bar_);
}

QWidget* clsStatusBar::hwnd() const {
  return bar_;
}

int clsStatusBar::PanelAdd(int kind, const QString& text, int width) {
  if (!bar_) return -1;
  auto* panel = new Panel(text, width);
  if (kind != 0) panel->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
  bar_->addWidget(panel);
  panels_ += panel;
  return Count() - 1;
}

QString clsStatusBar::Text(int panel) const {
  return panel >= 0 && panel < Count() ? panels_[panel]->text() : QString();
}

void clsStatusBar::SetText(int panel, const QString& text) {
  if (panel >= 0 && panel < Count()) panels_[panel]->setText(text);
}

}  // namespace kavrel
