#include "ui/difference_model.h"

#include <algorithm>

#include "files/size_text.h"
#include "ui/qt_text.h"

namespace kavrel {

void DifferenceModel::SetDifferences(std::vector<StateDifference> differences) {
  beginResetModel();
  rows_.clear();
  differences_ = std::move(differences);
  endResetModel();
  Arrange();
}

void DifferenceModel::Filter(std::optional<StateChange> change, const QString& text) {
  change_ = change;
  text_ = text;
  Arrange();
}

int DifferenceModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int DifferenceModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(ColumnCount);
}

QVariant DifferenceModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const StateDifference& one = differences_[rows_[static_cast<std::size_t>(index.row())]];
  if (role == Qt::TextAlignmentRole && index.column() == SizeColumn) {
    return QVariant(Qt::AlignRight | Qt::AlignVCenter);
  }
  if (role == Qt::ToolTipRole) {
    if (index.column() == PathColumn) return ToQString(one.Path);
    if (index.column() == FromColumn) return ToQString(one.From);
  }
  if (role != Qt::DisplayRole) return {};
  switch (index.column()) {
    case ChangeColumn:
      return ShownText(StateChangeText(one.Change));
    case PathColumn:
      return ToQString(one.Path);
    case SizeColumn:
      return ShownText(FormatSize(one.Size, SizeMode::Scaled));
    default:
      return ToQString(one.From);
  }
}

QVariant DifferenceModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  static constexpr const char16_t* kCaptions[] = {TrLater(u"變更"), TrLater(u"檔案"),
                                                  TrLater(u"大小"), TrLater(u"原來的位置")};
  return TrText(kCaptions[section]);
}

void DifferenceModel::sort(int column, Qt::SortOrder order) {
  sort_column_ = column;
  order_ = order;
  Arrange();
}

bool DifferenceModel::Before(std::uint32_t a, std::uint32_t b) const {
  const StateDifference &one = differences_[a], &other = differences_[b];
  switch (sort_column_) {
    case ChangeColumn:
      return one.Change < other.Change;
    case PathColumn:
      return one.Path < other.Path;
    case SizeColumn:
      return one.Size < other.Size;
    default:
      return one.From < other.From;
  }
}

void DifferenceModel::Arrange() {
  beginResetModel();
  rows_.clear();
  for (std::size_t i = 0; i < differences_.size(); ++i) {
    const StateDifference& one = differences_[i];
    if (change_ && one.Change != *change_) continue;
    if (!text_.isEmpty() && !QStringView(one.Path).contains(text_, Qt::CaseInsensitive) &&
        !QStringView(one.From).contains(text_, Qt::CaseInsensitive)) {
      continue;
    }
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
