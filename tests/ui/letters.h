// The letters that, with Alt, take the keys to a control.
#pragma once

#include <QStringList>
#include <QWidget>

namespace kavrel {

/// Letters that two visible controls of the window share, and buttons and fields that have none.
QStringList LetterFaults(const QWidget& window);

}  // namespace kavrel
