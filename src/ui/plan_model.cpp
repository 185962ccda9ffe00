#include "ui/plan_model.h"

#include <algorithm>

#include "app/plan_text.h"
#include "files/size_text.h"
#include "ui/qt_text.h"

namespace kavrel {

void PlanModel::SetPlan(const RunPlan& plan) {
  plan_ = &plan;
  Arrange();
}

void PlanModel::Filter(std::optional<PlanAction> action, const QString& text) {
  action_ = action;
  text_ = text;
  Arrange();
}

int PlanModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int PlanModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(ColumnCount);
}

const PlanStep& PlanModel::StepAt(int row) const {
  return plan_->Steps[rows_[static_cast<std::size_t>(row)]];
}

QVariant PlanModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const PlanStep& step = StepAt(index.row());
  if (role == Qt::TextAlignmentRole && index.column() == SizeColumn) {
    return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  }
  if (role == Qt::ToolTipRole && index.column() == PathColumn) return ToQString(step.Path);
  if (role != Qt::DisplayRole) return {};
  switch (index.column()) {
    case ActionColumn:
      return ShownText(ActionText(step.Action, plan_->OfRestore));
    case PathColumn:
      return step.Path.empty() ? QStringLiteral(".") : ToQString(step.Path);
    case SizeColumn:
      return step.IsFolder ? QString() : ShownText(FormatSize(step.Size, SizeMode::Scaled));
    default:
      return ShownText(ReasonText(step.Reason, plan_->OfRestore));
  }
}

QVariant PlanModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  static const QString kCaptions[] = {TrText(u"動作"), TrText(u"檔案或資料夾"), TrText(u"大小"),
                                      TrText(u"原因")};
  return kCaptions[section];
}

void PlanModel::sort(int column, Qt::SortOrder order) {
  sort_column_ = column;
  order_ = order;
  Arrange();
}

bool PlanModel::Before(std::uint32_t a, std::uint32_t b) const {
  const PlanStep &one = plan_->Steps[a], &other = plan_->Steps[b];
  switch (sort_column_) {
    case ActionColumn:
      return one.Action < other.Action;
    case PathColumn:
      return one.Path < other.Path;
    case SizeColumn:
      return one.Size < other.Size;
    default:
      return one.Reason < other.Reason;
  }
}

void PlanModel::Arrange() {
  beginResetModel();
  rows_.clear();
  const std::size_t count = plan_ ? plan_->Steps.size() : 0;
  for (std::size_t i = 0; i < count; ++i) {
    const PlanStep& step = plan_->Steps[i];
    if (action_ && step.Action != *action_) continue;
    const QStringView path(step.Path);
    if (!text_.isEmpty() && !path.contains(text_, Qt::CaseInsensitive)) continue;
    rows_.push_back(static_cast<std::uint32_t>(i));
  }
  if (sort_column_ >= 0) {
    std::stable_sort(rows_.begin(), rows_.end(), [this](std::uint32_t a, std::uint32_t b) {
      return order_ == Qt::AscendingOrder ? Before(a, b) : Before(b, a);
    });
  }
  endResetModel();
}

}  // namespace kavrel
