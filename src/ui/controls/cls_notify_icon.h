// The program's icon in the desktop's notification area.
#pragma once

#include <QIcon>
#include <QObject>
#include <QPointer>
#include <QString>

class QMenu;
class QSystemTrayIcon;
class QWidget;

namespace kavrel {

/// The icon is gone when this object is.
class clsNotifyIcon : public QObject {
  Q_OBJECT

 public:
  explicit clsNotifyIcon(QObject* parent = nullptr);
  ~clsNotifyIcon() override;

  /// False when the desktop shows no such icons at the moment: a window that hides itself now could
  /// not be called back, so it should minimise instead. Ask each time: the desktop's panel may
  /// come and go.
  static bool Available();

  /// Shows the icon, the window's own when `icon` is empty. Gives Available(); where it is false
  /// the icon appears as soon as the desktop offers a place.
  bool Init(QWidget* owner, const QIcon& icon, const QString& tool_tip);
  QString ToolTip() const { return tool_tip_; }
  void SetToolTip(const QString& text);
  /// Shows the icon again after it was taken away.
  void AddIcon();
  void RemoveIcon();
  void SetIcon(const QIcon& icon);
  /// Opens at a click with the right button, which is told all the same. The menu is another's.
  void SetMenu(QMenu* menu);
  /// Applies icon and tooltip once more.
  void RefreshIcon();
  /// A message that the desktop shows for a while. Nothing where there is no tray.
  void ShowMessage(const QString& title, const QString& text, bool warning = false);

 Q_SIGNALS:
  void LButtonDown();
  void LButtonUp();
  void LButtonDbClick();
  void RButtonDown();
  void RButtonUp();
  void RButtonDbClick();
  /// The user clicked on the message of ShowMessage.
  void MessageClick();

 private:
  QPointer<QSystemTrayIcon> tray_;
  QIcon icon_;
  QString tool_tip_;
};

}  // namespace kavrel
