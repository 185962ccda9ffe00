// The rows of a list, whichever view shows them.
#pragma once

#include <QAbstractTableModel>
#include <QIcon>
#include <QList>
#include <QString>
#include <QVariant>
#include <vector>

namespace kavrel {

/// Rows and columns are numbered as they were added. Row and column arguments out of range are
/// ignored, or read as empty.
class LictModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  /// What a cell is sorted by, where its text would not do.
  static constexpr int kSortRole = Qt::UserRole;

  struct Column {
    QString Text;
    int Width = 0;
    Qt::Alignment Alignment = Qt::AlignLeft;
  };

  using QAbstractTableModel::QAbstractTableModel;

  void InsertColumn(int column, const Column& content);
  const Column& ColumnAt(int column) const { return columns_[static_cast<std::size_t>(column)]; }
  void SetColumnWidth(int column, int width);
  void SetColumnText(int column, const QString& text);

  /// Gives the number that the new row got.
  int InsertRow(int row, const QString& text, int small_image, int large_image);
  void RemoveRow(int row);
  void Clear();
  QString Text(int row, int column) const;
  void SetText(int row, int column, const QString& text);
  void SetSortKey(int row, int column, const QVariant& key);
  void SetImages(int row, int small_image, int large_image);
  bool Checked(int row) const;
  /// A change by the program: CheckedByUser is not raised.
  void SetChecked(int row, bool checked);

  void SetCheckBoxes(bool on);
  bool CheckBoxes() const { return check_boxes_; }
  void SetImageList(bool large, const QList<QIcon>& images);
  /// Which of its two images a row shows.
  void UseLargeImages(bool large);

  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& parent = {}) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;

 Q_SIGNALS:
  void CheckedByUser(int row, bool checked);

 private:
  struct Cell {
    QString Text;
    QVariant SortKey;
  };
  struct Row {
    std::vector<Cell> Cells;
    int SmallImage = -1, LargeImage = -1;
    bool Checked = false;
  };

  bool Has(int row, int column = 0) const;
  const Row& At(int row) const { return rows_[static_cast<std::size_t>(row)]; }
  Row& At(int row) { return rows_[static_cast<std::size_t>(row)]; }
  void AllRowsChanged();
  void RowChanged(int row, int role);

  std::vector<Column> columns_;
  std::vector<Row> rows_;
  QList<QIcon> small_images_, large_images_;
  bool check_boxes_ = false, large_ = false;
};

}  // namespace kavrel
