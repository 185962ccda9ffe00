#include "ui/state_list.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "base/number.h"
#include "base/screen_format.h"
#include "files/size_text.h"
#include "ui/layout_help.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {
constexpr int kRowsShown = 5, kNoteColumn = 5;
}

StateList::StateList(const std::vector<JobState>& states, const std::vector<StateNote>& notes,
                     const StateGrowth& growth)
    : strip_(new StateStrip(states, notes, growth)) {
  QWidget* list = MakeList(lstStates_, "lstStates", TrText(u"備份日期"));
  lstStates_.ColumnAdd(-1, 165, TrText(u"備份日期"));
  lstStates_.ColumnAdd(-1, 125, TrText(u"狀態"));
  lstStates_.ColumnAdd(-1, 70, TrText(u"檔案數"), clsLictView::AlignRight);
  lstStates_.ColumnAdd(-1, 80, TrText(u"大小"), clsLictView::AlignRight);
  lstStates_.ColumnAdd(-1, 165, TrText(u"驗證"));
  lstStates_.ColumnAdd(-1, 230, TrText(u"去留"));
  lstStates_.SetHeaderSort(true);
  for (std::size_t i = 0; i < states.size(); ++i) {
    Add(states[i], i < notes.size() ? notes[i] : StateNote());
  }
  const int line = fontMetrics().lineSpacing() + 6;
  list->setFixedHeight(line * (kRowsShown + 1) + 6);
  btnOpenState_ = Make<QPushButton>("btnOpenState", TrText(u"開啟資料夾(&O)"));
  btnOpenState_->setAutoDefault(false);
  btnOpenState_->setEnabled(false);
  btnPin_ = Make<QPushButton>("btnPin", TrText(u"釘選(&K)"));
  btnPin_->setToolTip(TrText(u"釘選的備份一定保留，不論排程保留哪些。"));
  btnPin_->setAutoDefault(false);
  btnPin_->setCheckable(true);
  btnPin_->setEnabled(false);
  btnCompare_ = Make<QPushButton>("btnCompare", TrText(u"比較(&M)..."));
  btnCompare_->setToolTip(TrText(u"列出與前一個備份之間的變更。"));
  btnCompare_->setAutoDefault(false);
  btnCompare_->setEnabled(states.size() > 1);

  auto* line_above = new QHBoxLayout;
  line_above->addWidget(MakeLabel(TrText(u"要還原哪一個日期的備份(&S)："), list), 1);
  line_above->addWidget(btnPin_);
  line_above->addWidget(btnOpenState_);
  line_above->addWidget(btnCompare_);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addLayout(line_above);
  layout->addWidget(list);
  layout->addWidget(strip_);
  if (const QString text = ShownText(GrowthText(growth)); !text.isEmpty()) {
    auto* label = Make<QLabel>("lblGrowth", text);
    label->setWordWrap(true);
    layout->addWidget(label);
  }

  connect(&lstStates_, &clsLictView::ItemSelect, this, [this](int row) {
    ShowSelected(row);
    Q_EMIT Selected(row);
  });
  connect(strip_, &StateStrip::Clicked, this, &StateList::Select);
  connect(btnPin_, &QPushButton::clicked, this,
          [this](bool on) { Q_EMIT PinWanted(lstStates_.SelectedIndex(), on); });
  connect(btnCompare_, &QPushButton::clicked, this, &StateList::Compare);
  connect(btnOpenState_, &QPushButton::clicked, this,
          [this] { Q_EMIT OpenWanted(lstStates_.SelectedIndex()); });
}

void StateList::ShowSelected(int row) {
  btnOpenState_->setEnabled(row >= 0);
  btnPin_->setEnabled(row >= 0);
  btnPin_->setChecked(row >= 0 && pinned_[static_cast<std::size_t>(row)]);
  strip_->Select(row);
}

void StateList::Compare() {
  const int last = static_cast<int>(pinned_.size()) - 1;
  const int newer = std::clamp(lstStates_.SelectedIndex(), 0, last - 1);
  Q_EMIT CompareWanted(newer + 1, newer);
}

void StateList::ShowPinned(int row, bool pinned, const QString& note) {
  pinned_[static_cast<std::size_t>(row)] = pinned;
  lstStates_.SetItemText(row, kNoteColumn, note);
  ShowSelected(lstStates_.SelectedIndex());
}

void StateList::Add(const JobState& state, const StateNote& note) {
  pinned_.push_back(state.Pinned);
  const int row = lstStates_.ItemAdd(-1, StateName(state));
  lstStates_.SetItemSortKey(row, 0, state.Date.time_since_epoch().count());
  lstStates_.ItemAddSub(row, 1, ShownText(StateHealthText(state)));
  if (state.Figures && state.Figures->Failed == 0) {
    lstStates_.ItemAddSub(row, 2, ShownText(Grouped(state.Figures->Files)));
    lstStates_.SetItemSortKey(row, 2, static_cast<qint64>(state.Figures->Files));
    lstStates_.ItemAddSub(row, 3, ShownText(FormatSize(state.Figures->Bytes, SizeMode::Scaled)));
    lstStates_.SetItemSortKey(row, 3, static_cast<qint64>(state.Figures->Bytes));
  }
  lstStates_.ItemAddSub(row, kNoteColumn, note.Text);
  if (!state.Verified) return;
  std::u16string verified = ScreenDateTime(state.Verified->When);
  if (state.Verified->Damaged > 0) {
    verified = Fill(Tr(u"%1 (損壞 %2)"), {verified, ScreenNumber(state.Verified->Damaged)});
  }
  lstStates_.ItemAddSub(row, 4, ToQString(verified));
  lstStates_.SetItemSortKey(row, 4, state.Verified->When.time_since_epoch().count());
}

}  // namespace kavrel
