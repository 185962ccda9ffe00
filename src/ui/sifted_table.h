// A table of many entries that are searched, chosen from and sorted, and the fields above it.
#pragma once

#include <QAbstractTableModel>
#include <QTimer>
#include <QWidget>
#include <cstdint>
#include <optional>
#include <vector>

class QComboBox;
class QLineEdit;
class QTableView;

namespace kavrel {

/// Rows are numbers of entries, and nothing is kept as text: there may be a hundred thousand of
/// them.
class SiftedModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  explicit SiftedModel(int columns) : columns_(columns) {}

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  void sort(int column, Qt::SortOrder order) override;

 protected:
  virtual std::size_t Count() const = 0;
  /// Whether an entry is shown.
  virtual bool Takes(std::size_t entry) const = 0;
  /// Whether one comes before another in that column.
  virtual bool Before(std::size_t one, std::size_t other, int column) const = 0;
  /// Where the entries, or what Takes goes by, have changed.
  void Arrange();
  /// The entry of an index that has a row.
  std::size_t EntryAt(const QModelIndex& index) const {
    return rows_[static_cast<std::size_t>(index.row())];
  }

 private:
  const int columns_;
  int sort_column_ = -1;
  Qt::SortOrder order_ = Qt::AscendingOrder;
  std::vector<std::uint32_t> rows_;
};

/// Its view, in no order yet. The column takes what width the others leave.
QTableView* MakeSiftedTable(const char* name, SiftedModel& model, const QString& accessible_name,
                            int stretched_column);

/// A text to search for, and a choice of kinds: all, to which others are added.
class SiftRow : public QWidget {
  Q_OBJECT

 public:
  SiftRow(const char* choice_name, const QString& choice_label);

  void AddChoice(const QString& text, int value);
  QString Text() const;
  /// Nothing for all.
  template <class Kind>
  std::optional<Kind> Choice() const {
    const std::optional<int> value = ChoiceValue();
    return value ? std::optional(static_cast<Kind>(*value)) : std::nullopt;
  }

 Q_SIGNALS:
  /// Of a text once the user pauses.
  void Changed();

 private:
  std::optional<int> ChoiceValue() const;

  QLineEdit* txtSearch_;
  QComboBox* cboChoice_;
  QTimer timer_;
};

}  // namespace kavrel
