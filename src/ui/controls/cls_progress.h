// A progress bar that may be told its value as often as the work likes.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

class QProgressBar;

namespace kavrel {

/// Values are shown at most some 25 times a second, the last one always: a run that sets thousands
/// of values a second spends its time on its files.
class clsProgress : public QObject {
  Q_OBJECT

 public:
  explicit clsProgress(QObject* parent = nullptr);

  void SetTargetPictureBox(QWidget* container) { container_ = container; }
  QWidget* TargetPictureBox() const { return container_; }
  void Create();
  QWidget* hwnd() const;
  void SetAccessibleName(const QString& name);

  int Min() const { return min_; }
  int Max() const { return max_; }
  void SetMin(int min);
  void SetMax(int max);
  int Value() const { return value_; }
  /// A value outside Min and Max becomes the nearer of them.
  void SetValue(int value);

 private:
  void Show();

  QPointer<QWidget> container_;
  QPointer<QProgressBar> bar_;
  QTimer later_;
  QElapsedTimer shown_;
  int min_ = 0, max_ = 100, value_ = 0;
};

}  // namespace kavrel
