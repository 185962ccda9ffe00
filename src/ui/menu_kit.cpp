#include "ui/menu_kit.h"

#include "ui/language.h"

namespace kavrel {

namespace {

constexpr char kChosen[] = "chosen";

}  // namespace

QAction* AddItem(QMenu& menu, const QString& name, const char16_t* caption, bool checkable) {
  QAction* action = menu.addAction(QString());
  if (caption) Speaking(action, caption);
  action->setObjectName(name);
  action->setCheckable(checkable);
  return action;
}

QMenu* MakeMenu(QWidget* parent, const QString& name, const char16_t* title) {
  auto* menu = new QMenu(parent);
  menu->setObjectName(name);
  if (title) OnLanguage(menu, [menu, title] { menu->setTitle(TrText(title)); });
  return menu;
}

QActionGroup* AddChoices(QMenu& menu, const QString& name,
                         std::initializer_list<const char16_t*> captions,
                         std::function<void(int index)> chosen) {
  auto* group = new QActionGroup(&menu);
  group->setObjectName(name);
  for (const char16_t* caption : captions) {
    AddChoice(*group, menu, {});
    Speaking(group->actions().last(), caption);
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

void AddChoice(QActionGroup& group, QMenu& menu, const QString& caption) {
  const int index = static_cast<int>(group.actions().size());
  QAction* action = AddItem(menu, group.objectName() + QString::number(index), nullptr, true);
  action->setText(caption);
  action->setData(index);
  group.addAction(action);
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
