#include <gtest/gtest.h>

#include <QApplication>
#include <QDateTimeEdit>
#include <QLabel>
#include <QSignalSpy>
#include <QTabBar>
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "ui/controls/cls_date.h"
#include "ui/controls/cls_status_bar.h"
#include "ui/controls/cls_tab_strip.h"
#include "ui/icons.h"
#include "ui/row_colours.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

TEST(TabStrip, TellsOfTheUsersChoiceAndOfItsPagesPlace) {
  QWidget window;
  window.resize(400, 300);
  clsTabStrip tabs;
  QSignalSpy click(&tabs, &clsTabStrip::Click);
  EXPECT_EQ(tabs.TabsAdd("早了"), 0);
  tabs.SetPictureBox(&window);
  auto* page = new QWidget;
  EXPECT_EQ(tabs.TabsAdd("備份清單"), 1);
  EXPECT_EQ(tabs.TabsAdd("備份項目", page), 2);
  ShowAndWait(window);
  tabs.SetSelectedItem(2);
  EXPECT_EQ(click.count(), 0);
  EXPECT_EQ(tabs.SelectedItem(), 2);
  EXPECT_EQ(QRect(tabs.ClientLeft(), tabs.ClientTop(), tabs.ClientWidth(), tabs.ClientHeight()),
            QRect(page->mapTo(&window, QPoint()), page->size()));
  EXPECT_GT(tabs.ClientTop(), 10);

  auto* bar = Find<QTabBar>(window);
  Click(*bar, bar->tabRect(0).center());
  EXPECT_EQ(click.count(), 1);
  EXPECT_EQ(tabs.SelectedItem(), 1);
  tabs.SetTabEnabled(2, false);
  Click(*bar, bar->tabRect(1).center());
  EXPECT_EQ(click.count(), 1);
}

TEST(StatusBar, APanelWiderThanTheWindowIsNoReasonToGrow) {
  QWidget window;
  window.resize(300, 30);
  clsStatusBar bar;
  bar.SetTargetForm(&window);
  bar.Create();
  EXPECT_EQ(bar.PanelAdd(0, {}, 15000), 0);
  bar.SetText(0, "2009 年 09 月 23 日");
  bar.SetText(1, "沒有這一格");
  ShowAndWait(window);
  EXPECT_EQ(window.width(), 300);
  EXPECT_EQ(Find<QLabel>(window)->text(), "2009 年 09 月 23 日");
  EXPECT_EQ(bar.Text(1), "");
}

TEST(Date, KeepsDateAndTimeWhicheverItShows) {
  // In this zone the clock jumps over the hour that is set below.
  qputenv("TZ", "America/New_York");
  tzset();
  QWidget window, other;
  ClsDate date, time;
  const DateTime value = *FromCivil(2024, 3, 10, 2, 30, 5);
  QSignalSpy change(&time, &ClsDate::Change);
  date.SetPictureBox(&window);
  time.SetPictureBox(&other);
  time.SetStyle(ClsDate::Time);
  for (ClsDate* picker : {&date, &time}) {
    picker->SetValue(value);
    picker->Create();
    EXPECT_EQ(picker->Value(), value);
  }
  auto* edit = Find<QDateTimeEdit>(other);
  ShowAndWait(other);
  EXPECT_EQ(Find<QDateTimeEdit>(window)->text(), "2024年3月10日 星期日");
  EXPECT_EQ(edit->text(), "上午 02:30:05");
  EXPECT_EQ(change.count(), 0);
  edit->setCurrentSection(QDateTimeEdit::AmPmSection);
  Press(*edit, Qt::Key_Up);
  EXPECT_EQ(change.count(), 1);
  EXPECT_EQ(edit->text(), "下午 02:30:05");
  EXPECT_EQ(time.Value(), *FromCivil(2024, 3, 10, 14, 30, 5));
  time.SetValue(kZeroDate);
  EXPECT_EQ(time.Value(), kZeroDate);
  EXPECT_EQ(edit->dateTime().date(), QDate(1899, 12, 30));
  time.SetEnabled(false);
  EXPECT_FALSE(edit->isEnabled());
  qunsetenv("TZ");
  tzset();
}

double Luminance(const QColor& colour) {
  const auto linear = [](double part) {
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
         0.0722 * linear(colour.blueF());
}

double Contrast(const QColor& a, const QColor& b) {
  const double one = Luminance(a), other = Luminance(b);
  const double low = std::min(one, other), high = std::max(one, other);
  return (high + 0.05) / (low + 0.05);
}

TEST(RowColours, AreReadableOnLightAndDarkDesktops) {
  const QPalette light(QColor(239, 239, 239), QColor(255, 255, 255));
  QPalette dark(QColor(49, 54, 59), QColor(35, 38, 41));
  dark.setColor(QPalette::Text, Qt::white);
  dark.setColor(QPalette::ButtonText, Qt::white);
  for (const QPalette& palette : {light, dark}) {
    for (const int position : {0, 1}) {
      QColor background, text;
      AlternateRowColours(position, palette, background, text);
      EXPECT_GE(Contrast(background, text), 4.5);
      EXPECT_GE(Contrast(background, FailureTextColour(palette)), 4.5);
    }
  }
}

TEST(RowColours, AHintInAnEmptyFieldCanBeReadWhateverThePaletteSays) {
  const QPalette before = QApplication::palette();
  KeepPlaceholdersReadable();
  for (const QColor& ground : {QColor(30, 30, 32), QColor(Qt::white)}) {
    QPalette palette(ground);
    palette.setColor(QPalette::Base, ground);
    palette.setColor(QPalette::Text, ground == Qt::white ? Qt::black : QColor(230, 230, 230));
    palette.setColor(QPalette::PlaceholderText, QColor(90, 90, 90, 128));
    QApplication::setPalette(palette);
    QApplication::processEvents();
    const QColor hint = QApplication::palette().color(QPalette::PlaceholderText);
    EXPECT_GE(Contrast(hint, ground), 4.5) << hint.name().toStdString();
    EXPECT_NE(hint, palette.color(QPalette::Text)) << "it is no entry";
  }
  QApplication::setPalette(before);
}

TEST(Icons, EachIsThereAndVisibleOnLightAndOnDark) {
  for (const IconId id : {IconId::Program, IconId::RunChecked, IconId::EditJobs, IconId::Log,
                          IconId::Options, IconId::Export, IconId::Import, IconId::About,
                          IconId::Exit, IconId::JobRow, IconId::LogEntry, IconId::LogEntryFailed}) {
    SCOPED_TRACE(static_cast<int>(id));
    const QImage picture = LoadIcon(id).pixmap(32, 32).toImage();
    ASSERT_FALSE(picture.isNull());
    for (const QColor& ground : {QColor(255, 255, 255), QColor(35, 38, 41)}) {
      int seen = 0;
      for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
          const QColor dot = picture.pixelColor(x, y);
          if (dot.alpha() > 200 && Contrast(dot, ground) >= 2.2) ++seen;
        }
      }
      EXPECT_GE(seen, picture.width() * picture.height() / 6);
    }
  }
  EXPECT_TRUE(CompletionSound().startsWith("RIFF"));
}

}  // namespace
}  // namespace kavrel
