#include "ui/frm_compare.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <algorithm>
#include <array>

#include "base/number.h"
#include "base/screen_format.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/window_size.h"

namespace kavrel {

namespace {
constexpr int kFilterDelayMs = 200;
}

FrmCompare::FrmCompare(Program& program, std::u16string_view job, std::vector<JobState> states,
                       int older, int newer, QWidget* parent)
    : QDialog(parent), program_(program), states_(std::move(states)) {
  setObjectName(QStringLiteral("FrmCompare"));
  setWindowTitle(TrText(u"比較「%1」的備份").arg(NameText(job)));
  MakeTable();
  lblCounts_ = Make<QLabel>("lblCounts");
  lblCounts_->setTextFormat(Qt::PlainText);
  lblCounts_->setText(TrText(u"正在比較備份…"));
  lblCounts_->setWordWrap(true);
  lblCounts_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  auto* cmdClose = Make<QPushButton>("cmdClose", TrText(u"關閉(&C)"));
  cmdClose->setDefault(true);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch();
  buttons->addWidget(cmdClose);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(MakeChoices(older, newer));
  layout->addLayout(MakeFilter());
  layout->addWidget(table_, 1);
  layout->addWidget(lblCounts_);
  layout->addLayout(buttons);
  connect(cmdClose, &QPushButton::clicked, this, &FrmCompare::reject);
  RememberSize(*this, &program_.WindowSizes, objectName(), 760, 520);
}

QLayout* FrmCompare::MakeChoices(int older, int newer) {
  cboOlder_ = Make<QComboBox>("cboOlder");
  cboNewer_ = Make<QComboBox>("cboNewer");
  for (QComboBox* choice : {cboOlder_, cboNewer_}) {
    for (const JobState& state : states_) {
      const QString date =
          ToQString(state.Date == kZeroDate ? state.Unit : ScreenDateTime(state.Date));
      choice->addItem(TrText(u"%1（%2）").arg(date, ShownText(StateHealthText(state))));
    }
    IgnoreWheel(choice);
    connect(choice, &QComboBox::activated, this, &FrmCompare::ChooseState);
  }
  cboOlder_->setCurrentIndex(older);
  cboNewer_->setCurrentIndex(newer);
  auto* grid = new QGridLayout;
  grid->setColumnStretch(1, 1);
  grid->addWidget(MakeLabel(TrText(u"從(&F)："), cboOlder_), 0, 0);
  grid->addWidget(cboOlder_, 0, 1);
  grid->addWidget(MakeLabel(TrText(u"到(&T)："), cboNewer_), 1, 0);
  grid->addWidget(cboNewer_, 1, 1);
  return grid;
}

QLayout* FrmCompare::MakeFilter() {
  txtSearch_ = Make<QLineEdit>("txtSearch");
  txtSearch_->setClearButtonEnabled(true);
  cboChange_ = Make<QComboBox>("cboChange");
  cboChange_->addItem(TrText(u"全部"));
  for (std::size_t i = 0; i < kStateChanges; ++i) {
    cboChange_->addItem(ShownText(StateChangeText(static_cast<StateChange>(i))),
                        static_cast<int>(i));
  }
  cboChange_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  IgnoreWheel(cboChange_);
  auto* row = new QHBoxLayout;
  row->addWidget(MakeLabel(TrText(u"搜尋(&S)："), txtSearch_));
  row->addWidget(txtSearch_, 1);
  row->addWidget(MakeLabel(TrText(u"變更(&A)："), cboChange_));
  row->addWidget(cboChange_);
  filter_timer_.setSingleShot(true);
  filter_timer_.setInterval(kFilterDelayMs);
  connect(&filter_timer_, &QTimer::timeout, this, &FrmCompare::ApplyFilter);
  connect(txtSearch_, &QLineEdit::textChanged, this, [this] { filter_timer_.start(); });
  connect(cboChange_, &QComboBox::activated, this, &FrmCompare::ApplyFilter);
  return row;
}

void FrmCompare::MakeTable() {
  table_ = Make<QTableView>("tblChanges");
  table_->setModel(&model_);
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setAlternatingRowColors(true);
  table_->setShowGrid(false);
  table_->setWordWrap(false);
  table_->setTextElideMode(Qt::ElideMiddle);
  table_->setAccessibleName(windowTitle());
  table_->setTabKeyNavigation(false);
  table_->verticalHeader()->hide();
  table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  table_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
  table_->horizontalHeader()->setHighlightSections(false);
  table_->horizontalHeader()->setSectionResizeMode(DifferenceModel::PathColumn,
                                                   QHeaderView::Stretch);
  table_->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
  table_->setColumnWidth(DifferenceModel::ChangeColumn, 90);
  table_->setColumnWidth(DifferenceModel::SizeColumn, 100);
  table_->setColumnWidth(DifferenceModel::FromColumn, 200);
  table_->setSortingEnabled(true);
}

const JobState& FrmCompare::StateOf(const QComboBox& choice) const {
  return states_[static_cast<std::size_t>(choice.currentIndex())];
}

void FrmCompare::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  if (!std::exchange(begun_, true)) QTimer::singleShot(0, this, &FrmCompare::Compare);
}

void FrmCompare::ChooseState() {
  if (!monitor_.AtWork()) return Compare();
  again_ = true;
  monitor_.Stop();
}

void FrmCompare::Compare() {
  std::optional<std::vector<StateDifference>> found;
  do {
    again_ = false;
    trouble_.clear();
    model_.SetDifferences({});
    lblCounts_->setText(TrText(u"正在比較備份…"));
    monitor_.Begin();
    found = Differences();
    monitor_.End();
  } while (again_ && !closing_);
  if (closing_ || monitor_.Stopped()) return QDialog::reject();
  if (found) model_.SetDifferences(std::move(*found));
  ShowCounts();
}

std::optional<StateListing> FrmCompare::ReadOne(const JobState& state) {
  std::optional<StateListing> files =
      ReadState(program_.Files, program_.Archiver, state, &monitor_);
  if (files && files->Unread == 0) return files;
  const QString text =
      files ? TrText(u"備份「%1」有部分無法讀取。") : TrText(u"無法讀取備份「%1」。");
  if (!trouble_.isEmpty()) trouble_ += u'\n';
  trouble_ += text.arg(ToQString(state.Unit));
  return files;
}

std::optional<std::vector<StateDifference>> FrmCompare::Differences() {
  const JobState &older = StateOf(*cboOlder_), &newer = StateOf(*cboNewer_);
  const std::optional<StateListing> before = ReadOne(older);
  if (!before || monitor_.Stopped()) return std::nullopt;
  const std::optional<StateListing> after = ReadOne(newer);
  if (!after || monitor_.Stopped()) return std::nullopt;
  return CompareStates(program_.Files, older, *before, newer, *after, &monitor_);
}

void FrmCompare::ShowCounts() {
  std::array<std::uint64_t, kStateChanges> counts{};
  for (const StateDifference& one : model_.Differences()) {
    ++counts[static_cast<std::size_t>(one.Change)];
  }
  QStringList texts;
  for (std::size_t i = 0; i < kStateChanges; ++i) {
    if (counts[i] == 0) continue;
    texts += ShownText(StateChangeText(static_cast<StateChange>(i))) + TrText(u"：") +
             ToQString(TrCount(u"%1 個檔案", counts[i]));
  }
  QString text = texts.join(TrText(u"　　"));
  if (texts.isEmpty() && trouble_.isEmpty()) text = TrText(u"沒有任何變更。");
  if (!text.isEmpty() && !trouble_.isEmpty()) text += u'\n';
  lblCounts_->setText(text + trouble_);
}

void FrmCompare::ApplyFilter() {
  filter_timer_.stop();
  const QVariant change = cboChange_->currentData();
  model_.Filter(
      change.isValid() ? std::optional(static_cast<StateChange>(change.toInt())) : std::nullopt,
      txtSearch_->text().trimmed());
}

void FrmCompare::reject() {
  closing_ = true;
  monitor_.Stop();
  if (!monitor_.AtWork()) QDialog::reject();
}

}  // namespace kavrel
