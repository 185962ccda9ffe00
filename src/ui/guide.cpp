#include "ui/guide.h"

#include <QApplication>
#include <QKeyEvent>

#include "platform/folders.h"
#include "ui/desktop_open.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

/// The guide in the windows' language, else in English; as pages when these could be made.
std::u16string GuideFile() {
  for (const std::u16string_view name : {u"guide/guide.zh-TW.html", u"guide/guide.zh-TW.md",
                                         u"guide/guide.html", u"guide/guide.md"}) {
    std::u16string path = ResourceFile(name);
    if (!path.empty()) return path;
  }
  return {};
}

}  // namespace

GuideKey::GuideKey(QWidget* owner) : QObject(owner), owner_(owner) {
  qApp->installEventFilter(this);
}

void GuideKey::Open() {
  const std::u16string path = GuideFile();
  QWidget* active = QApplication::activeWindow();
  QWidget& owner = active != nullptr ? *active : *owner_;
  if (path.empty()) return TellFailure(owner, TrText(u"找不到使用說明。"));
  OpenOrTell(owner, path);
}

bool GuideKey::eventFilter(QObject*, QEvent* event) {
  if (event->type() != QEvent::KeyPress) return false;
  const auto* key = static_cast<QKeyEvent*>(event);
  if (key->key() != Qt::Key_F1 || key->modifiers() != Qt::NoModifier) return false;
  if (!key->isAutoRepeat()) Open();
  return true;
}

}  // namespace kavrel
