// What a mirror leaves alone although the source has nothing of that name.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/folder_pair.h"
#include "files/twin_names.h"

namespace kavrel {

/// Asked about entries of one destination folder that are not in the source folder by their name.
class KeptEntries {
 public:
  /// Both folders outlive this.
  KeptEntries(const Folder& source, const Folder& dest, const NameManners& manners = {})
      : source_(source), dest_(dest), manners_(manners) {}

  /// True for what the system or the recycle bin keeps at the top of a disk, and for what some name
  /// of the source reaches all the same: the disk may fold letter case or write names in its own
  /// way. Looks at both folders when it has to.
  bool Keeps(const FolderEntry& entry);
  /// True when the destination finds one of its entries by the name in other letter case.
  bool FoldsCase(std::u16string_view name) { return manners_.FoldsCase(dest_, name); }
  /// What is known of the destination by now.
  const NameManners& Manners() const { return manners_; }

 private:
  /// A name of the source that the destination finds without listing it.
  struct Reached {
    std::u16string Name;
    FileStatus Status;
    bool Known = false;  ///< it is clear which entry it finds
  };
  bool IsReached(const FolderEntry& entry);
  void FindReached();
  static bool IsEntry(const Reached& name, std::u16string_view listed, const FileStatus& status);

  const Folder &source_, &dest_;
  NameManners manners_;
  std::optional<std::vector<Reached>> reached_;
};

}  // namespace kavrel
