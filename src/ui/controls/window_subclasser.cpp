#include "ui/controls/window_subclasser.h"

#include <QWidget>
#include <algorithm>
#include <set>
#include <utility>

namespace kavrel {

/// One object's hook on one window.
struct SubclassLink {
  QPointer<QWidget> Window;
  SubclassOwner* Owner = nullptr;
  std::intptr_t UserValue = 0;
  std::set<std::pair<QEvent::Type, SubclassWhen>> Messages;
  bool Removed = false;

  bool Wants(QEvent::Type message, SubclassWhen when) const {
    return !Removed && Messages.count({message, when}) != 0;
  }
};

using Chain = std::vector<std::shared_ptr<SubclassLink>>;

/// The one event filter of a window that is hooked; a child of the window, and gone with it.
class SubclassHook : public QObject {
 public:
  static SubclassHook* Of(QWidget* window) {
    for (QObject* child : window->children()) {
      if (auto* hook = dynamic_cast<SubclassHook*>(child)) return hook;
    }
    return nullptr;
  }

  explicit SubclassHook(QWidget* window) : QObject(window) { window->installEventFilter(this); }

  /// The hooks of the window, the latest first.
  Chain Links;

  /// Gives the event to the links from `first` on, and in the end to the window itself. Works on a
  /// copy of the chain: an owner may unhook, or delete the window, while it is called.
  static bool Pass(const Chain& chain, std::size_t first, const QPointer<QWidget>& window,
                   QEvent* event) {
    if (!window) return true;
    if (first == chain.size()) return static_cast<QObject*>(window.data())->event(event);
    const SubclassLink& link = *chain[first];
    bool result = true;
    if (Taken(link, window, event, result)) return result;
    result = Pass(chain, first + 1, window, event);
    if (window && link.Wants(event->type(), SubclassWhen::After)) {
      bool handled = true;
      link.Owner->WndProc(SubclassWhen::After, handled, result, window, event, link.UserValue);
    }
    return result;
  }

  /// True when this link's owner wants the event first and keeps it.
  static bool Taken(const SubclassLink& link, const QPointer<QWidget>& window, QEvent* event,
                    bool& result) {
    if (!link.Wants(event->type(), SubclassWhen::Before)) return false;
    bool handled = false;
    link.Owner->WndProc(SubclassWhen::Before, handled, result, window, event, link.UserValue);
    if (handled) event->setAccepted(result);
    return handled;
  }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override {
    const Chain chain = Links;
    const QPointer<QWidget> window(static_cast<QWidget*>(watched));
    const auto wants = [&](SubclassWhen when) {
      return std::any_of(chain.begin(), chain.end(),
                         [&](const auto& link) { return link->Wants(event->type(), when); });
    };
    if (wants(SubclassWhen::After)) {
      Pass(chain, 0, window, event);
      return true;
    }
    // Nobody waits for the window's answer, so other event filters can have their turn as usual.
    bool result = true;
    for (const auto& link : chain) {
      if (Taken(*link, window, event, result) || !window) return true;
    }
    return false;
  }
};

WindowSubclasser::~WindowSubclasser() {
  const Chain links = links_;
  for (const auto& link : links) UnSubclass(link->Window);
  for (const auto& link : links) link->Removed = true;
}

bool WindowSubclasser::Subclass(QWidget* window, SubclassOwner* owner, std::intptr_t user_value) {
  if (window == nullptr || owner == nullptr) return false;
  auto link = Find(window);
  if (!link) {
    link = std::make_shared<SubclassLink>();
    link->Window = window;
    SubclassHook* hook = SubclassHook::Of(window);
    if (hook == nullptr) hook = new SubclassHook(window);
    hook->Links.insert(hook->Links.begin(), link);
    std::erase_if(links_, [](const auto& other) { return !other->Window; });
    links_.push_back(link);
  }
  link->Owner = owner;
  link->UserValue = user_value;
  return true;
}

void WindowSubclasser::AddMessage(QWidget* window, QEvent::Type message, SubclassWhen when) {
  if (const auto link = Find(window)) link->Messages.insert({message, when});
}

void WindowSubclasser::DeleteMessage(QWidget* window, QEvent::Type message, SubclassWhen when) {
  if (const auto link = Find(window)) link->Messages.erase({message, when});
}

bool WindowSubclasser::CallOldWndProc(QWidget* window, QEvent* event) {
  if (window == nullptr) return false;
  const SubclassHook* hook = SubclassHook::Of(window);
  const Chain chain = hook != nullptr ? hook->Links : Chain{};
  const auto own = std::find(chain.begin(), chain.end(), Find(window));
  const std::size_t next =
      own == chain.end() ? 0 : static_cast<std::size_t>(own - chain.begin()) + 1;
  return SubclassHook::Pass(chain, next, window, event);
}

void WindowSubclasser::UnSubclass(QWidget* window) {
  const auto link = Find(window);
  if (!link) return;
  link->Removed = true;
  if (SubclassHook* hook = SubclassHook::Of(window)) std::erase(hook->Links, link);
  std::erase(links_, link);
}

std::shared_ptr<SubclassLink> WindowSubclasser::Find(const QWidget* window) const {
  for (const auto& link : links_) {
    if (window != nullptr && link->Window == window) return link;
  }
  return nullptr;
}

}  // namespace kavrel
