#include "ui/sifted_table.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QTableView>
#include <algorithm>

#include "ui/layout_help.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {
constexpr int kFilterDelayMs = 200;
}

int SiftedModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int SiftedModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : columns_;
}

void SiftedModel::sort(int column, Qt::SortOrder order) {
  sort_column_ = column;
  order_ = order;
  Arrange();
}

void SiftedModel::Arrange() {
  beginResetModel();
  rows_.clear();
  const std::size_t count = Count();
  for (std::size_t i = 0; i < count; ++i) {
    if (Takes(i)) rows_.push_back(static_cast<std::uint32_t>(i));
  }
  if (sort_column_ >= 0) {
    std::stable_sort(rows_.begin(), rows_.end(), [this](std::uint32_t a, std::uint32_t b) {
      return order_ == Qt::AscendingOrder ? Before(a, b, sort_column_) : Before(b, a, sort_column_);
    });
  }
  endResetModel();
}

QTableView* MakeSiftedTable(const char* name, SiftedModel& model, const QString& accessible_name,
                            int stretched_column) {
  auto* table = Make<QTableView>(name);
  table->setModel(&model);
  table->setSelectionBehavior(QAbstractItemView::SelectRows);
  table->setAlternatingRowColors(true);
  table->setShowGrid(false);
  table->setWordWrap(false);
  table->setTextElideMode(Qt::ElideMiddle);
  table->setAccessibleName(accessible_name);
  table->setTabKeyNavigation(false);
  table->verticalHeader()->hide();
  table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
  table->horizontalHeader()->setHighlightSections(false);
  table->horizontalHeader()->setSectionResizeMode(stretched_column, QHeaderView::Stretch);
  table->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
  return table;
}

SiftRow::SiftRow(const char* choice_name, const QString& choice_label) {
  txtSearch_ = Make<QLineEdit>("txtSearch");
  txtSearch_->setClearButtonEnabled(true);
  cboChoice_ = Make<QComboBox>(choice_name);
  cboChoice_->addItem(TrText(u"全部"));
  cboChoice_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  IgnoreWheel(cboChoice_);
  auto* row = new QHBoxLayout(this);
  row->setContentsMargins(0, 0, 0, 0);
  row->addWidget(MakeLabel(TrText(u"搜尋(&S)："), txtSearch_));
  row->addWidget(txtSearch_, 1);
  row->addWidget(MakeLabel(choice_label, cboChoice_));
  row->addWidget(cboChoice_);
  timer_.setSingleShot(true);
  timer_.setInterval(kFilterDelayMs);
  connect(&timer_, &QTimer::timeout, this, &SiftRow::Changed);
  connect(txtSearch_, &QLineEdit::textChanged, this, [this] { timer_.start(); });
  connect(cboChoice_, &QComboBox::activated, this, [this] {
    timer_.stop();
    Q_EMIT Changed();
  });
}

void SiftRow::AddChoice(const QString& text, int value) {
  cboChoice_->addItem(text, value);
}

QString SiftRow::Text() const {
  return txtSearch_->text().trimmed();
}

std::optional<int> SiftRow::ChoiceValue() const {
  const QVariant value = cboChoice_->currentData();
  return value.isValid() ? std::optional(value.toInt()) : std::nullopt;
}

}  // namespace kavrel
