// Dragging the rows of a list to another place with the mouse.
#pragma once

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <functional>

class QFrame;
class QMouseEvent;
class QTreeView;

namespace kavrel {

/// Shows a line where the row would go. Escape, and the right button, give it up.
class RowDragger : public QObject {
  Q_OBJECT

 public:
  /// `may_drag` is asked when a drag begins. The view, which outlives this, is the parent.
  RowDragger(QTreeView& view, std::function<bool()> may_drag);

  bool eventFilter(QObject* watched, QEvent* event) override;

 Q_SIGNALS:
  /// The row that is shown at `from` was dropped so that it is to be at `to`.
  void Moved(int from, int to);

 private:
  bool MouseMoved(const QMouseEvent& event);
  bool Released();
  void Stop();
  void ShowLine();
  /// Before which row the dragged one would go; the number of rows is behind the last.
  int Gap() const;

  QTreeView& view_;
  std::function<bool()> may_drag_;
  QPointer<QFrame> line_;
  QPoint pressed_at_, at_;
  int from_ = -1;  ///< the row that was pressed; -1 when none is
  bool dragging_ = false;
};

}  // namespace kavrel
