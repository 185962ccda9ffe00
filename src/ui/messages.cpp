#include "ui/messages.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

#include "app/program.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

// About as long as two flashes last.
constexpr int kFlashMs = 1500;

/// File and job names may look like markup; a box shows them as they are.
void Prepare(QMessageBox& box, const QString& text) {
  box.setWindowTitle(ToQt(kAppTitle));
  box.setTextFormat(Qt::PlainText);
  box.setText(text);
}

void Show(QWidget* owner, const QString& text, QMessageBox::Icon icon) {
  BeepAndFlash(owner);
  QMessageBox box(owner);
  Prepare(box, text);
  box.setIcon(icon);
  box.addButton(QMessageBox::Ok)->setText(QStringLiteral("確定(&O)"));
  box.exec();
}

}  // namespace

bool Ask(QWidget* owner, const QString& question) {
  QMessageBox box(owner);
  Prepare(box, question);
  QPushButton* yes = box.addButton(QMessageBox::Yes);
  yes->setText(QStringLiteral("是(&Y)"));
  box.addButton(QMessageBox::No)->setText(QStringLiteral("否(&N)"));
  box.setDefaultButton(yes);
  box.setEscapeButton(QMessageBox::No);
  return box.exec() == QMessageBox::Yes;
}

void Tell(QWidget* owner, const QString& text) {
  Show(owner, text, QMessageBox::Information);
}

void Warn(QWidget* owner, const QString& text) {
  Show(owner, text, QMessageBox::Warning);
}

void BeepAndFlash(QWidget* window) {
  QApplication::beep();
  if (window != nullptr) QApplication::alert(window, kFlashMs);
}

}  // namespace kavrel
