// The steps of a plan as a table, filtered by what would be done.
#pragma once

#include <optional>

#include "core/run_plan.h"
#include "ui/sifted_table.h"

namespace kavrel {

class PlanModel : public SiftedModel {
  Q_OBJECT

 public:
  enum Column { ActionColumn, PathColumn, SizeColumn, ReasonColumn, ColumnCount };

  PlanModel() : SiftedModel(ColumnCount) {}

  /// The plan outlives the model, or is replaced by another.
  void SetPlan(const RunPlan& plan);
  /// Shows the steps of this action, or of all, whose path holds the text.
  void Filter(std::optional<PlanAction> action, const QString& text);

  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 protected:
  std::size_t Count() const override { return plan_ ? plan_->Steps.size() : 0; }
  bool Takes(std::size_t entry) const override;
  bool Before(std::size_t one, std::size_t other, int column) const override;

 private:
  const RunPlan* plan_ = nullptr;
  std::optional<PlanAction> action_;
  QString text_;
};

}  // namespace kavrel
