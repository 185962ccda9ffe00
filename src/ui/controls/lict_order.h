// The order in which a list shows its rows.
#pragma once

#include <QCollator>
#include <QSortFilterProxyModel>

namespace kavrel {

/// Sorts what is shown and leaves the rows' own numbers alone: a row is the same row however the
/// list is sorted. Sort keys compare as numbers, texts as a reader of Chinese expects, with runs of
/// digits by their value.
class LictOrder : public QSortFilterProxyModel {
  Q_OBJECT

 public:
  explicit LictOrder(QObject* parent = nullptr);

  /// Goes through up, down and unsorted with each call for the same column.
  void SortNext(int column);
  /// Shows only rows that hold the text in one of these columns; all with an empty text.
  void Search(const QString& text, const QList<int>& columns);
  bool Searches() const { return !search_.isEmpty(); }

 protected:
  bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;
  bool filterAcceptsRow(int row, const QModelIndex& parent) const override;

 private:
  QCollator collator_;
  QString search_;
  QList<int> search_columns_;
};

}  // namespace kavrel
