#include "ui/plan_model.h"

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

QVariant PlanModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const PlanStep& step = plan_->Steps[EntryAt(index)];
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

bool PlanModel::Before(std::size_t one_at, std::size_t other_at, int column) const {
  const PlanStep &one = plan_->Steps[one_at], &other = plan_->Steps[other_at];
  switch (column) {
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

bool PlanModel::Takes(std::size_t entry) const {
  const PlanStep& step = plan_->Steps[entry];
  if (action_ && step.Action != *action_) return false;
  return text_.isEmpty() || QStringView(step.Path).contains(text_, Qt::CaseInsensitive);
}

}  // namespace kavrel
