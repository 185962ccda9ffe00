#include "ui/controls/cls_notify_icon.h"

#include <QSystemTrayIcon>
#include <QWidget>

namespace kavrel {

clsNotifyIcon::clsNotifyIcon(QObject* parent) : QObject(parent) {}

clsNotifyIcon::~clsNotifyIcon() = default;

bool clsNotifyIcon::Available() {
  return QSystemTrayIcon::isSystemTrayAvailable();
}

bool clsNotifyIcon::Init(QWidget* owner, const QIcon& icon, const QString& tool_tip) {
  icon_ = icon.isNull() && owner != nullptr ? owner->windowIcon() : icon;
  tool_tip_ = tool_tip;
  if (!tray_) {
    tray_ = new QSystemTrayIcon(this);
    connect(tray_, &QSystemTrayIcon::messageClicked, this, &clsNotifyIcon::MessageClick);
    // The desktop tells of whole clicks only: each stands for the button's way down as well.
    connect(tray_, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
              if (reason == QSystemTrayIcon::Trigger) {
                Q_EMIT LButtonDown();
                Q_EMIT LButtonUp();
              } else if (reason == QSystemTrayIcon::DoubleClick) {
                Q_EMIT LButtonDbClick();
              } else if (reason == QSystemTrayIcon::Context) {
                Q_EMIT RButtonDown();
                Q_EMIT RButtonUp();
              }
            });
  }
  AddIcon();
  return Available();
}

void clsNotifyIcon::SetToolTip(const QString& text) {
  if (tool_tip_ == text) return;
  tool_tip_ = text;
  if (tray_) tray_->setToolTip(text);
}

void clsNotifyIcon::AddIcon() {
  RefreshIcon();
  if (tray_) tray_->show();
}

void clsNotifyIcon::RemoveIcon() {
  if (tray_) tray_->hide();
}

void clsNotifyIcon::SetIcon(const QIcon& icon) {
  icon_ = icon;
  if (tray_) tray_->setIcon(icon);
}

void clsNotifyIcon::SetMenu(QMenu* menu) {
  if (tray_) tray_->setContextMenu(menu);
}

void clsNotifyIcon::RefreshIcon() {
  if (!tray_) return;
  tray_->setIcon(icon_);
  tray_->setToolTip(tool_tip_);
}

void clsNotifyIcon::ShowMessage(const QString& title, const QString& text, bool warning) {
  if (tray_)
    tray_->showMessage(title, text,
                       warning ? QSystemTrayIcon::Warning : QSystemTrayIcon::Information);
}

}  // namespace kavrel
