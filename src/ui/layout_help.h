// Small helpers for the windows' layouts.
#pragma once

#include <QLabel>
#include <QString>
#include <QWidget>
#include <utility>

namespace kavrel {

class clsLictView;

/// A new control of that object name.
template <class Control, class... Arguments>
Control* Make(const char* name, Arguments&&... arguments) {
  auto* control = new Control(std::forward<Arguments>(arguments)...);
  control->setObjectName(QLatin1String(name));
  return control;
}

/// A label whose mnemonic leads to `buddy`, which screen readers call by the label's text.
QLabel* MakeLabel(const QString& text, QWidget* buddy);
/// The same of a text of the source, which follows the user's language.
QLabel* SpeakingLabel(const char16_t* id, QWidget* buddy);
/// Without mnemonic and colon.
QString PlainLabel(const QString& text);

/// Keeps the mouse wheel, meant for the page, from changing a value that the pointer passes.
void IgnoreWheel(QWidget* control);

/// Creates the list in a new area of that object name, in the look that the dialogs' lists share:
/// whole rows selected, one at a time, in alternating colours; its columns share what width there
/// is beyond what they were given.
QWidget* MakeList(clsLictView& list, const char* name, const QString& accessible_name);

}  // namespace kavrel
