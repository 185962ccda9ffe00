// A strip of time with a mark for each state of a job, and behind them what all have added so far.
#pragma once

#include <QWidget>
#include <vector>

#include "app/state_growth.h"

namespace kavrel {

/// What a state is called on the screen: by its date, else by where it is.
QString StateName(const JobState& state);

/// What is told of a state beside itself.
struct StateNote {
  QString Text;       ///< why it stays or goes
  bool Goes = false;  ///< with the next whole run
};

class StateStrip : public QWidget {
  Q_OBJECT

 public:
  /// All of them the newest first; notes and growth may be those of fewer.
  StateStrip(const std::vector<JobState>& states, const std::vector<StateNote>& notes,
             const StateGrowth& growth);

  /// -1 marks none.
  void Select(int row);
  /// The state whose mark is nearest to the point; -1 where there is none.
  int RowAt(const QPoint& at) const;
  QSize sizeHint() const override;
  QSize minimumSizeHint() const override { return sizeHint(); }

 Q_SIGNALS:
  void Clicked(int row);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  bool event(QEvent* event) override;

 private:
  struct Mark {
    DateTime Date;
    QString Tip;
    bool Goes, Pinned;
    std::uint64_t Taken;
  };
  int PlaceOf(const Mark& mark) const;
  void PaintGrowth(QPainter& painter, const QRect& area) const;
  void PaintMark(QPainter& painter, const QRect& area, const Mark& mark, bool selected) const;

  std::vector<Mark> marks_;  ///< one for each state
  DateTime first_ = kZeroDate, last_ = kZeroDate;
  int selected_ = -1;
};

}  // namespace kavrel
