#include "app/backup_browser.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <tuple>

#include "base/text.h"
#include "files/open_along.h"
#include "files/owner_mark.h"
#include "files/path.h"

namespace kavrel {

namespace {

void Sort(std::vector<BackupItem>& items) {
  std::sort(items.begin(), items.end(), [](const BackupItem& a, const BackupItem& b) {
    return std::tie(b.IsFolder, a.Name) < std::tie(a.IsFolder, b.Name);
  });
}

class FolderBrowser final : public BackupBrowser {
 public:
  FolderBrowser(const FileSystem& files, std::u16string_view root) : files_(files), root_(root) {}

  std::vector<BackupItem> List(std::u16string_view folder) const override {
    std::vector<BackupItem> items;
    const Result<Folder> opened = Open(folder);
    if (!opened) return items;
    FolderReader reader(*opened);
    while (const FolderEntry* entry = reader.Next()) {
      if (entry->Kind == FileKind::Special) continue;
      if (folder.empty() && IsBackupsOwn(entry->Name)) continue;
      BackupItem& item = items.emplace_back();
      item.Name = entry->Name;
      item.IsFolder = entry->Kind == FileKind::Folder;
    }
    Sort(items);
    return items;
  }

  void Look(std::u16string_view folder, BackupItem& item) const override {
    if (std::exchange(item.Looked, true)) return;
    const Result<Folder> opened = Open(folder);
    if (!opened) return;
    if (const Result<FileStatus> status = opened->Status(item.Name)) {
      item.Size = status->Size;
      item.Written = status->Written;
    }
  }

 private:
  /// Follows no link below the root.
  Result<Folder> Open(std::u16string_view path) const {
    return OpenBelow(files_.OpenFolder(root_), path);
  }

  const FileSystem& files_;
  const std::u16string root_;
};

class ArchiveBrowser final : public BackupBrowser {
 public:
  explicit ArchiveBrowser(const SevenZipLibrary::Archive& archive) {
    for (const IndividualInfo& entry : archive.Entries) {
      const std::u16string& path = entry.FileName;
      if (path.empty()) continue;
      MakeFolders(RelativeFolder(path));
      BackupItem& item =
          folders_[std::u16string(RelativeFolder(path))][std::u16string(RelativeName(path))];
      item.Name = RelativeName(path);
      item.IsFolder = entry.IsFolder;
      item.Looked = true;
      item.Size = entry.OriginalSize;
      item.Written = entry.Modified;
    }
  }

  std::vector<BackupItem> List(std::u16string_view folder) const override {
    std::vector<BackupItem> items;
    const auto found = folders_.find(folder);
    if (found == folders_.end()) return items;
    for (const auto& [name, item] : found->second) items.push_back(item);
    Sort(items);
    return items;
  }
  void Look(std::u16string_view, BackupItem&) const override {}

 private:
  /// An archive of files names its folders only in their paths.
  void MakeFolders(std::u16string_view folder) {
    if (folder.empty() || folders_.contains(folder)) return;
    folders_[std::u16string(folder)];
    MakeFolders(RelativeFolder(folder));
    BackupItem& item =
        folders_[std::u16string(RelativeFolder(folder))][std::u16string(RelativeName(folder))];
    item.Name = RelativeName(folder);
    item.IsFolder = item.Looked = true;
  }

  std::map<std::u16string, std::map<std::u16string, BackupItem>, std::less<>> folders_;
};

}  // namespace

std::unique_ptr<BackupBrowser> BrowseFolder(const FileSystem& files, std::u16string_view root) {
  if (!files.FolderExists(root)) return nullptr;
  return std::make_unique<FolderBrowser>(files, root);
}

std::unique_ptr<BackupBrowser> BrowseArchive(const SevenZipLibrary::Archive& archive) {
  return std::make_unique<ArchiveBrowser>(archive);
}

std::unique_ptr<BackupBrowser> BrowseUnit(const FileSystem& files, const SevenZipLibrary& archiver,
                                          std::u16string_view unit, ArchiveMonitor* monitor) {
  if (EndsWithSeparator(unit)) return BrowseFolder(files, unit);
  const auto archive = archiver.SevenZipOpenArchive(unit, monitor);
  return archive ? BrowseArchive(*archive) : nullptr;
}

BackupSearch::BackupSearch(const BackupBrowser& browser, std::u16string_view text)
    : browser_(browser), text_(ToLower(text)) {}

bool BackupSearch::Advance(int milliseconds) {
  using std::chrono::steady_clock;
  const steady_clock::time_point end =
      steady_clock::now() + std::chrono::milliseconds(milliseconds);
  do {
    if (folders_.empty() || hits_.size() >= kMost) return false;
    const std::u16string folder = std::move(folders_.back());
    folders_.pop_back();
    const std::vector<BackupItem> items = browser_.List(folder);
    for (const BackupItem& item : items) {
      if (ToLower(item.Name).find(text_) == std::u16string::npos) continue;
      if (hits_.size() < kMost) hits_.push_back({folder, item});
    }
    for (auto item = items.rbegin(); item != items.rend(); ++item) {
      if (item->IsFolder) folders_.push_back(RelativePath(folder, item->Name));
    }
  } while (steady_clock::now() < end);
  return !folders_.empty() && hits_.size() < kMost;
}

PickState PickStateOf(const PathSet& picked, std::u16string_view path) {
  if (picked.Holds(path)) return PickState::Yes;
  return picked.LeadsTo(path) ? PickState::Some : PickState::No;
}

void SetPicked(PathSet& picked, std::u16string_view path, bool on, const BackupBrowser& browser) {
  picked.RemoveBelow(path);
  if (on) {
    if (!picked.Holds(path)) picked.Add(path);
    return;
  }
  const std::u16string* holder = picked.HolderOf(path);
  if (!holder) return;
  // The picked folder gives way to all that is in it but what lies on the way to the path.
  const std::u16string top = *holder;
  picked.Remove(top);
  for (std::u16string way(path); way != top; way = std::u16string(RelativeFolder(way))) {
    const std::u16string folder(RelativeFolder(way));
    for (const BackupItem& item : browser.List(folder)) {
      const std::u16string sibling = RelativePath(folder, item.Name);
      if (sibling != way) picked.Add(sibling);
    }
  }
}

}  // namespace kavrel
