// Lets a control's wrapper look at chosen events of a window before or after the window does.
#pragma once

#include <QEvent>
#include <QPointer>
#include <cstdint>
#include <memory>
#include <vector>

class QWidget;

namespace kavrel {

class SubclassHook;
struct SubclassLink;

enum class SubclassWhen { After = 0, Before = 1 };

/// Sees a window's events.
class SubclassOwner {
 public:
  virtual ~SubclassOwner() = default;
  /// Before the window's own handling, setting `handled` keeps the event from it, and from every
  /// hook that was put on the window earlier; `result` then becomes the event's accepted flag.
  virtual void WndProc(SubclassWhen when, bool& handled, bool& result, QWidget* window,
                       QEvent* event, std::intptr_t user_value) = 0;
};

/// One object for each wrapper; it may hook any number of windows. Several objects may hook the
/// same window: the last one to do so sees an event first before, and last after, the window does.
/// The end of this object, or of the window, ends the hook.
class WindowSubclasser {
 public:
  WindowSubclasser() = default;
  WindowSubclasser(const WindowSubclasser&) = delete;
  WindowSubclasser& operator=(const WindowSubclasser&) = delete;
  ~WindowSubclasser();

  /// False, with nothing done, without a window or an owner. A window that this object hooks
  /// already takes the new owner and value and keeps its messages.
  bool Subclass(QWidget* window, SubclassOwner* owner, std::intptr_t user_value = 0);
  /// Registers a message (a QEvent type) of a hooked window; other windows are left alone. An
  /// event that somebody wants After goes straight to the window, past other event filters; so on
  /// the viewport of a scroll area, which lives by such a filter, only Before is of use.
  void AddMessage(QWidget* window, QEvent::Type message, SubclassWhen when);
  void DeleteMessage(QWidget* window, QEvent::Type message, SubclassWhen when);
  /// Has the window handle the event as if this object had no hook on it.
  bool CallOldWndProc(QWidget* window, QEvent* event);
  void UnSubclass(QWidget* window);

 private:
  std::shared_ptr<SubclassLink> Find(const QWidget* window) const;

  std::vector<std::shared_ptr<SubclassLink>> links_;
};

}  // namespace kavrel
