// The status line at the bottom of a window.
#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

class QLabel;
class QStatusBar;

namespace kavrel {

/// Panels are numbered from 0 in the order of adding.
class clsStatusBar : public QObject {
  Q_OBJECT

 public:
  explicit clsStatusBar(QObject* parent = nullptr);

  void SetTargetForm(QWidget* container) { container_ = container; }
  QWidget* TargetForm() const { return container_; }
  void Create();
  QWidget* hwnd() const;

  /// Appends a panel of this width in pixels; what does not fit into the window is cut off. Kind 0
  /// is plain, any other is framed. Gives the panel's number; -1 before Create.
  int PanelAdd(int kind, const QString& text, int width);
  QString Text(int panel) const;
  void SetText(int panel, const QString& text);
  int Count() const { return static_cast<int>(panels_.size()); }

 private:
  QPointer<QWidget> container_;
  QPointer<QStatusBar> bar_;
  QList<QLabel*> panels_;
};

}  // namespace kavrel
