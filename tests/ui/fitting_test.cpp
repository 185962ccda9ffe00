// Every text of every window can be read in every language: none is cut off, none lies over
// another, and no page has to be scrolled sideways; no two controls of a window share a letter. Two
// languages that nobody speaks stand for all to come: one half as long again as English, one from
// right to left.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QFontMetrics>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLayout>
#include <QScrollArea>
#include <QScrollBar>
#include <QTabBar>

#include "ui/caption_strip.h"
#include "ui/every_dialog.h"
#include "ui/language.h"
#include "ui/letters.h"
#include "ui/main_window.h"

namespace kavrel {
namespace {

QString WithoutMnemonic(QString text) {
  const qsizetype mark = text.indexOf('&');
  if (mark >= 0 && mark + 1 < text.size() && text[mark + 1] != '&') text.remove(mark, 1);
  return text;
}

/// The pixels of its longest line.
int WidthOf(const QWidget& widget, const QString& text) {
  int width = 0;
  for (const QString& line : WithoutMnemonic(text).split('\n')) {
    width = std::max(width, widget.fontMetrics().horizontalAdvance(line));
  }
  return width;
}

/// What is wrong with one widget; empty for nothing.
QString FaultOf(const QWidget& widget) {
  if (const auto* label = qobject_cast<const QLabel*>(&widget)) {
    if (label->text().isEmpty() || label->textFormat() == Qt::RichText) return {};
    if (label->wordWrap()) {
      return label->heightForWidth(label->width()) > label->height() + 1 ? "too few lines" : "";
    }
    return WidthOf(*label, label->text()) > label->contentsRect().width() + 1 ? "cut" : "";
  }
  if (const auto* button = qobject_cast<const QAbstractButton*>(&widget)) {
    return WidthOf(*button, button->text()) > button->width() ? "cut" : "";
  }
  if (const auto* box = qobject_cast<const QGroupBox*>(&widget)) {
    return WidthOf(*box, box->title()) > box->width() - 8 ? "cut" : "";
  }
  if (const auto* list = qobject_cast<const QComboBox*>(&widget)) {
    constexpr int kArrow = 18;
    return WidthOf(*list, list->currentText()) > list->width() - kArrow ? "cut" : "";
  }
  if (const auto* bar = qobject_cast<const QTabBar*>(&widget)) {
    for (int i = 0; i < bar->count(); ++i) {
      if (WidthOf(*bar, bar->tabText(i)) > bar->tabRect(i).width()) return "tab cut";
    }
    return bar->count() > 0 && bar->tabRect(bar->count() - 1).right() > bar->width() ? "scrolls"
                                                                                     : "";
  }
  if (const auto* area = qobject_cast<const QScrollArea*>(&widget)) {
    return area->horizontalScrollBar()->maximum() > 0 ? "scrolls sideways" : "";
  }
  return {};
}

bool HasText(const QWidget& widget) {
  return qobject_cast<const QLabel*>(&widget) || qobject_cast<const QAbstractButton*>(&widget) ||
         qobject_cast<const QComboBox*>(&widget);
}

/// Nothing of one window is cut, and nothing lies over another thing.
void ExpectFits(const QWidget& window, const QString& name) {
  const auto tell = [&](const QWidget& widget, const QString& fault) {
    QString text = widget.property("text").toString();
    if (text.isEmpty()) text = widget.property("title").toString();
    if (text.isEmpty()) text = widget.property("currentText").toString();
    ADD_FAILURE() << name.toStdString() << ": " << widget.objectName().toStdString() << " \""
                  << text.toStdString() << "\" " << fault.toStdString() << " at " << widget.width()
                  << " x " << widget.height();
  };
  for (const auto* widget : window.findChildren<QWidget*>()) {
    if (!widget->isVisible() || widget->window() != &window) continue;
    if (const QString fault = FaultOf(*widget); !fault.isEmpty()) tell(*widget, fault);
    const QWidget* parent = widget->parentWidget();
    if (!HasText(*widget) || !parent->layout()) continue;
    for (const QObject* child : parent->children()) {
      const auto* other = qobject_cast<const QWidget*>(child);
      if (!other || other <= widget || !other->isVisible() || !HasText(*other)) continue;
      if (parent->layout()->indexOf(other) < 0 || parent->layout()->indexOf(widget) < 0) continue;
      if (widget->geometry().intersects(other->geometry())) tell(*widget, "lies over another");
    }
  }
}

class FittingTest : public testing::TestWithParam<std::string_view> {
 protected:
  FittingTest() { SpeakLanguage(GetParam()); }
  ~FittingTest() override { SpeakLanguage("zh_TW"); }
};

TEST_P(FittingTest, EveryDialogCanBeReadAndUsedByItsLetters) {
  const bool spoken = GetParam() != kLongLanguage && GetParam() != kMirroredLanguage;
  int count = 0;
  ShowEveryDialog([&](QWidget& window, const QString& name) {
    ++count;
    ExpectFits(window, name);
    if (!spoken) return;
    EXPECT_EQ(LetterFaults(window), QStringList()) << name.toStdString();
  });
  EXPECT_GT(count, 15);
}

TEST_P(FittingTest, TheMainWindowCanBeRead) {
  MainWindow main;
  main.Start();
  ShowAndWait(main.Window);
  ExpectFits(main.Window, "welcome");
  main.AddJob(u"photos");
  main.AddLogRow(u"photos", u"1,024");
  ExpectFits(main.Window, "main window");
  if (GetParam() == kMirroredLanguage) {
    EXPECT_EQ(main.Window.layoutDirection(), Qt::RightToLeft);
  }
}

std::vector<std::string_view> AllLanguages() {
  std::vector<std::string_view> codes{kLongLanguage, kMirroredLanguage};
  for (const Language& language : Languages()) codes.push_back(language.Code);
  return codes;
}
INSTANTIATE_TEST_SUITE_P(, FittingTest, testing::ValuesIn(AllLanguages()),
                         [](const auto& language) {
                           std::string name(language.param);
                           std::erase_if(name, [](char c) { return c == '-' || c == '_'; });
                           return name;
                         });

}  // namespace
}  // namespace kavrel
