#include "ui/state_strip.h"

#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolTip>
#include <algorithm>
#include <cstdlib>

#include "base/screen_format.h"
#include "ui/qt_text.h"
#include "ui/row_colours.h"

namespace kavrel {

namespace {

constexpr int kMargin = 6, kBand = 28, kMarkWidth = 3;

}  // namespace

QString StateName(const JobState& state) {
  return ToQString(state.Date == kZeroDate ? state.Unit : ScreenDateTime(state.Date));
}

StateStrip::StateStrip(const std::vector<JobState>& states, const std::vector<StateNote>& notes,
                       const StateGrowth& growth) {
  setObjectName(QStringLiteral("stsStates"));
  setAccessibleName(TrText(u"備份的時間"));
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  for (std::size_t i = 0; i < states.size(); ++i) {
    const JobState& state = states[i];
    const StateNote note = i < notes.size() ? notes[i] : StateNote();
    QString tip = ToQString(ScreenDateTime(state.Date));
    if (!note.Text.isEmpty()) tip += QStringLiteral("\n") + note.Text;
    marks_.push_back(
        {state.Date, tip, note.Goes, state.Pinned, i < growth.Taken.size() ? growth.Taken[i] : 0});
    if (state.Date == kZeroDate) continue;
    first_ = first_ == kZeroDate ? state.Date : std::min(first_, state.Date);
    last_ = std::max(last_, state.Date);
  }
}

void StateStrip::Select(int row) {
  selected_ = row;
  update();
}

QSize StateStrip::sizeHint() const {
  return {30 * fontMetrics().averageCharWidth(), kBand + fontMetrics().height() + 3};
}

int StateStrip::PlaceOf(const Mark& mark) const {
  const int room = width() - 2 * kMargin;
  const auto span = (last_ - first_).count();
  const auto from_first = (mark.Date - first_).count();
  const double share =
      span == 0 ? 1.0 : static_cast<double>(from_first) / static_cast<double>(span);
  const int place = static_cast<int>(share * room);
  return kMargin + (isRightToLeft() ? room - place : place);
}

int StateStrip::RowAt(const QPoint& at) const {
  int nearest = -1, distance = 5;
  for (std::size_t i = 0; i < marks_.size(); ++i) {
    if (marks_[i].Date == kZeroDate) continue;
    const int away = std::abs(PlaceOf(marks_[i]) - at.x());
    if (away < distance) {
      distance = away;
      nearest = static_cast<int>(i);
    }
  }
  return nearest;
}

void StateStrip::PaintGrowth(QPainter& painter, const QRect& area) const {
  const auto most = std::max_element(
      marks_.begin(), marks_.end(), [](const Mark& a, const Mark& b) { return a.Taken < b.Taken; });
  if (most == marks_.end() || most->Taken == 0) return;
  QPainterPath path;
  bool begun = false;
  int last = 0;
  for (auto mark = marks_.rbegin(); mark != marks_.rend(); ++mark) {
    if (mark->Date == kZeroDate) continue;
    const double height = static_cast<double>(mark->Taken) / static_cast<double>(most->Taken);
    const QPointF point(last = PlaceOf(*mark), area.bottom() - height * (area.height() - 4));
    if (begun) {
      path.lineTo(point);
    } else {
      path.moveTo(point.x(), area.bottom());
      path.lineTo(point);
      begun = true;
    }
  }
  if (!begun) return;
  path.lineTo(last, area.bottom());
  QColor colour = palette().color(QPalette::Highlight);
  colour.setAlpha(60);
  painter.fillPath(path, colour);
}

/// What stays is a full bar, what goes a hollow one of half the height, so that nobody has to tell
/// colours apart; what is pinned has a head.
void StateStrip::PaintMark(QPainter& painter, const QRect& area, const Mark& mark,
                           bool selected) const {
  const int height = mark.Goes ? area.height() / 2 : area.height() - 6;
  const QRect bar(PlaceOf(mark) - kMarkWidth / 2, area.bottom() - height, kMarkWidth, height);
  const QColor colour =
      mark.Goes ? FailureTextColour(palette()) : palette().color(QPalette::WindowText);
  painter.setPen(colour);
  painter.setBrush(mark.Goes ? QBrush(Qt::NoBrush) : QBrush(colour));
  painter.drawRect(bar.adjusted(0, 0, -1, -1));
  if (mark.Pinned) painter.drawEllipse(QPoint(bar.center().x(), area.top() + 3), 3, 3);
  if (!selected) return;
  painter.setPen(palette().color(QPalette::Highlight));
  painter.setBrush(Qt::NoBrush);
  painter.drawRect(bar.adjusted(-3, 0, 2, 0).intersected(area));
}

void StateStrip::paintEvent(QPaintEvent*) {
  if (first_ == kZeroDate) return;
  QPainter painter(this);
  const QRect area(0, 0, width(), kBand);
  PaintGrowth(painter, area);
  painter.setPen(palette().color(QPalette::Mid));
  painter.drawLine(kMargin, area.bottom(), width() - kMargin, area.bottom());
  for (std::size_t i = 0; i < marks_.size(); ++i) {
    if (marks_[i].Date == kZeroDate) continue;
    PaintMark(painter, area, marks_[i], static_cast<int>(i) == selected_);
  }
  painter.setPen(palette().color(QPalette::WindowText));
  const QRect below(kMargin, kBand + 2, width() - 2 * kMargin, fontMetrics().height());
  painter.drawText(below, Qt::AlignLeading, ToQString(ScreenDateTime(first_)));
  if (last_ != first_) {
    painter.drawText(below, Qt::AlignTrailing, ToQString(ScreenDateTime(last_)));
  }
}

void StateStrip::mousePressEvent(QMouseEvent* event) {
  const int row = RowAt(event->position().toPoint());
  if (row >= 0) Q_EMIT Clicked(row);
}

bool StateStrip::event(QEvent* event) {
  if (event->type() != QEvent::ToolTip) return QWidget::event(event);
  const auto* help = static_cast<QHelpEvent*>(event);
  const int row = RowAt(help->pos());
  if (row >= 0) {
    QToolTip::showText(help->globalPos(), marks_[static_cast<std::size_t>(row)].Tip, this);
  } else {
    QToolTip::hideText();
  }
  return true;
}

}  // namespace kavrel
