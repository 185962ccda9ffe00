// Drives real windows as a user does.
#pragma once

#include <QAbstractItemView>
#include <QAction>
#include <QImage>
#include <QMenu>
#include <QWidget>
#include <functional>

namespace kavrel {

/// Shows the window and waits until it is up and active.
void ShowAndWait(QWidget& window);

/// The child, however deep, of this class, with this object name or any when empty; null when there
/// is none.
template <class T>
T* Find(const QWidget& window, const QString& name = {}) {
  return window.findChild<T*>(name);
}

/// The caption without its mnemonic: "關閉" for "關閉(&C)...".
QString PlainCaption(const QString& caption);
/// The action with this plain caption in the menu or a submenu; null when there is none.
QAction* FindAction(const QMenu& menu, const QString& plain_caption);

/// Without a position, the middle of the widget.
void Click(QWidget& widget, QPoint position = {});
void DoubleClick(QWidget& widget, QPoint position);
/// With the request for a context menu that a desktop sends along.
void RightClick(QWidget& widget, QPoint position);
void Press(QWidget& widget, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
/// Moves the mouse from one place to the other with the left button down.
void Drag(QWidget& widget, QPoint from, QPoint to);
/// Enters any text, Chinese included, as an input method does.
void Type(QWidget& widget, const QString& text);
/// The tip that appears when the pointer rests there; empty when none does.
QString TipAt(QWidget& widget, QPoint position);

/// The view that a list shows at the moment, and places in its viewport.
QAbstractItemView& ViewOf(const QWidget& list);
QPoint CellCentre(const QWidget& list, int shown_row, int column = 0);
QPoint CheckBoxCentre(const QWidget& list, int shown_row);

/// Handles events until the condition holds. False when it does not within 10 seconds.
bool WaitUntil(const std::function<bool()>& condition);

/// Hands the next modal dialog, or the next menu, to `answer` as soon as it is up. To be called
/// before whatever opens it and does not return before it is closed.
void WhenDialog(std::function<void(QWidget&)> answer);
void WhenMenu(std::function<void(QMenu&)> answer);

/// Does it, and gives the text of the message box that comes up meanwhile, which the button of this
/// plain caption answers.
QString MessageOf(const std::function<void()>& act, const QString& answer = QStringLiteral("確定"));

/// A picture of the widget; also saved under this name in the folder that KAVREL_SHOTS names.
QImage Shot(QWidget& widget, const QString& name);

}  // namespace kavrel
