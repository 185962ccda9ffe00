#include "ui/language.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>

#include "ui/frm_exc.h"
#include "ui/main_window.h"

namespace kavrel {
namespace {

/// Every text of the window and what hangs from it, but for names of languages.
QStringList TextsOf(MainWindow& main) {
  QStringList texts;
  for (const QAction* action : main.Window.findChildren<QAction*>()) {
    if (!action->objectName().startsWith("mnuSetLanguage")) texts += action->text();
  }
  for (const QMenu* menu : main.Window.findChildren<QMenu*>()) texts += menu->title();
  for (const QWidget* widget : main.Window.findChildren<QWidget*>()) {
    texts += {widget->toolTip(), widget->accessibleName()};
    if (const auto* label = qobject_cast<const QLabel*>(widget)) texts += label->text();
    if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) texts += button->text();
    if (const auto* edit = qobject_cast<const QLineEdit*>(widget)) texts += edit->placeholderText();
    if (const auto* list = qobject_cast<const QComboBox*>(widget)) texts += list->itemText(0);
  }
  for (clsLictView* list : {&main.Jobs(), &main.Logs()}) {
    const QAbstractItemModel& model = *ViewOf(*list->hwnd()).model();
    for (int column = 0; column < model.columnCount(); ++column) {
      texts += model.headerData(column, Qt::Horizontal).toString();
      texts += list->ItemText(0, column);
    }
  }
  return texts;
}

TEST(Language, SwitchesTheOpenWindowAtOnceAndBack) {
  MainWindow main;
  main.AddJob(u"photos");
  main.AddLogRow(u"photos", u"1,024");
  main.Start();
  const QStringList before = TextsOf(main);
  EXPECT_TRUE(before.contains("備份完成")) << before.join('|').toStdString();

  main.Action("mnuSetLanguage2")->trigger();
  EXPECT_EQ(main.Stored(u"Language"), "en");
  const QStringList english = TextsOf(main);
  for (const char* text : {"Run", "Options", "Job name", "Every 1 day", "Backup finished",
                           "2026-11-23 15:04:05", "Create a Backup Shortcut", "All jobs"}) {
    EXPECT_TRUE(english.contains(text)) << text << " in " << english.join('|').toStdString();
  }
  static const QRegularExpression kChinese("[\\x{4e00}-\\x{9fff}]");
  EXPECT_EQ(english.filter(kChinese).join('|').toStdString(), "");
  EXPECT_EQ(main.Window.windowTitle(), "Kavrel Ver 2.05 Professional");
  EXPECT_EQ(frmExc(main.Program, nullptr).windowTitle(), "Folder and file exclusions");

  main.Action("mnuSetLanguage1")->trigger();
  EXPECT_EQ(main.Stored(u"Language"), "zh_TW");
  EXPECT_EQ(TextsOf(main), before);
}

}  // namespace
}  // namespace kavrel
