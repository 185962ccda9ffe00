#include "ui/frm_compare.h"

#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QTableView>
#include <algorithm>
#include <array>

#include "base/number.h"
#include "base/screen_format.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"
#include "ui/state_strip.h"
#include "ui/window_size.h"

namespace kavrel {

FrmCompare::FrmCompare(Program& program, std::u16string_view job, std::vector<JobState> states,
                       int older, int newer, QWidget* parent)
    : ReadingDialog(parent), program_(program), states_(std::move(states)) {
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
  layout->addWidget(MakeFilter());
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
      choice->addItem(TrText(u"%1（%2）").arg(StateName(state), ShownText(StateHealthText(state))));
    }
    IgnoreWheel(choice);
    connect(choice, &QComboBox::activated, this, &FrmCompare::ReadAnew);
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

SiftRow* FrmCompare::MakeFilter() {
  auto* row = new SiftRow("cboChange", TrText(u"變更(&A)："));
  for (std::size_t i = 0; i < kStateChanges; ++i) {
    row->AddChoice(ShownText(StateChangeText(static_cast<StateChange>(i))), static_cast<int>(i));
  }
  connect(row, &SiftRow::Changed, this,
          [this, row] { model_.Filter(row->Choice<StateChange>(), row->Text()); });
  return row;
}

void FrmCompare::MakeTable() {
  table_ = MakeSiftedTable("tblChanges", model_, windowTitle(), DifferenceModel::PathColumn);
  table_->setColumnWidth(DifferenceModel::ChangeColumn, 90);
  table_->setColumnWidth(DifferenceModel::SizeColumn, 100);
  table_->setColumnWidth(DifferenceModel::FromColumn, 200);
  table_->setSortingEnabled(true);
}

const JobState& FrmCompare::StateOf(const QComboBox& choice) const {
  return states_[static_cast<std::size_t>(choice.currentIndex())];
}

void FrmCompare::Read() {
  trouble_.clear();
  model_.SetDifferences({});
  lblCounts_->setText(TrText(u"正在比較備份…"));
  found_ = Differences();
}

void FrmCompare::ShowRead() {
  if (found_) model_.SetDifferences(std::move(*found_));
  ShowCounts();
}

std::optional<StateListing> FrmCompare::ReadOne(const JobState& state) {
  std::optional<StateListing> files =
      ReadState(program_.Files, program_.Archiver, state, &Monitor());
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
  if (!before || Monitor().Stopped()) return std::nullopt;
  const std::optional<StateListing> after = ReadOne(newer);
  if (!after || Monitor().Stopped()) return std::nullopt;
  return CompareStates(program_.Files, older, *before, newer, *after, &Monitor());
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

}  // namespace kavrel
