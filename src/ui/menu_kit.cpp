#include "ui/menu_kit.h"

namespace kavrel {

namespace {

constexpr char kChosen[] = "chosen";

}  // namespace

QAction* AddItem(QMenu& menu, const QString& name, const QString& caption, bool checkable) {
  QAction* action = menu.addAction(caption);
  action->setObjectName(name);
  action->setCheckable(checkable);
  return action;
}

QActionGroup* AddChoices(QMenu& menu, const QString& name,
                         std::initializer_list<const char16_t*> captions,
                         std::function<void(int index)> chosen) {
  auto* group = new QActionGroup(&menu);
  int index = 0;
  for (const char16_t* caption : captions) {
    QAction* action =
        AddItem(menu, name + QString::number(index), QString::fromUtf16(caption), true);
    action->setData(index++);
    group->addAction(action);
  }
  QObject::connect(group, &QActionGroup::triggered, group,
                   [group, chosen = std::move(chosen)](const QAction* action) {
                     const int chosen_index = action->data().toInt();
                     if (group->property(kChosen) == chosen_index) return;
                     group->setProperty(kChosen, chosen_index);
                     chosen(chosen_index);
                   });
  return group;
}

int CheckedItem(const QActionGroup& group) {
  return group.checkedAction() != nullptr ? group.checkedAction()->data().toInt() : -1;
}

void CheckItem(QActionGroup& group, int index) {
  QAction* action = group.actions().value(index);
  if (action == nullptr) return;
  action->setChecked(true);
  group.setProperty(kChosen, index);
}

}  // namespace kavrel
