#include "ui/frm_failures.h"

#include <QApplication>
#include <QClipboard>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include "log/job_log.h"
#include "log/log_troubles.h"
#include "ui/frm_log.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {
constexpr int kColumns = 3;
}  // namespace

FrmFailures::FrmFailures(Program& program, const std::vector<RunEnd>& ends, QWidget* parent)
    : QDialog(parent), program_(program) {
  setObjectName(QStringLiteral("FrmFailures"));
  setWindowTitle(TrText(u"有問題的檔案"));
  QWidget* list = MakeList(lstFailures_, "lstFailures", windowTitle());
  lstFailures_.ColumnAdd(-1, 340, TrText(u"檔案或資料夾"));
  lstFailures_.ColumnAdd(-1, 250, TrText(u"原因"));
  lstFailures_.ColumnAdd(-1, 140, TrText(u"狀況"));
  lstFailures_.SetHeaderSort(true);
  lblFailures_ = Make<QLabel>("lblFailures");
  lblFailures_->setTextFormat(Qt::PlainText);
  lblFailures_->setWordWrap(true);
  auto* cmdCopy = Make<QPushButton>("cmdCopy", TrText(u"複製清單(&Y)"));
  auto* cmdClose = Make<QPushButton>("cmdClose", TrText(u"關閉(&C)"));
  cmdClose->setDefault(true);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(lblFailures_, 1);
  buttons->addWidget(cmdCopy);
  buttons->addWidget(cmdClose);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(list, 1);
  layout->addLayout(buttons);
  connect(cmdCopy, &QPushButton::clicked, this, &FrmFailures::Copy);
  connect(cmdClose, &QPushButton::clicked, this, &QDialog::reject);
  Fill(ends);
  lstFailures_.SetSelectedItem(lstFailures_.ItemCount() > 0 ? 0 : -1);
  lstFailures_.SetFocus();
  RememberSize(*this, &program_.WindowSizes, objectName(), 760, 420);
}

void FrmFailures::Add(const std::vector<RunFailure>& failures) {
  for (const RunFailure& failure : failures) {
    const int row = lstFailures_.ItemAdd(-1, ToQString(failure.Path));
    lstFailures_.ItemAddSub(row, 1, ShownText(failure.Reason));
    lstFailures_.ItemAddSub(row, 2, ShownText(failure.What));
  }
}

void FrmFailures::Fill(const std::vector<RunEnd>& ends) {
  QStringList notes;
  for (const RunEnd& end : ends) {
    if (end.Failures) {
      Add(end.Failures->First());
      continue;
    }
    const Result<std::u16string> text = ReadJobLog(program_.Files, end.LogPath);
    if (text) {
      Add(ReadTroubles(*text, RunFailures::kNoted));
    } else {
      notes += UnreadableLogText(end.LogPath, text.Error);
    }
  }
  const int count = lstFailures_.ItemCount();
  if (count >= static_cast<int>(RunFailures::kNoted)) {
    notes += TrText(u"每次執行只列出前 %1 筆，其餘請見日誌。").arg(RunFailures::kNoted);
  } else if (count > 0) {
    notes += TrText(u"共 %1 筆").arg(count);
  } else if (notes.isEmpty()) {
    notes += TrText(u"日誌沒有記錄個別的檔案。");
  }
  lblFailures_->setText(notes.join(u'\n'));
}

void FrmFailures::Copy() const {
  QString text;
  for (int row = 0; row < lstFailures_.ItemCount(); ++row) {
    QStringList cells;
    for (int column = 0; column < kColumns; ++column) cells += lstFailures_.ItemText(row, column);
    text += cells.join(u'\t') + u'\n';
  }
  QApplication::clipboard()->setText(text);
}

}  // namespace kavrel
