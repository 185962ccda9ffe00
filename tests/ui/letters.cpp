#include "ui/letters.h"

#include <QAbstractButton>
#include <QKeySequence>
#include <QLabel>
#include <QMap>
#include <QTabBar>

namespace kavrel {

QStringList LetterFaults(const QWidget& window) {
  QStringList faults;
  QMap<QString, QString> owners;
  const auto own = [&](const QString& text) {
    if (text == QStringLiteral("...")) return;  // beside the field that it fills
    const QString letter = QKeySequence::mnemonic(text).toString();
    if (letter.isEmpty()) {
      faults += "none: " + text;
    } else if (owners.contains(letter)) {
      faults += letter + ": " + owners[letter] + ", " + text;
    }
    owners[letter] = text;
  };
  for (const auto* button : window.findChildren<QAbstractButton*>()) {
    if (button->isVisible() && button->isEnabled() && button->focusPolicy() != Qt::NoFocus &&
        !button->text().isEmpty())
      own(button->text());
  }
  for (const auto* label : window.findChildren<QLabel*>()) {
    if (label->isVisible() && label->buddy() != nullptr &&
        (label->buddy()->focusPolicy() & Qt::TabFocus) != 0)
      own(label->text());
  }
  for (const auto* bar : window.findChildren<QTabBar*>()) {
    for (int tab = 0; tab < bar->count(); ++tab) own(bar->tabText(tab));
  }
  return faults;
}

}  // namespace kavrel
