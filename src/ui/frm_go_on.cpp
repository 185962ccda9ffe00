#include "ui/frm_go_on.h"

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>

#include "platform/process.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/short_text.h"

namespace kavrel {

namespace {
constexpr int kSeconds = 60;
}

FrmGoOn::FrmGoOn(const RunQuestion& question, QWidget* parent)
    : QDialog(parent), seconds_(kSeconds) {
  setObjectName(QStringLiteral("FrmGoOn"));
  setWindowTitle(ShownText(question.Title));
  auto* icon = new QLabel;
  const int size = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
  icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(size));
  // A number stays on the line of what it counts.
  const QString reason =
      // not translated: looked for in what is shown
      ShownText(question.Text).replace(QStringLiteral(" 個"), QStringLiteral("\u00A0個"));
  auto* lblMsg = Make<QLabel>(
      "lblMsg",
      WithShortNames(
          TrText(u"排程「%1」：\n%2。\n\n要繼續執行嗎？").arg(NameText(question.JobName), reason)));
  lblMsg->setTextFormat(Qt::PlainText);
  lblMsg->setWordWrap(true);
  lblMsg->setMinimumWidth(420);
  auto* btnGoOn = Make<QPushButton>("btnGoOn", TrText(u"繼續執行(&Y)"));
  btnStop_ = Make<QPushButton>("btnStop");
  btnStop_->setDefault(true);
  ShowSeconds();

  auto* message = new QHBoxLayout;
  message->addWidget(icon, 0, Qt::AlignTop);
  message->addWidget(lblMsg, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(btnGoOn);
  buttons->addWidget(btnStop_);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(message);
  layout->addLayout(buttons);
  layout->setSizeConstraint(QLayout::SetFixedSize);

  connect(btnGoOn, &QPushButton::clicked, this, &QDialog::accept);
  connect(btnStop_, &QPushButton::clicked, this, &QDialog::reject);
  connect(&timDelay_, &QTimer::timeout, this, &FrmGoOn::timDelay_Timer);
  for (QWidget* part : {static_cast<QWidget*>(this), static_cast<QWidget*>(btnGoOn),
                        static_cast<QWidget*>(btnStop_)}) {
    part->installEventFilter(this);
  }
  btnStop_->setFocus();
  timDelay_.start(1000);
}

void FrmGoOn::ShowSeconds() {
  btnStop_->setText(counting_ ? TrText(u"中斷備份 (%1)(&N)").arg(seconds_)
                              : TrText(u"中斷備份(&N)"));
}

void FrmGoOn::timDelay_Timer() {
  if (counting_) --seconds_;
  ShowSeconds();
  if (seconds_ == 0 || InterruptRequested()) reject();
}

/// A key or a click shows that somebody has seen the question: the countdown ends.
bool FrmGoOn::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::KeyPress || event->type() == QEvent::MouseButtonPress) {
    counting_ = false;
    ShowSeconds();
  }
  return QDialog::eventFilter(watched, event);
}

}  // namespace kavrel
