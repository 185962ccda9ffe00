#include "ui/controls/lict_model.h"

#include <algorithm>

namespace kavrel {

void LictModel::InsertColumn(int column, const Column& content) {
  const int count = static_cast<int>(columns_.size());
  const int at = column < 0 || column > count ? count : column;
  beginInsertColumns({}, at, at);
  columns_.insert(columns_.begin() + at, content);
  for (Row& row : rows_) row.Cells.insert(row.Cells.begin() + at, Cell{});
  endInsertColumns();
}

void LictModel::SetColumnWidth(int column, int width) {
  if (column >= 0 && column < columnCount())
    columns_[static_cast<std::size_t>(column)].Width = width;
}

void LictModel::SetColumnText(int column, const QString& text) {
  columns_[static_cast<std::size_t>(column)].Text = text;
  Q_EMIT headerDataChanged(Qt::Horizontal, column, column);
}

int LictModel::InsertRow(int row, const QString& text, int small_image, int large_image) {
  const int at = row < 0 || row > rowCount() ? rowCount() : row;
  Row added{std::vector<Cell>(columns_.size()), small_image, large_image, false};
  if (!added.Cells.empty()) added.Cells.front().Text = text;
  beginInsertRows({}, at, at);
  rows_.insert(rows_.begin() + at, std::move(added));
  endInsertRows();
  return at;
}

void LictModel::RemoveRow(int row) {
  if (row < 0 || row >= rowCount()) return;
  beginRemoveRows({}, row, row);
  rows_.erase(rows_.begin() + row);
  endRemoveRows();
}

void LictModel::Clear() {
  if (rows_.empty()) return;
  beginRemoveRows({}, 0, rowCount() - 1);
  rows_.clear();
  endRemoveRows();
}

QString LictModel::Text(int row, int column) const {
  return Has(row, column) ? At(row).Cells[static_cast<std::size_t>(column)].Text : QString();
}

void LictModel::SetText(int row, int column, const QString& text) {
  if (!Has(row, column)) return;
  QString& cell = At(row).Cells[static_cast<std::size_t>(column)].Text;
  if (cell == text) return;
  cell = text;
  const QModelIndex changed = index(row, column);
  Q_EMIT dataChanged(changed, changed, {Qt::DisplayRole, kSortRole});
}

void LictModel::SetSortKey(int row, int column, const QVariant& key) {
  if (!Has(row, column)) return;
  At(row).Cells[static_cast<std::size_t>(column)].SortKey = key;
  const QModelIndex changed = index(row, column);
  Q_EMIT dataChanged(changed, changed, {kSortRole});
}

void LictModel::SetImages(int row, int small_image, int large_image) {
  if (!Has(row)) return;
  At(row).SmallImage = small_image;
  At(row).LargeImage = large_image;
  RowChanged(row, Qt::DecorationRole);
}

bool LictModel::Checked(int row) const {
  return Has(row) && At(row).Checked;
}

void LictModel::SetChecked(int row, bool checked) {
  if (!Has(row) || At(row).Checked == checked) return;
  At(row).Checked = checked;
  RowChanged(row, Qt::CheckStateRole);
}

void LictModel::SetCheckBoxes(bool on) {
  check_boxes_ = on;
  AllRowsChanged();
}

void LictModel::SetImageList(bool large, const QList<QIcon>& images) {
  (large ? large_images_ : small_images_) = images;
  AllRowsChanged();
}

void LictModel::UseLargeImages(bool large) {
  large_ = large;
  AllRowsChanged();
}

int LictModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int LictModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(columns_.size());
}

QVariant LictModel::data(const QModelIndex& index, int role) const {
  if (!Has(index.row(), index.column())) return {};
  const Row& row = At(index.row());
  const Cell& cell = row.Cells[static_cast<std::size_t>(index.column())];
  switch (role) {
    case Qt::DisplayRole:
      return cell.Text;
    case kSortRole:
      return cell.SortKey.isValid() ? cell.SortKey : QVariant(cell.Text);
    case Qt::TextAlignmentRole:
      // Icon views place the text themselves.
      return large_ ? QVariant() : QVariant(ColumnAt(index.column()).Alignment | Qt::AlignVCenter);
    case Qt::CheckStateRole:
      if (index.column() != 0 || !check_boxes_) return {};
      return static_cast<int>(row.Checked ? Qt::Checked : Qt::Unchecked);
    case Qt::DecorationRole:
      if (index.column() == 0) {
        const QIcon icon =
            large_ ? large_images_.value(row.LargeImage) : small_images_.value(row.SmallImage);
        if (!icon.isNull()) return icon;
      }
      return {};
    default:
      return {};
  }
}

bool LictModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (role != Qt::CheckStateRole || !check_boxes_ || !Has(index.row())) return false;
  const bool checked = value.toInt() == Qt::Checked;
  if (checked == At(index.row()).Checked) return true;
  SetChecked(index.row(), checked);
  Q_EMIT CheckedByUser(index.row(), checked);
  return true;
}

QVariant LictModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= columnCount()) return {};
  if (role == Qt::DisplayRole) return ColumnAt(section).Text;
  if (role == Qt::TextAlignmentRole)
    return QVariant(ColumnAt(section).Alignment | Qt::AlignVCenter);
  return {};
}

Qt::ItemFlags LictModel::flags(const QModelIndex& index) const {
  Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
  if (check_boxes_ && index.column() == 0) flags |= Qt::ItemIsUserCheckable;
  return flags;
}

bool LictModel::Has(int row, int column) const {
  return row >= 0 && row < rowCount() && column >= 0 && column < columnCount();
}

void LictModel::AllRowsChanged() {
  if (!rows_.empty() && !columns_.empty())
    Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, columnCount() - 1));
}

void LictModel::RowChanged(int row, int role) {
  const QModelIndex changed = index(row, 0);
  Q_EMIT dataChanged(changed, changed, {role});
}

}  // namespace kavrel
