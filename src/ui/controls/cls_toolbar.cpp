#include "ui/controls/cls_toolbar.h"

#include <QAction>
#include <QFrame>
#include <QKeyEvent>
#include <QLayout>
#include <QStyleOptionToolButton>
#include <QToolBar>
#include <QToolButton>

#include "ui/controls/container.h"

namespace kavrel {

namespace {

constexpr int kLongestText = 80;

/// A button that can show the arrow of a drop-down, and answers the keys that a user tries.
class BarButton : public QToolButton {
 public:
  BarButton(QWidget* parent, bool drop_down) : QToolButton(parent), drop_down_(drop_down) {}

 protected:
  void initStyleOption(QStyleOptionToolButton* option) const override {
    QToolButton::initStyleOption(option);
    if (drop_down_) option->features |= QStyleOptionToolButton::HasMenu;
  }

  void keyPressEvent(QKeyEvent* event) override {
    const int key = event->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter || (drop_down_ && key == Qt::Key_Down)) {
      drop_down_ ? Q_EMIT pressed() : click();
    } else if (key == Qt::Key_Left || key == Qt::Key_Right) {
      focusNextPrevChild(key == Qt::Key_Right);
    } else {
      QToolButton::keyPressEvent(event);
    }
  }

 private:
  bool drop_down_;
};

}  // namespace

clsToolbar::clsToolbar(QObject* parent) : QObject(parent) {}

void clsToolbar::Initialize(int icon_size, bool flat, bool list, bool divider) {
  if (!container_ || bar_) return;
  flat_ = flat;
  captions_ = list ? Qt::ToolButtonTextBesideIcon : Qt::ToolButtonTextUnderIcon;
  bar_ = new QToolBar(container_);
  bar_->setMovable(false);
  bar_->setIconSize({icon_size, icon_size});
  bar_->setToolButtonStyle(captions_);
  FillContainer(container_, bar_);
  if (divider) {
    auto* line = new QFrame(container_);
    line->setFrameStyle(QFrame::HLine | QFrame::Sunken);
    container_->layout()->addWidget(line);
  }
  subclasser_.Subclass(bar_, this);
  subclasser_.AddMessage(bar_, QEvent::Resize, SubclassWhen::Before);
  subclasser_.AddMessage(bar_, QEvent::StyleChange, SubclassWhen::After);
  subclasser_.AddMessage(bar_, QEvent::FontChange, SubclassWhen::After);
}

QWidget* clsToolbar::hwnd() const {
  return bar_;
}

int clsToolbar::AddIcon(const QIcon& icon) {
  images_ += icon;
  return static_cast<int>(images_.size()) - 1;
}

int clsToolbar::AddButton(int image, const QString& text, ButtonStyle style) {
  if (!bar_) return 0;
  const int index = ButtonCount() + 1;
  if (style == Separator) {
    buttons_ += Button{bar_->addSeparator()};
    return index;
  }
  QToolButton* widget = MakeButton(index, style);
  widget->setIcon(images_.value(image));
  buttons_ += Button{bar_->addWidget(widget), widget};
  SetButtonTipText(index, text);
  return index;
}

QToolButton* clsToolbar::MakeButton(int index, ButtonStyle style) {
  auto* widget = new BarButton(bar_, style == WholeDropDown);
  widget->setAutoRaise(flat_);
  widget->setCheckable(style == CheckButton);
  widget->setFocusPolicy(Qt::TabFocus);
  widget->setIconSize(bar_->iconSize());
  widget->setToolButtonStyle(bar_->toolButtonStyle());
  if (style != WholeDropDown) {
    connect(widget, &QToolButton::clicked, this, [this, index] { Q_EMIT ButtonClick(index); });
    return widget;
  }
  connect(widget, &QToolButton::pressed, this, [this, index, widget] {
    const QPointer<QToolButton> button(widget);
    const QPoint corner = widget->mapToGlobal(QPoint(0, widget->height()));
    Q_EMIT ButtonDropDown(index, corner.x(), corner.y());
    // The menu took the release of the mouse.
    if (button) button->setDown(false);
  });
  return widget;
}

QString clsToolbar::ButtonTipText(int index) const {
  return At(index) != nullptr ? At(index)->toolTip() : QString();
}

void clsToolbar::SetButtonTipText(int index, const QString& text) {
  QToolButton* button = At(index);
  if (button == nullptr) return;
  const QString tip = text.left(kLongestText);
  button->setToolTip(tip);
  button->setAccessibleName(tip);
  if (!buttons_[index - 1].OwnCaption) button->setText(tip);
  FitCaptions();
}

QString clsToolbar::ButtonCaption(int index) const {
  return At(index) != nullptr ? At(index)->text() : QString();
}

void clsToolbar::SetButtonCaption(int index, const QString& caption) {
  if (At(index) == nullptr) return;
  At(index)->setText(caption);
  buttons_[index - 1].OwnCaption = true;
  FitCaptions();
}

bool clsToolbar::ButtonChecked(int index) const {
  return At(index) != nullptr && At(index)->isChecked();
}

void clsToolbar::SetButtonChecked(int index, bool checked) {
  if (At(index) != nullptr) At(index)->setChecked(checked);
}

bool clsToolbar::ButtonVisible(int index) const {
  return index > 0 && index <= ButtonCount() && buttons_[index - 1].Action->isVisible();
}

void clsToolbar::SetButtonVisible(int index, bool visible) {
  if (index < 1 || index > ButtonCount()) return;
  buttons_[index - 1].Action->setVisible(visible);
  FitCaptions();
}

bool clsToolbar::ButtonEnabled(int index) const {
  return At(index) != nullptr && buttons_[index - 1].Action->isEnabled();
}

void clsToolbar::SetButtonEnabled(int index, bool enabled) {
  if (At(index) == nullptr) return;
  buttons_[index - 1].Action->setEnabled(enabled);
  At(index)->setEnabled(enabled);
}

void clsToolbar::SetButtonIcon(int index, const QIcon& icon) {
  if (At(index) != nullptr) At(index)->setIcon(icon);
}

QToolButton* clsToolbar::At(int index) const {
  return index < 1 || index > ButtonCount() ? nullptr : buttons_[index - 1].Widget;
}

void clsToolbar::WndProc(SubclassWhen, bool&, bool&, QWidget*, QEvent*, std::intptr_t) {
  FitCaptions();
}

void clsToolbar::FitCaptions() {
  if (!bar_ || !bar_->isVisible()) return;
  int wanted = 0;
  for (const Button& button : buttons_) {
    if (!button.Action->isVisible()) continue;
    QWidget* widget = bar_->widgetForAction(button.Action);
    if (button.Widget != nullptr) button.Widget->setToolButtonStyle(captions_);
    wanted += widget != nullptr ? widget->sizeHint().width() + bar_->layout()->spacing() : 0;
  }
  if (wanted <= bar_->width()) return;
  for (const Button& button : buttons_) {
    if (button.Widget != nullptr) button.Widget->setToolButtonStyle(Qt::ToolButtonIconOnly);
  }
}

}  // namespace kavrel
