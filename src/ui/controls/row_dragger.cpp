#include "ui/controls/row_dragger.h"

#include <QApplication>
#include <QFrame>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTreeView>

namespace kavrel {

namespace {
constexpr int kLineHeight = 2;
}

RowDragger::RowDragger(QTreeView& view, std::function<bool()> may_drag)
    : QObject(&view), view_(view), may_drag_(std::move(may_drag)) {
  view_.viewport()->installEventFilter(this);
  view_.installEventFilter(this);
}

bool RowDragger::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress && dragging_) {
    if (static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) Stop();
    return true;
  }
  if (watched != view_.viewport()) return false;
  switch (event->type()) {
    case QEvent::MouseButtonPress: {
      const auto* mouse = static_cast<QMouseEvent*>(event);
      const bool was_dragging = dragging_;
      Stop();
      if (mouse->button() != Qt::LeftButton) return was_dragging;
      pressed_at_ = mouse->position().toPoint();
      const QModelIndex row = view_.indexAt(pressed_at_);
      if (row.isValid() && may_drag_()) from_ = row.row();
      return false;
    }
    case QEvent::MouseMove:
      return MouseMoved(*static_cast<QMouseEvent*>(event));
    case QEvent::MouseButtonRelease:
      return static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton && Released();
    default:
      return false;
  }
}

bool RowDragger::MouseMoved(const QMouseEvent& event) {
  if (from_ < 0 || (event.buttons() & Qt::LeftButton) == 0) return false;
  at_ = event.position().toPoint();
  if ((at_ - pressed_at_).manhattanLength() >= QApplication::startDragDistance()) dragging_ = true;
  if (dragging_) ShowLine();
  // The list would select what the pointer passes.
  return true;
}

bool RowDragger::Released() {
  const int from = from_, gap = Gap();
  const bool dragged = dragging_;
  Stop();
  if (!dragged) return false;
  const int to = gap > from ? gap - 1 : gap;
  if (to != from) Q_EMIT Moved(from, to);
  return true;
}

void RowDragger::Stop() {
  from_ = -1;
  dragging_ = false;
  delete line_;
}

int RowDragger::Gap() const {
  const int rows = view_.model()->rowCount();
  const QModelIndex under = view_.indexAt(QPoint(1, at_.y()));
  if (!under.isValid()) return at_.y() < 0 ? 0 : rows;
  return under.row() + (at_.y() > view_.visualRect(under).center().y() ? 1 : 0);
}

void RowDragger::ShowLine() {
  QWidget& port = *view_.viewport();
  // Beyond the edge the list goes on.
  QScrollBar& bar = *view_.verticalScrollBar();
  if (at_.y() < 0) bar.setValue(bar.value() - bar.singleStep());
  if (at_.y() > port.height()) bar.setValue(bar.value() + bar.singleStep());
  const int rows = view_.model()->rowCount(), gap = Gap();
  const QRect row = view_.visualRect(view_.model()->index(qMin(gap, rows - 1), 0));
  const int y = gap < rows ? row.top() : row.bottom();
  if (!line_) {
    line_ = new QFrame(&port);
    line_->setAttribute(Qt::WA_TransparentForMouseEvents);
    line_->setAutoFillBackground(true);
    line_->setBackgroundRole(QPalette::Highlight);
  }
  line_->setGeometry(0, qBound(0, y - kLineHeight / 2, port.height() - kLineHeight), port.width(),
                     kLineHeight);
  line_->show();
}

}  // namespace kavrel
