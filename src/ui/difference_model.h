// What is different between two states as a table, filtered by what became of a file.
#pragma once

#include <optional>
#include <vector>

#include "app/state_files.h"
#include "ui/sifted_table.h"

namespace kavrel {

class DifferenceModel : public SiftedModel {
  Q_OBJECT

 public:
  enum Column { ChangeColumn, PathColumn, SizeColumn, FromColumn, ColumnCount };

  DifferenceModel() : SiftedModel(ColumnCount) {}

  void SetDifferences(std::vector<StateDifference> differences);
  const std::vector<StateDifference>& Differences() const { return differences_; }
  /// Shows what has become of this, or everything, whose path or former path holds the text.
  void Filter(std::optional<StateChange> change, const QString& text);

  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 protected:
  std::size_t Count() const override { return differences_.size(); }
  bool Takes(std::size_t entry) const override;
  bool Before(std::size_t one, std::size_t other, int column) const override;

 private:
  std::vector<StateDifference> differences_;
  std::optional<StateChange> change_;
  QString text_;
};

}  // namespace kavrel
