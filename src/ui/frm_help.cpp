#include "ui/frm_help.h"

#include <QClipboard>
#include <QGridLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "platform/clock.h"
#include "rules/date_tokens.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {

struct TagGroup {
  const char16_t* Description;
  std::initializer_list<const char*> Tags;
};

const TagGroup kGroups[] = {
    {TrLater(u"年"), {"<y>", "<yy>", "<yyyy>", "<year>"}},
    {TrLater(u"月"), {"<m>", "<mm>", "<month>"}},
    {TrLater(u"日"), {"<d>", "<dd>"}},
    {TrLater(u"時"), {"<h>", "<hh>"}},
    {TrLater(u"分"), {"<n>", "<nn>"}},
    {TrLater(u"秒"), {"<s>", "<ss>"}},
    {TrLater(u"週"), {"<day>"}},
};

Clock& MachineClock() {
  static SystemClock clock;
  return clock;
}

}  // namespace

frmHelp::frmHelp(QWidget* parent, Clock* clock, SettingsStore* sizes)
    : QDialog(parent), clock_(clock != nullptr ? *clock : MachineClock()) {
  setObjectName(QStringLiteral("frmHelp"));
  setWindowTitle(TrText(u"設定日期標籤"));
  QWidget* list = MakeList(LvTag_, "LvTag", windowTitle());
  LvTag_.ColumnAdd(-1, 100, TrText(u"日期格式"));
  LvTag_.ColumnAdd(-1, 50, TrText(u"說明"), clsLictView::AlignCentre);
  LvTag_.ColumnAdd(-1, 220, TrText(u"值"));
  FillTags();

  const QString example = QStringLiteral("D:\\Backup\\<yy>-<mm>-<dd>\\");
  auto* lblKey = Make<QLabel>(
      "lblKey", TrText(u"假設你的資料夾要有時間格式您可以設定的參數如下：\r\n\r\n範例：%1\r\n\r\n"
                       "輸出：%2\r\n\r\n使用的格式若不相同，所呈現的日期格式就不同。")
                    .arg(example, Expanded(example)));
  lblKey->setTextFormat(Qt::PlainText);
  lblKey->setWordWrap(true);
  txtSel_ = Make<QLineEdit>("txtSel");
  txtTest_ = Make<QLineEdit>("txtTest");
  txtTest_->setReadOnly(true);
  auto* lblSel = MakeLabel(TrText(u"日期標籤(&T)："), txtSel_);
  auto* lblTest = MakeLabel(TrText(u"範例(&E)："), txtTest_);
  btnCopy_ = Make<QPushButton>("btnCopy", TrText(u"複製(&C)"));
  btnClear_ = Make<QPushButton>("btnClear", TrText(u"清空(&R)"));
  auto* btnClose = Make<QPushButton>("btnClose", TrText(u"關 閉(&X)"));
  btnCopy_->setDefault(true);

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(btnCopy_);
  buttons->addWidget(btnClear_);
  buttons->addStretch();
  buttons->addWidget(btnClose);
  auto* layout = new QGridLayout(this);
  layout->addWidget(lblKey, 0, 0, 1, 2);
  layout->addWidget(list, 1, 0, 1, 2);
  layout->setRowStretch(1, 1);
  layout->addWidget(lblSel, 2, 0);
  layout->addWidget(txtSel_, 2, 1);
  layout->addWidget(lblTest, 3, 0);
  layout->addWidget(txtTest_, 3, 1);
  layout->addLayout(buttons, 4, 0, 1, 2);

  connect(&LvTag_, &clsLictView::Click, this, [this](int row) { LvTag_Click(row); });
  connect(&LvTag_, &clsLictView::NotifyKeyDown, this, [this](int key, bool& handled) {
    if (key != Qt::Key_Return && key != Qt::Key_Space) return;
    LvTag_Click(LvTag_.SelectedIndex());
    handled = true;
  });
  connect(txtSel_, &QLineEdit::textChanged, this, &frmHelp::txtSel_Change);
  connect(btnCopy_, &QPushButton::clicked, this, &frmHelp::btnCopy_Click);
  connect(btnClear_, &QPushButton::clicked, txtSel_, &QLineEdit::clear);
  connect(btnClose, &QPushButton::clicked, this, &QDialog::accept);
  txtSel_Change({});
  RememberSize(*this, sizes, objectName(), 460, 560);
}

void frmHelp::FillTags() {
  for (const TagGroup& group : kGroups) {
    if (LvTag_.ItemCount() > 0) LvTag_.ItemAdd(-1, {});
    for (const char* tag : group.Tags) {
      const QString text = QString::fromUtf8(tag);
      const int row = LvTag_.ItemAdd(-1, text);
      LvTag_.ItemAddSub(row, 1, TrText(group.Description));
      LvTag_.ItemAddSub(row, 2, Expanded(text));
    }
  }
}

QString frmHelp::Expanded(const QString& path) const {
  return ToQString(ExpandDateTokens(FromQString(path), clock_));
}

void frmHelp::LvTag_Click(int row) {
  if (row >= 0) txtSel_->setText(txtSel_->text() + LvTag_.ItemText(row, 0));
}

void frmHelp::txtSel_Change(const QString& text) {
  txtTest_->setText(Expanded(text));
  btnCopy_->setEnabled(!text.isEmpty());
  btnClear_->setEnabled(!text.isEmpty());
}

void frmHelp::btnCopy_Click() {
  QClipboard* clipboard = QGuiApplication::clipboard();
  clipboard->clear();
  clipboard->setText(txtSel_->text());
}

}  // namespace kavrel
