// What the windows ask and tell. Every box has the program's title.
#pragma once

#include <QString>

class QWidget;

namespace kavrel {

/// A Yes/No question. True for Yes only.
bool Ask(QWidget* owner, const QString& question);
/// A notice, after a beep and flashes of the owner.
void Tell(QWidget* owner, const QString& text);
/// The same for something that went wrong.
void Warn(QWidget* owner, const QString& text);

/// The information beep and two flashes of the window.
void BeepAndFlash(QWidget* window);

}  // namespace kavrel
