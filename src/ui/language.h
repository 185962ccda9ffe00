// The language of the windows: the program's, the toolkit's, and the change from one to another
// while they are open.
#pragma once

#include <QObject>
#include <functional>
#include <string_view>

#include "base/translation.h"
#include "ui/qt_text.h"

namespace kavrel {

/// The program and the toolkit speak the language of that code from now on, and what OnLanguage was
/// given is called. Needs the application.
void SpeakLanguage(std::string_view code);

/// Tells of changes. One for the process, as the language is; OnLanguage listens to it.
class LanguageNotice : public QObject {
  Q_OBJECT

 public:
  static LanguageNotice& OfProcess();

 Q_SIGNALS:
  void Changed();
};

/// Calls `show`, which sets texts, at each change, as long as the owner lives.
void OnLanguageChange(QObject* owner, std::function<void()> show);
/// The same, and at once.
void OnLanguage(QObject* owner, std::function<void()> show);

/// Sets the text of a control or an item, now and at each change. `id` is a text of the source.
template <class Control>
Control* Speaking(Control* control, const char16_t* id) {
  OnLanguage(control, [control, id] { control->setText(TrText(id)); });
  return control;
}

}  // namespace kavrel
