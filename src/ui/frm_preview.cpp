#include "ui/frm_preview.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <QTimer>
#include <algorithm>

#include "app/plan_text.h"
#include "engine/run_planner.h"
#include "platform/process.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {

constexpr int kPumpEveryMs = 25;
constexpr int kColumn = 110;  ///< the width that a column has at first

}  // namespace

FrmPreview::FrmPreview(Program& program, std::int32_t job_index, QWidget* parent)
    : FrmPreview(program, job_index, std::nullopt, parent) {}

FrmPreview::FrmPreview(Program& program, std::int32_t job_index, RestoreRequest restore,
                       QWidget* parent)
    : FrmPreview(program, job_index, std::optional(std::move(restore)), parent) {}

FrmPreview::FrmPreview(Program& program, std::int32_t job_index,
                       std::optional<RestoreRequest> restore, QWidget* parent)
    : QDialog(parent),
      program_(program),
      job_(program.Store.Jobs[static_cast<std::size_t>(job_index)]),
      restore_(std::move(restore)) {
  setObjectName(QStringLiteral("FrmPreview"));
  setWindowTitle((restore_ ? TrText(u"預覽「%1」還原內容") : TrText(u"預覽「%1」備份內容"))
                     .arg(ToQString(job_.Name)));
  table_ = MakeSiftedTable("tblPlan", model_, windowTitle(), PlanModel::PathColumn);
  table_->setColumnWidth(PlanModel::SizeColumn, kColumn);
  sift_ = new SiftRow("cboAction", TrText(u"動作(&A)："));
  connect(sift_, &SiftRow::Changed, this,
          [this] { model_.Filter(sift_->Choice<PlanAction>(), sift_->Text()); });
  lblTotals_ = Make<QLabel>("lblTotals");
  lblWarning_ = Make<QLabel>("lblWarning");
  for (QLabel* label : {lblTotals_, lblWarning_}) {
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  }
  lblWarning_->hide();
  cmdRun_ =
      Make<QPushButton>("cmdRun", restore_ ? TrText(u"執行還原(&R)") : TrText(u"執行備份(&R)"));
  cmdRun_->setEnabled(false);
  auto* cmdClose = Make<QPushButton>("cmdClose", TrText(u"關閉(&C)"));
  cmdClose->setDefault(true);

  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(cmdRun_);
  buttons->addWidget(cmdClose);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(sift_);
  layout->addWidget(table_, 1);
  layout->addWidget(lblTotals_);
  layout->addWidget(lblWarning_);
  layout->addLayout(buttons);
  connect(cmdRun_, &QPushButton::clicked, this, &QDialog::accept);
  connect(cmdClose, &QPushButton::clicked, this, &FrmPreview::reject);
  RememberSize(*this, &program_.WindowSizes, objectName(), 760, 520);
}

void FrmPreview::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  if (!std::exchange(planned_, true)) QTimer::singleShot(0, this, &FrmPreview::Plan);
}

void FrmPreview::Plan() {
  planning_ = true;
  pumped_.start();
  lblTotals_->setText(TrText(u"正在檢查來源與目標…"));
  program_.Mounts.Load();
  const RunOutcome outcome = FindPlan();
  planning_ = false;
  if (state_.CancelRequested) return QDialog::reject();
  if (outcome == RunOutcome::SourceMissing || outcome == RunOutcome::NothingPicked) {
    const std::u16string& missing = restore_ ? program_.DestinationNow(job_) : job_.Source.Path;
    lblTotals_->setText(TrText(u"找不到資料夾「%1」。").arg(ToQString(missing)));
    ShowWarnings();
  } else if (outcome == RunOutcome::NoArchiver) {
    lblTotals_->setText(TrText(u"找不到 7-Zip 程式，壓縮備份無法執行。"));
  } else {
    ShowPlan();
  }
}

RunOutcome FrmPreview::FindPlan() {
  RunCounters counters;
  return restore_ ? PlanRestore(program_.Context, *this, state_, job_, *restore_, plan_, counters)
                  : PlanBackupJob(program_.Context, *this, state_, job_, plan_, counters);
}

void FrmPreview::ShowWarnings() {
  QString warnings;
  for (const std::u16string& warning : plan_.Warnings) {
    warnings += TrText(u"⚠ %1。\n").arg(ShownText(warning));
  }
  lblWarning_->setText(warnings.trimmed());
  lblWarning_->setVisible(!warnings.isEmpty());
}

void FrmPreview::ShowPlan() {
  const PlanSums sums = SumUp(plan_);
  QStringList totals;
  for (std::size_t i = 0; i < sums.size(); ++i) {
    if (sums[i].Files + sums[i].Folders == 0) continue;
    const QString action = ShownText(ActionText(static_cast<PlanAction>(i), plan_.OfRestore));
    const QString sum = ShownText(SumText(sums[i]));
    sift_->AddChoice(action, static_cast<int>(i));
    totals += action + TrText(u"：") + sum;
  }
  if (plan_.Steps.empty()) {
    totals += restore_ ? TrText(u"沒有需要還原的檔案。") : TrText(u"沒有需要備份的檔案。");
  }
  lblTotals_->setText(totals.join(QStringLiteral("\n")));
  ShowWarnings();
  model_.SetPlan(plan_);
  table_->setSortingEnabled(true);
  for (const int column : {PlanModel::ActionColumn, PlanModel::ReasonColumn}) {
    table_->resizeColumnToContents(column);
    table_->setColumnWidth(column, std::clamp(table_->columnWidth(column), kColumn, 2 * kColumn));
  }
  cmdRun_->setEnabled(true);
}

void FrmPreview::PumpMessages() {
  if (InterruptRequested()) state_.CancelRequested = true;
  if (pumped_.elapsed() < kPumpEveryMs) return;
  lblTotals_->setText(ToQString(TrCount(u"正在檢查來源與目標… %1 個項目", plan_.Steps.size())));
  QApplication::processEvents();
  pumped_.restart();
}

void FrmPreview::reject() {
  state_.CancelRequested = true;
  if (!planning_) QDialog::reject();
}

}  // namespace kavrel
