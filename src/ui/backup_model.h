// A backup as a tree with check boxes, or what a search found in it as a list. A folder is read
// when it is opened.
#pragma once

#include <QAbstractItemModel>
#include <QIcon>
#include <memory>
#include <vector>

#include "app/backup_browser.h"

namespace kavrel {

class BackupModel : public QAbstractItemModel {
  Q_OBJECT

 public:
  enum Column { kName, kFolder, kSize, kWritten, kColumns };

  /// Both outlive the model. Changes of `picked` go through the model, or are told by ShowPicks.
  BackupModel(const BackupBrowser& browser, PathSet& picked, QObject* parent);
  ~BackupModel() override;

  /// The whole backup.
  void ShowTree();
  /// What a search has found so far, in place of the tree.
  void ShowHits(const std::vector<BackupSearch::Hit>& hits);
  void ShowPicks();
  bool IsTree() const { return tree_; }
  /// The path of a file in the backup; empty for a folder, or for nothing.
  std::u16string FileAt(const QModelIndex& index) const;

  QModelIndex index(int row, int column, const QModelIndex& parent) const override;
  QModelIndex parent(const QModelIndex& child) const override;
  int rowCount(const QModelIndex& parent) const override;
  int columnCount(const QModelIndex&) const override { return kColumns; }
  bool hasChildren(const QModelIndex& parent) const override;
  bool canFetchMore(const QModelIndex& parent) const override;
  void fetchMore(const QModelIndex& parent) override;
  QVariant data(const QModelIndex& index, int role) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

 Q_SIGNALS:
  void PicksChanged();

 private:
  struct Node;
  Node* NodeOf(const QModelIndex& index) const;
  void Fill(Node& node, std::vector<BackupItem> items) const;
  QVariant TextOf(Node& node, int column) const;

  const BackupBrowser& browser_;
  PathSet& picked_;
  const QIcon folder_icon_, file_icon_;
  std::unique_ptr<Node> root_;
  bool tree_ = true;
};

}  // namespace kavrel
