#include "ui/frm_password.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/short_text.h"

namespace kavrel {

FrmPassword::FrmPassword(const QString& job, const QString& archive, QWidget* parent)
    : QDialog(parent) {
  setObjectName(QStringLiteral("FrmPassword"));
  setWindowTitle(TrText(u"壓縮檔的密碼"));
  auto* lblMsg =
      Make<QLabel>("lblMsg", WithShortNames(TrText(u"排程「%1」的密碼無法開啟壓縮檔「%2」。\n"
                                                   "請輸入壓縮時使用的密碼，再還原一次。")
                                                .arg(job, archive)));
  lblMsg->setTextFormat(Qt::PlainText);
  lblMsg->setWordWrap(true);
  lblMsg->setMinimumWidth(380);
  txtPassword_ = Make<QLineEdit>("txtPassword");
  txtPassword_->setEchoMode(QLineEdit::Password);
  chkKeep_ = Make<QCheckBox>("chkKeep", TrText(u"存為這個排程的密碼(&S)"));
  auto* cmdOK = Make<QPushButton>("cmdOK", TrText(u"還原(&R)"));
  auto* cmdCancel = Make<QPushButton>("cmdCancel", TrText(u"取消(&C)"));
  cmdOK->setDefault(true);
  cmdOK->setEnabled(false);

  auto* entry = new QHBoxLayout;
  entry->addWidget(MakeLabel(TrText(u"密碼(&P)："), txtPassword_));
  entry->addWidget(txtPassword_, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(cmdOK);
  buttons->addWidget(cmdCancel);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lblMsg);
  layout->addLayout(entry);
  layout->addWidget(chkKeep_);
  layout->addLayout(buttons);
  connect(txtPassword_, &QLineEdit::textChanged, cmdOK,
          [cmdOK](const QString& text) { cmdOK->setEnabled(!text.isEmpty()); });
  connect(cmdOK, &QPushButton::clicked, this, &QDialog::accept);
  connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
  txtPassword_->setFocus();
}

Secret FrmPassword::Password() const {
  return FromQString(txtPassword_->text());
}

bool FrmPassword::Keep() const {
  return chkKeep_->isChecked();
}

}  // namespace kavrel
