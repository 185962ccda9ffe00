#include "ui/frm_past_due.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>

#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/short_text.h"

namespace kavrel {

FrmPastDue::FrmPastDue(PastDueQuestion& question, QWidget* parent)
    : QDialog(parent), question_(question) {
  setObjectName(QStringLiteral("FrmPastDue"));
  setWindowTitle(ShownText(question.Caption()));
  auto* icon = new QLabel;
  const int size = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
  icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxQuestion).pixmap(size));
  auto* lblMsg = Make<QLabel>("lblMsg", WithShortNames(ShownText(question.Message())));
  lblMsg->setTextFormat(Qt::PlainText);
  lblMsg->setWordWrap(true);
  lblMsg->setMinimumWidth(360);
  // A click beside the buttons is for the window, also when it hits a text.
  for (QLabel* label : {icon, lblMsg}) label->setAttribute(Qt::WA_TransparentForMouseEvents);
  btnLater_ = Make<QPushButton>("btnLater", TrText(u"稍後備份(&L)"));
  btnNow_ = Make<QPushButton>("btnNow", TrText(u"立即備份(&N)"));
  (question.DefaultLater ? btnLater_ : btnNow_)->setDefault(true);

  auto* message = new QHBoxLayout;
  message->addWidget(icon, 0, Qt::AlignTop);
  message->addWidget(lblMsg, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(btnNow_);
  buttons->addWidget(btnLater_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(message);
  layout->addLayout(buttons);
  layout->setSizeConstraint(QLayout::SetFixedSize);

  connect(btnLater_, &QPushButton::clicked, this, [this] { Answer(true); });
  connect(btnNow_, &QPushButton::clicked, this, [this] { Answer(false); });
  connect(&timDelay_, &QTimer::timeout, this, &FrmPastDue::timDelay_Timer);
  timDelay_.setInterval(1000);
}

void FrmPastDue::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  (question_.DefaultLater ? btnLater_ : btnNow_)->setFocus();
  if (question_.Counting()) timDelay_.start();
}

void FrmPastDue::timDelay_Timer() {
  question_.Tick();
  setWindowTitle(ShownText(question_.Caption()));
  if (!question_.Counting()) timDelay_.stop();
  if (question_.Answered()) accept();
}

void FrmPastDue::closeEvent(QCloseEvent* event) {
  if (!question_.Answered()) event->ignore();
}

void FrmPastDue::mousePressEvent(QMouseEvent* event) {
  QDialog::mousePressEvent(event);
  StopCountdown();
}

void FrmPastDue::StopCountdown() {
  question_.StopCountdown();
  timDelay_.stop();
}

void FrmPastDue::Answer(bool later) {
  question_.Answer(later);
  timDelay_.stop();
  accept();
}

}  // namespace kavrel
