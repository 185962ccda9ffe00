// The windows' tests share one application, on a screen that exists in memory only unless the
// environment names another.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLocale>

int main(int argc, char** argv) {
  // Programs that a test starts speak what the windows here speak.
  qputenv("LC_ALL", "C.UTF-8");
  qputenv("LANGUAGE", "zh_TW");
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  ::testing::InitGoogleTest(&argc, argv);
  const QApplication app(argc, argv);
  QLocale::setDefault(
      QLocale(QLocale::Chinese, QLocale::TraditionalChineseScript, QLocale::Taiwan));
  QApplication::setStyle("Fusion");
  return RUN_ALL_TESTS();
}
