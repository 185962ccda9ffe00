// The user's guide, which is installed with the program: F1 opens it in every window.
#pragma once

#include <QObject>

namespace kavrel {

/// While it lives, F1 opens the guide, in whichever window of the program it is pressed.
class GuideKey : public QObject {
 public:
  explicit GuideKey(QWidget* owner);

  /// Opens the guide with the desktop's own program; tells the user when there is none.
  void Open();

 protected:
  bool eventFilter(QObject* target, QEvent* event) override;

 private:
  QWidget* owner_;
};

}  // namespace kavrel
