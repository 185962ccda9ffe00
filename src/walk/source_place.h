// Where the source of a run is seen. Programs and servers show folders under other paths and with
// other numbers: what lies in the destination may be the source itself all the same.
#pragma once

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "files/folder_identity.h"
#include "files/temp_names.h"
#include "platform/files.h"

namespace kavrel {

/// Asked about folders of a destination before anything is changed in them. Several threads may ask
/// where there are no names.
class SourcePlace {
 public:
  /// `root` is the source's, open at `path`, and outlives this; `dest` is the destination, or a
  /// part of it. With `names` a file that is made for a moment in a folder, and looked for in the
  /// source, tells for sure; without them nothing is written, and what the entries look like has to
  /// do. Nothing is looked at before there is something to tell apart.
  SourcePlace(const FileSystem& files, std::u16string_view path, const Folder& root,
              const Folder& dest, TempNames* names = nullptr);

  /// Whether the folder is the source's root, or a part of what the root shows.
  bool Is(const Folder& folder) const;
  /// Whether it is that, or the source lies in it.
  bool IsIn(const Folder& folder) const;

 private:
  /// A folder above the source's root, and which of its entries leads there.
  struct Above {
    Folder Opened;
    std::u16string Name;
  };
  /// What is looked for in the folders that are asked about.
  struct Signs {
    std::vector<FolderEntry> Samples;  ///< entries of the root
    std::vector<Above> Folders;
  };
  const Signs& Look() const;
  bool MayBeSeen(const Folder& folder) const;
  bool MayShow(const Folder& folder) const;
  bool Tell(const Folder& folder, const std::vector<const Folder*>& others) const;

  const FileSystem& files_;
  const std::u16string path_;
  const Folder& root_;
  TempNames* const names_;
  const bool source_relayed_, dest_relayed_;
  const FolderIdentity dest_;
  mutable std::once_flag looked_;
  mutable Signs signs_;
};

}  // namespace kavrel
