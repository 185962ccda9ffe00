// What lies in a backup, folder by folder, for a user who wants some of it back.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "archive/seven_zip.h"
#include "files/path_set.h"
#include "platform/files.h"

namespace kavrel {

struct BackupItem {
  std::u16string Name;
  bool IsFolder = false;
  bool Looked = false;  ///< size and time are known
  std::uint64_t Size = 0;
  FileTime Written;
};

/// Paths are relative, as in a PathSet.
class BackupBrowser {
 public:
  virtual ~BackupBrowser() = default;
  /// What is in the folder, folders first, each kind in the order of the names.
  virtual std::vector<BackupItem> List(std::u16string_view folder) const = 0;
  /// Fills in size and time of an item of that folder.
  virtual void Look(std::u16string_view folder, BackupItem& item) const = 0;
};

/// Over a plain backup; `files` outlives it. Null when the folder cannot be opened.
std::unique_ptr<BackupBrowser> BrowseFolder(const FileSystem& files, std::u16string_view root);
/// Over an archive's entries.
std::unique_ptr<BackupBrowser> BrowseArchive(const SevenZipLibrary::Archive& archive);
/// Over a state (engine/states.h), whichever it is; null when it cannot be opened.
std::unique_ptr<BackupBrowser> BrowseUnit(const FileSystem& files, const SevenZipLibrary& archiver,
                                          std::u16string_view unit,
                                          ArchiveMonitor* monitor = nullptr);

/// Looks for names that hold a text, without regard to letter case, a little at a time.
class BackupSearch {
 public:
  struct Hit {
    std::u16string Folder;
    BackupItem Item;
  };
  /// The browser outlives the search.
  BackupSearch(const BackupBrowser& browser, std::u16string_view text);

  /// Goes on for at least one folder and about so many milliseconds. False once all is searched,
  /// or kMost is reached.
  bool Advance(int milliseconds);
  const std::vector<Hit>& Hits() const { return hits_; }
  static constexpr std::size_t kMost = 5000;

 private:
  const BackupBrowser& browser_;
  const std::u16string text_;
  std::vector<std::u16string> folders_{u""};  ///< still to be looked into, the next one last
  std::vector<Hit> hits_;
};

enum class PickState { No, Some, Yes };

PickState PickStateOf(const PathSet& picked, std::u16string_view path);
/// Picks the file or folder, or takes it out. What else lies in a picked folder stays picked, which
/// is why the browser is asked for it.
void SetPicked(PathSet& picked, std::u16string_view path, bool on, const BackupBrowser& browser);

}  // namespace kavrel
