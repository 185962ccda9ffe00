#include "ui/job_edits.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QShortcut>
#include <QToolButton>
#include <algorithm>

#include "core/job_form.h"
#include "files/error_text.h"
#include "ui/job_list.h"
#include "ui/language.h"
#include "ui/layout_help.h"
#include "ui/message_box.h"
#include "ui/qt_text.h"

namespace kavrel {

JobEdits::JobEdits(Program& program, JobList& list, QWidget* window)
    : QObject(window), program_(program), list_(list), window_(window) {
  MakeSearch();
  list_.View().SetRowDrag([this] { return MayMove(); });
  connect(&list_.View(), &clsLictView::RowMoved, this, &JobEdits::Move);
  connect(&list_, &JobList::RemoveWanted, this, &JobEdits::Remove);
  for (const int step : {-1, 1}) {
    const QKeySequence keys(Qt::ALT | (step < 0 ? Qt::Key_Up : Qt::Key_Down));
    connect(
        new QShortcut(keys, list_.View().hwnd(), nullptr, nullptr, Qt::WidgetWithChildrenShortcut),
        &QShortcut::activated, this, [this, step] { MoveBy(step); });
  }
}

void JobEdits::MakeSearch() {
  strip_ = Make<QWidget>("picSearch");
  txtSearch_ = Make<QLineEdit>("txtJobSearch");
  txtSearch_->setClearButtonEnabled(true);
  OnLanguage(txtSearch_,
             [this] { txtSearch_->setPlaceholderText(TrText(u"排程名稱、來源或目標資料夾")); });
  auto* close = Make<QToolButton>("cmdCloseSearch");
  close->setText(QStringLiteral("✕"));
  close->setAutoRaise(true);
  OnLanguage(close, [close] {
    close->setToolTip(TrText(u"結束搜尋 (Esc)"));
    close->setAccessibleName(TrText(u"結束搜尋"));
  });
  auto* row = new QHBoxLayout(strip_);
  row->setContentsMargins(6, 3, 6, 3);
  row->addWidget(SpeakingLabel(TrLater(u"搜尋排程(&S)："), txtSearch_));
  row->addWidget(txtSearch_, 1);
  row->addWidget(close);
  strip_->hide();
  connect(txtSearch_, &QLineEdit::textChanged, this,
          [this](const QString& text) { list_.Search(text.trimmed()); });
  connect(txtSearch_, &QLineEdit::returnPressed, this, [this] { list_.View().SetFocus(); });
  connect(close, &QToolButton::clicked, this, &JobEdits::CloseSearch);
  escape_ = new QShortcut(Qt::Key_Escape, window_);
  escape_->setEnabled(false);
  connect(escape_, &QShortcut::activated, this, &JobEdits::CloseSearch);
}

void JobEdits::OpenSearch() {
  strip_->show();
  escape_->setEnabled(true);
  txtSearch_->setFocus();
  txtSearch_->selectAll();
}

void JobEdits::CloseSearch() {
  if (strip_->isHidden()) return;
  txtSearch_->clear();
  strip_->hide();
  escape_->setEnabled(false);
  list_.View().SetFocus();
}

bool JobEdits::MayMove() const {
  return !program_.State.RunBusy && list_.InOrder();
}

void JobEdits::Save() {
  if (program_.Store.SaveJobs()) return;
  TellFailure(*window_, TrText(u"備份排程無法儲存\r\n錯誤代碼：") +
                            ToQString(SystemErrorText(program_.Store.LastError())));
}

void JobEdits::Remove(int row) {
  if (program_.State.RunBusy || row < 0 || row >= std::ssize(program_.Store.Jobs)) return;
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  if (!ConfirmLoss(
          *window_, TrText(u"您確定要移除【%1】嗎？").arg(NameText(job.Name)),
          TrText(u"已經備份的檔案會保留在「%1」。").arg(ToQString(program_.DestinationNow(job))))) {
    return;
  }
  Q_EMIT EditWanted([this, row] {
    RemoveJob(program_.Store.Jobs[static_cast<std::size_t>(row)]);
    Save();
  });
  list_.View().SetSelectedItem(std::min(row, list_.View().ItemCount() - 1));
}

void JobEdits::AcceptChanges(int row) {
  if (program_.State.RunBusy || row < 0 || row >= std::ssize(program_.Store.Jobs)) return;
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(row)];
  if (!ConfirmLoss(*window_,
                   TrText(u"您確定【%1】的檔案變更都是您要的嗎？").arg(NameText(job.Name)),
                   TrText(u"之後的備份會再依保留計畫移除舊備份；釘選的仍然保留。"))) {
    return;
  }
  Q_EMIT EditWanted([this, row] {
    kavrel::AcceptChanges(program_.Store.Jobs[static_cast<std::size_t>(row)].Extras);
    Save();
  });
}

void JobEdits::Move(int row, int to) {
  const int count = static_cast<int>(std::ssize(program_.Store.Jobs));
  if (!MayMove() || row < 0 || row >= count || to < 0 || to >= count || row == to) return;
  Q_EMIT EditWanted([this, row, to] {
    MoveJob(program_.Store.Jobs, row, to);
    Save();
  });
  list_.View().SetSelectedItem(to);
}

void JobEdits::MoveBy(int step) {
  const int row = list_.View().SelectedItem();
  if (row >= 0) Move(row, row + step);
}

}  // namespace kavrel
