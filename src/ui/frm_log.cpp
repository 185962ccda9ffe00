#include "ui/frm_log.h"

#include <QCheckBox>
#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QShortcut>
#include <algorithm>

#include "files/error_text.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/window_size.h"

namespace kavrel {

QString UnreadableLogText(std::u16string_view path, ErrorCode error) {
  return TrText(u"無法讀取日誌「%1」，%2").arg(ToQString(path), ShownText(ApiErrorText(error)));
}

FrmLog::FrmLog(const QString& name, std::u16string text, QWidget* parent, SettingsStore* sizes)
    : QDialog(parent), lines_(std::move(text)) {
  setObjectName(QStringLiteral("FrmLog"));
  setWindowTitle(TrText(u"日誌：%1").arg(name));
  list_ = Make<QListView>("lstLog");
  list_->setModel(&lines_);
  list_->setUniformItemSizes(true);
  list_->setSelectionMode(QAbstractItemView::ExtendedSelection);
  list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  list_->setTextElideMode(Qt::ElideMiddle);
  list_->setIconSize({16, 16});
  list_->setAccessibleName(windowTitle());
  lblState_ = Make<QLabel>("lblState");
  lblState_->setTextFormat(Qt::PlainText);
  auto* cmdCopy = Make<QPushButton>("cmdCopy", TrText(u"複製(&Y)"));
  auto* cmdClose = Make<QPushButton>("cmdClose", TrText(u"關閉(&C)"));
  for (QPushButton* button : {cmdCopy, cmdClose}) button->setAutoDefault(false);

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(lblState_, 1);
  buttons->addWidget(cmdCopy);
  buttons->addWidget(cmdClose);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(MakeFind());
  layout->addWidget(list_, 1);
  layout->addLayout(buttons);
  connect(cmdCopy, &QPushButton::clicked, this, &FrmLog::Copy);
  connect(cmdClose, &QPushButton::clicked, this, &QDialog::reject);
  connect(new QShortcut(QKeySequence::Copy, list_), &QShortcut::activated, this, &FrmLog::Copy);
  connect(new QShortcut(QKeySequence::FindNext, this), &QShortcut::activated, this,
          &FrmLog::FindNext);
  connect(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, txtFind_,
          [this] { txtFind_->setFocus(); });
  list_->setCurrentIndex(lines_.index(0));
  txtFind_->setFocus();
  RememberSize(*this, sizes, objectName(), 860, 560);
}

QWidget* FrmLog::MakeFind() {
  txtFind_ = Make<QLineEdit>("txtFind");
  txtFind_->setClearButtonEnabled(true);
  auto* cmdNext = Make<QPushButton>("cmdNext", TrText(u"找下一個(&N)"));
  cmdNext->setDefault(true);
  chkFailed_ = Make<QCheckBox>("chkFailed", TrText(u"只顯示有問題的行(&B)"));
  chkFailed_->setEnabled(lines_.Troubles() > 0);
  auto* area = new QWidget;
  auto* row = new QHBoxLayout(area);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(MakeLabel(TrText(u"搜尋(&F)："), txtFind_));
  row->addWidget(txtFind_, 1);
  row->addWidget(cmdNext);
  row->addWidget(chkFailed_);
  connect(txtFind_, &QLineEdit::textChanged, this,
          [this] { Find(std::max(0, list_->currentIndex().row())); });
  connect(cmdNext, &QPushButton::clicked, this, &FrmLog::FindNext);
  connect(chkFailed_, &QCheckBox::toggled, this, [this](bool on) {
    lines_.ShowTroublesOnly(on);
    list_->setCurrentIndex(lines_.index(0));
  });
  return area;
}

void FrmLog::Find(int row) {
  lblState_->clear();
  if (txtFind_->text().isEmpty()) return;
  const int found = lines_.Find(txtFind_->text(), row);
  if (found >= 0) {
    list_->setCurrentIndex(lines_.index(found));
  } else {
    lblState_->setText(TrText(u"沒有含有這段文字的行"));
  }
}

void FrmLog::FindNext() {
  Find(list_->currentIndex().row() + 1);
}

void FrmLog::Copy() const {
  QModelIndexList chosen = list_->selectionModel()->selectedIndexes();
  std::sort(chosen.begin(), chosen.end());
  QStringList texts;
  for (const QModelIndex& index : chosen) texts += index.data().toString();
  QGuiApplication::clipboard()->setText(texts.join(u'\n'));
}

}  // namespace kavrel
