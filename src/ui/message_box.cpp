#include "ui/message_box.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>

#include "app/program.h"
#include "ui/qt_text.h"
#include "ui/short_text.h"

namespace kavrel {

namespace {

constexpr char kBesideBox[] = "boxBeside";

void Tell(QWidget& owner, QMessageBox::Icon icon, const QString& text) {
  QMessageBox box(icon, TrText(kAppTitle), text, QMessageBox::NoButton, &owner);
  ShowPlainly(box);
  box.addButton(TrText(u"確定(&O)"), QMessageBox::AcceptRole);
  box.exec();
}

/// Adds what a box does not tell yet, as far as it has room.
void AddText(QMessageBox& box, const QString& text) {
  constexpr qsizetype kMostLines = 24;
  const QString more = WithShortNames(text);
  if (box.text().contains(more) || box.text().endsWith(u'…')) return;
  const bool room = box.text().count(u'\n') + more.count(u'\n') < kMostLines;
  box.setText(box.text() + QStringLiteral("\n\n") + (room ? more : QStringLiteral("…")));
}

bool IsYes(QWidget& owner, const QString& text, QMessageBox::Icon icon, const QString& details,
           bool yes_is_default) {
  QMessageBox box(icon, TrText(kAppTitle), text, QMessageBox::NoButton, &owner);
  box.setInformativeText(details);
  ShowPlainly(box);
  QPushButton* yes = box.addButton(TrText(u"是(&Y)"), QMessageBox::YesRole);
  QPushButton* no = box.addButton(TrText(u"否(&N)"), QMessageBox::NoRole);
  box.setDefaultButton(yes_is_default ? yes : no);
  box.setEscapeButton(no);
  box.exec();
  return box.clickedButton() == yes;
}

}  // namespace

void Attract(QWidget& window) {
  QApplication::beep();
  QApplication::alert(window.window());
}

void ShowPlainly(QMessageBox& box) {
  // The format first: the box would take a text that looks like markup for some.
  box.setTextFormat(Qt::PlainText);
  box.setText(WithShortNames(box.text()));
  box.setInformativeText(WithShortNames(box.informativeText()));
  for (QLabel* label : box.findChildren<QLabel*>()) label->setTextFormat(Qt::PlainText);
}

void Inform(QWidget& owner, const QString& text) {
  Attract(owner);
  Tell(owner, QMessageBox::Information, text);
}

void Warn(QWidget& owner, const QString& text) {
  Tell(owner, QMessageBox::Warning, text);
}

void TellFailure(QWidget& owner, const QString& text) {
  Tell(owner, QMessageBox::Critical, text);
}

void TellBeside(QWidget& owner, const QString& text) {
  Attract(owner);
  auto* box =
      owner.findChild<QMessageBox*>(QString::fromLatin1(kBesideBox), Qt::FindDirectChildrenOnly);
  if (box != nullptr && box->isVisible()) return AddText(*box, text);
  box =
      new QMessageBox(QMessageBox::Warning, TrText(kAppTitle), text, QMessageBox::NoButton, &owner);
  box->setObjectName(QString::fromLatin1(kBesideBox));
  ShowPlainly(*box);
  box->addButton(TrText(u"確定(&O)"), QMessageBox::AcceptRole);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setModal(false);
  box->show();
}

bool Confirm(QWidget& owner, const QString& text, QMessageBox::Icon icon, const QString& details) {
  return IsYes(owner, text, icon, details, true);
}

bool ConfirmLoss(QWidget& owner, const QString& text, const QString& details) {
  return IsYes(owner, text, QMessageBox::Warning, details, false);
}

Choice Ask(QWidget& owner, const QString& text, QMessageBox::Icon icon) {
  QMessageBox box(icon, TrText(kAppTitle), text, QMessageBox::NoButton, &owner);
  ShowPlainly(box);
  QPushButton* yes = box.addButton(TrText(u"是(&Y)"), QMessageBox::YesRole);
  const QPushButton* no = box.addButton(TrText(u"否(&N)"), QMessageBox::NoRole);
  QPushButton* cancel = box.addButton(TrText(u"取消(&C)"), QMessageBox::RejectRole);
  box.setDefaultButton(yes);
  box.setEscapeButton(cancel);
  box.exec();
  if (box.clickedButton() == yes) return Choice::Yes;
  return box.clickedButton() == no ? Choice::No : Choice::Cancel;
}

}  // namespace kavrel
