// Helpers for building menus.
#pragma once

#include <QAction>
#include <QActionGroup>
#include <QMenu>
#include <functional>
#include <initializer_list>

namespace kavrel {

/// Appends an item of this name; `checkable` ones flip their check before they are triggered.
QAction* AddItem(QMenu& menu, const QString& name, const QString& caption, bool checkable = false);

/// Appends items of which one at a time is checked, named `name` + number. `chosen` is told when
/// the user checks another one. The group is the menu's.
QActionGroup* AddChoices(QMenu& menu, const QString& name,
                         std::initializer_list<const char16_t*> captions,
                         std::function<void(int index)> chosen);

/// The checked item's number, and checking one without telling anybody.
int CheckedItem(const QActionGroup& group);
void CheckItem(QActionGroup& group, int index);

}  // namespace kavrel
