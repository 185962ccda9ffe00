#include <gtest/gtest.h>

#include <QApplication>
#include <QDateTimeEdit>
#include <QSignalSpy>
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "ui/controls/cls_date.h"
#include "ui/row_colours.h"
#include "ui/window_driver.h"

namespace kavrel {
namespace {

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

}  // namespace
}  // namespace kavrel
