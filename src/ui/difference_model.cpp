#include "ui/difference_model.h"

#include "files/size_text.h"
#include "ui/qt_text.h"

namespace kavrel {

void DifferenceModel::SetDifferences(std::vector<StateDifference> differences) {
  differences_ = std::move(differences);
  Arrange();
}

void DifferenceModel::Filter(std::optional<StateChange> change, const QString& text) {
  change_ = change;
  text_ = text;
  Arrange();
}

QVariant DifferenceModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) return {};
  const StateDifference& one = differences_[EntryAt(index)];
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
  if (section == ChangeColumn) return ToQString(TrIn("column", u"變更"));
  static constexpr const char16_t* kCaptions[] = {u"", TrLater(u"檔案"), TrLater(u"大小"),
                                                  TrLater(u"原來的位置")};
  return TrText(kCaptions[section]);
}

bool DifferenceModel::Before(std::size_t one_at, std::size_t other_at, int column) const {
  const StateDifference &one = differences_[one_at], &other = differences_[other_at];
  switch (column) {
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

bool DifferenceModel::Takes(std::size_t entry) const {
  const StateDifference& one = differences_[entry];
  if (change_ && one.Change != *change_) return false;
  return text_.isEmpty() || QStringView(one.Path).contains(text_, Qt::CaseInsensitive) ||
         QStringView(one.From).contains(text_, Qt::CaseInsensitive);
}

}  // namespace kavrel
