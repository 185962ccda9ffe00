#include "ui/backup_model.h"

#include <QApplication>
#include <QStyle>

#include "base/date_time.h"
#include "files/size_text.h"
#include "ui/qt_text.h"

namespace kavrel {

struct BackupModel::Node {
  BackupItem Item;
  std::u16string Folder;  ///< that the item lies in
  Node* Parent = nullptr;
  int Row = 0;
  bool Read = false;
  std::vector<std::unique_ptr<Node>> Children;

  std::u16string Path() const { return RelativePath(Folder, Item.Name); }
};

BackupModel::BackupModel(const BackupBrowser& browser, PathSet& picked, QObject* parent)
    : QAbstractItemModel(parent),
      browser_(browser),
      picked_(picked),
      folder_icon_(QApplication::style()->standardIcon(QStyle::SP_DirIcon)),
      file_icon_(QApplication::style()->standardIcon(QStyle::SP_FileIcon)) {
  ShowTree();
}

BackupModel::~BackupModel() = default;

BackupModel::Node* BackupModel::NodeOf(const QModelIndex& index) const {
  return index.isValid() ? static_cast<Node*>(index.internalPointer()) : root_.get();
}

std::u16string BackupModel::FileAt(const QModelIndex& index) const {
  if (!index.isValid()) return {};
  const Node& node = *NodeOf(index);
  return node.Item.IsFolder ? std::u16string() : node.Path();
}

void BackupModel::Fill(Node& node, std::vector<BackupItem> items) const {
  const std::u16string folder = node.Parent ? node.Path() : std::u16string();
  for (BackupItem& item : items) {
    auto child = std::make_unique<Node>();
    child->Item = std::move(item);
    child->Folder = folder;
    child->Parent = &node;
    child->Row = static_cast<int>(node.Children.size());
    node.Children.push_back(std::move(child));
  }
  node.Read = true;
}

void BackupModel::ShowTree() {
  beginResetModel();
  tree_ = true;
  root_ = std::make_unique<Node>();
  root_->Item.IsFolder = true;
  Fill(*root_, browser_.List(u""));
  endResetModel();
}

void BackupModel::ShowHits(const std::vector<BackupSearch::Hit>& hits) {
  const bool more = !tree_ && !root_->Children.empty() && hits.size() >= root_->Children.size();
  if (!more) {
    beginResetModel();
    tree_ = false;
    root_ = std::make_unique<Node>();
    root_->Item.IsFolder = root_->Read = true;
    endResetModel();
  }
  const std::size_t first = root_->Children.size();
  if (hits.size() == first) return;
  beginInsertRows({}, static_cast<int>(first), static_cast<int>(hits.size()) - 1);
  for (std::size_t i = first; i < hits.size(); ++i) {
    auto child = std::make_unique<Node>();
    child->Item = hits[i].Item;
    child->Folder = hits[i].Folder;
    child->Parent = root_.get();
    child->Row = static_cast<int>(i);
    child->Read = true;
    root_->Children.push_back(std::move(child));
  }
  endInsertRows();
}

QModelIndex BackupModel::index(int row, int column, const QModelIndex& parent) const {
  const Node& node = *NodeOf(parent);
  if (row < 0 || row >= std::ssize(node.Children)) return {};
  return createIndex(row, column, node.Children[static_cast<std::size_t>(row)].get());
}

QModelIndex BackupModel::parent(const QModelIndex& child) const {
  if (!child.isValid()) return {};
  Node* parent = NodeOf(child)->Parent;
  return parent == root_.get() ? QModelIndex() : createIndex(parent->Row, 0, parent);
}

int BackupModel::rowCount(const QModelIndex& parent) const {
  return parent.column() > 0 ? 0 : static_cast<int>(NodeOf(parent)->Children.size());
}

bool BackupModel::hasChildren(const QModelIndex& parent) const {
  if (parent.column() > 0) return false;
  const Node& node = *NodeOf(parent);
  return node.Read ? !node.Children.empty() : node.Item.IsFolder;
}

bool BackupModel::canFetchMore(const QModelIndex& parent) const {
  const Node& node = *NodeOf(parent);
  return node.Item.IsFolder && !node.Read;
}

void BackupModel::fetchMore(const QModelIndex& parent) {
  Node& node = *NodeOf(parent);
  std::vector<BackupItem> items = browser_.List(node.Path());
  if (items.empty()) {
    node.Read = true;
    Q_EMIT dataChanged(parent, parent);
    return;
  }
  beginInsertRows(parent, 0, static_cast<int>(items.size()) - 1);
  Fill(node, std::move(items));
  endInsertRows();
}

QVariant BackupModel::TextOf(Node& node, int column) const {
  browser_.Look(node.Folder, node.Item);
  switch (column) {
    case kName:
      return ToQString(node.Item.Name);
    case kFolder:
      return ToQString(node.Folder);
    case kSize:
      return node.Item.IsFolder ? QString()
                                : ShownText(FormatSize(node.Item.Size, SizeMode::Scaled));
    default:
      return node.Item.Written.Seconds == 0 ? QString()
                                            : ShownText(DateTimeText(LocalTime(node.Item.Written)));
  }
}

QVariant BackupModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid()) return {};
  Node& node = *NodeOf(index);
  switch (role) {
    case Qt::DisplayRole:
      return TextOf(node, index.column());
    case Qt::ToolTipRole:
      return ToQString(node.Path());
    case Qt::TextAlignmentRole:
      return index.column() == kSize ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    case Qt::DecorationRole:
      if (index.column() != kName) return {};
      return node.Item.IsFolder ? folder_icon_ : file_icon_;
    case Qt::CheckStateRole:
      if (index.column() != kName) return {};
      switch (PickStateOf(picked_, node.Path())) {
        case PickState::Yes:
          return Qt::Checked;
        case PickState::Some:
          return Qt::PartiallyChecked;
        default:
          return Qt::Unchecked;
      }
    default:
      return {};
  }
}

bool BackupModel::setData(const QModelIndex& index, const QVariant& value, int role) {
  if (role != Qt::CheckStateRole || !index.isValid() || index.column() != kName) return false;
  SetPicked(picked_, NodeOf(index)->Path(), value.toInt() != Qt::Unchecked, browser_);
  ShowPicks();
  Q_EMIT PicksChanged();
  return true;
}

void BackupModel::ShowPicks() {
  // A pick may change the boxes of all folders above it and of everything below.
  Q_EMIT layoutChanged();
}

Qt::ItemFlags BackupModel::flags(const QModelIndex& index) const {
  const Qt::ItemFlags flags = QAbstractItemModel::flags(index);
  return index.column() == kName ? flags | Qt::ItemIsUserCheckable : flags;
}

QVariant BackupModel::headerData(int section, Qt::Orientation orientation, int role) const {
  static constexpr const char16_t* kCaptions[] = {TrLater(u"名稱"), TrLater(u"資料夾"),
                                                  TrLater(u"大小"), TrLater(u"修改日期")};
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section >= kColumns) return {};
  return TrText(kCaptions[section]);
}

}  // namespace kavrel
