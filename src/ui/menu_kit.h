// Helpers for building menus.
#pragma once

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <functional>
#include <initializer_list>

namespace kavrel {

/// Appends an item of this name, which speaks the user's language; `checkable` ones flip their
/// check before they are triggered. Without a caption whoever opens the menu gives it one.
QAction* AddItem(QMenu& menu, const QString& name, const char16_t* caption, bool checkable = false);

/// A menu of this name and title, which speaks the user's language.
QMenu* MakeMenu(QWidget* parent, const QString& name, const char16_t* title = nullptr);

/// Appends items of which one at a time is checked, named `name` + number. `chosen` is told when
/// the user checks another one. The group is the menu's.
QActionGroup* AddChoices(QMenu& menu, const QString& name,
                         std::initializer_list<const char16_t*> captions,
                         std::function<void(int index)> chosen);

/// Appends one more to such a group, named by the user's own words.
void AddChoice(QActionGroup& group, QMenu& menu, const QString& caption);

/// The checked item's number, and checking one without telling anybody.
int CheckedItem(const QActionGroup& group);
void CheckItem(QActionGroup& group, int index);

}  // namespace kavrel
