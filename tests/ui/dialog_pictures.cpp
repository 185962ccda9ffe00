// Draws every dialog and every tab with content: dialog_pictures FOLDER [light|dark]. The scale is
// QT_SCALE_FACTOR's.
#include <QApplication>
#include <QDir>
#include <QPalette>
#include <QTest>
#include <QWidget>

#include "app/spoken_language.h"
#include "ui/every_dialog.h"
#include "ui/language.h"
#include "ui/sample_text.h"

namespace kavrel {
namespace {

void UseDarkColours() {
  QPalette dark;
  const QColor window(45, 45, 48), base(30, 30, 32), text(230, 230, 230), off(130, 130, 130);
  dark.setColor(QPalette::Window, window);
  dark.setColor(QPalette::Base, base);
  dark.setColor(QPalette::AlternateBase, window);
  dark.setColor(QPalette::Button, window);
  dark.setColor(QPalette::Highlight, QColor(42, 110, 190));
  dark.setColor(QPalette::ToolTipBase, base);
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                          QPalette::HighlightedText, QPalette::ToolTipText}) {
    dark.setColor(role, text);
    dark.setColor(QPalette::Disabled, role, off);
  }
  dark.setColor(QPalette::PlaceholderText, off);
  QApplication::setPalette(dark);
}

}  // namespace
}  // namespace kavrel

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  const QApplication app(argc, argv);
  if (argc < 2) qFatal("usage: dialog_pictures FOLDER [light|dark]");
  kavrel::SpeakLanguage(kavrel::SpokenLanguage({}));
  QApplication::setStyle("Fusion");
  QApplication::setFont(kavrel::SampleFont());
  if (argc > 2 && QByteArray(argv[2]) == "dark") kavrel::UseDarkColours();
  // A run has another current folder.
  const QDir folder(QDir().absoluteFilePath(QString::fromLocal8Bit(argv[1])));
  bool saved = folder.mkpath(QStringLiteral("."));
  kavrel::ShowEveryDialog([&](QWidget& window, const QString& name) {
    // What comes in by itself, like a field's look after it has got the focus, is there by then.
    QTest::qWait(300);
    saved = window.grab().save(folder.filePath(name + QStringLiteral(".png"))) && saved;
  });
  return saved ? 0 : 1;
}
