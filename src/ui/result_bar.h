// The line below the lists that says how the last run ended.
#pragma once

#include <QWidget>
#include <vector>

#include "app/run_end.h"

class QLabel;
class QPushButton;

namespace kavrel {

class CaptionStrip;

/// Several runs of one batch are told together. What is told stays until the next run has ended.
class ResultBar : public QWidget {
  Q_OBJECT

 public:
  /// The program outlives this.
  explicit ResultBar(Program& program);

  /// A run begins: nothing is shown meanwhile.
  void Begin();
  /// A run, or the next one of the batch, has ended.
  void Add(const RunEnd& end);
  /// The batch is over: what was added is told.
  void End();
  /// At the program's start: the last run that the log list tells of.
  void ShowLast(const std::vector<LogRow>& rows);

  /// Lines about the batch's jobs that were not done whole, and why.
  QStringList Undone() const;
  QString Text() const;

 Q_SIGNALS:
  /// The log of this path is wanted; of several runs, without one, the list of logs.
  void LogWanted(const std::u16string& path);

 private:
  void Show();
  void ShowFailures();
  /// Those that can tell what failed.
  std::vector<RunEnd> BadEnds() const;

  Program& program_;
  std::vector<RunEnd> ends_;
  bool over_ = true, added_ = false;
  QLabel* sign_;
  CaptionStrip* text_;
  QPushButton *log_, *failures_;
};

}  // namespace kavrel
