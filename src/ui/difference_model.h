// What is different between two states as a table: searched, filtered by what became of a file,
// sorted. Rows are numbers of differences, and nothing is kept as text: there may be a hundred
// thousand of them.
#pragma once

#include <QAbstractTableModel>
#include <cstdint>
#include <optional>
#include <vector>

#include "app/state_files.h"

namespace kavrel {

class DifferenceModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column { ChangeColumn, PathColumn, SizeColumn, FromColumn, ColumnCount };

  using QAbstractTableModel::QAbstractTableModel;

  void SetDifferences(std::vector<StateDifference> differences);
  const std::vector<StateDifference>& Differences() const { return differences_; }
  /// Shows what has become of this, or everything, whose path or former path holds the text.
  void Filter(std::optional<StateChange> change, const QString& text);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  void sort(int column, Qt::SortOrder order) override;

 private:
  void Arrange();
  bool Before(std::uint32_t a, std::uint32_t b) const;

  std::vector<StateDifference> differences_;
  std::optional<StateChange> change_;
  QString text_;
  int sort_column_ = -1;
  Qt::SortOrder order_ = Qt::AscendingOrder;
  std::vector<std::uint32_t> rows_;  ///< numbers of the differences shown
};

}  // namespace kavrel
