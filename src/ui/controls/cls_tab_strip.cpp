#include "ui/controls/cls_tab_strip.h"

#include <QScopedValueRollback>
#include <QTabBar>
#include <QTabWidget>

#include "ui/controls/container.h"

namespace kavrel {

clsTabStrip::clsTabStrip(QObject* parent) : QObject(parent) {}

void clsTabStrip::SetPictureBox(QWidget* container) {
  if (container == nullptr || tabs_) return;
  container_ = container;
  tabs_ = new QTabWidget(container);
  FillContainer(container, tabs_);
  connect(tabs_, &QTabWidget::currentChanged, this, [this] {
    if (!by_program_) Q_EMIT Click();
  });
}

QWidget* clsTabStrip::hwnd() const {
  return tabs_;
}

int clsTabStrip::TabsAdd(const QString& caption, QWidget* page) {
  if (!tabs_) return 0;
  const QScopedValueRollback guard(by_program_, true);
  return tabs_->addTab(page != nullptr ? page : new QWidget, caption) + 1;
}

int clsTabStrip::TabsCount() const {
  return tabs_ ? tabs_->count() : 0;
}

int clsTabStrip::SelectedItem() const {
  return tabs_ ? tabs_->currentIndex() + 1 : 0;
}

void clsTabStrip::SetSelectedItem(int tab) {
  if (!tabs_) return;
  const QScopedValueRollback guard(by_program_, true);
  tabs_->setCurrentIndex(tab - 1);
}

void clsTabStrip::SetTabEnabled(int tab, bool enabled) {
  if (!tabs_) return;
  // Disabling the current tab moves on to another one; that is no click.
  const QScopedValueRollback guard(by_program_, true);
  tabs_->setTabEnabled(tab - 1, enabled);
}

void clsTabStrip::SetAccessibleName(const QString& name) {
  if (tabs_) tabs_->tabBar()->setAccessibleName(name);
}

int clsTabStrip::Left() const {
  return tabs_ ? tabs_->x() : 0;
}
int clsTabStrip::Top() const {
  return tabs_ ? tabs_->y() : 0;
}
int clsTabStrip::Width() const {
  return tabs_ ? tabs_->width() : 0;
}

QRect clsTabStrip::Client() const {
  if (!tabs_ || tabs_->currentWidget() == nullptr) return {};
  const QWidget* page = tabs_->currentWidget();
  return {page->mapTo(container_, QPoint(0, 0)), page->size()};
}

}  // namespace kavrel
