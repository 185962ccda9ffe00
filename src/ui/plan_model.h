// The steps of a plan as a table: searched, filtered by what would be done, sorted. A hundred
// thousand of them must not hold the window up, so rows are numbers of steps and nothing is kept
// as text.
#pragma once

#include <QAbstractTableModel>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/run_plan.h"

namespace kavrel {

class PlanModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { ActionColumn, PathColumn, SizeColumn, ReasonColumn, ColumnCount };

  using QAbstractTableModel::QAbstractTableModel;

  /// The plan outlives the model, or is replaced by another.
  void SetPlan(const RunPlan& plan);
  /// Shows the steps of this action, or of all, whose path holds the text.
  void Filter(std::optional<PlanAction> action, const QString& text);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  void sort(int column, Qt::SortOrder order) override;

 private:
  void Arrange();
  const PlanStep& StepAt(int row) const;
  bool Before(std::uint32_t a, std::uint32_t b) const;

  const RunPlan* plan_ = nullptr;
  std::optional<PlanAction> action_;
  QString text_;
  int sort_column_ = -1;
  Qt::SortOrder order_ = Qt::AscendingOrder;
  std::vector<std::uint32_t> rows_;  ///< numbers of the steps shown
};

}  // namespace kavrel
