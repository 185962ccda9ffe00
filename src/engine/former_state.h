// The newest whole state of a job as a third side beside source and destination: what a run that
// makes a new state need not copy, because it lies there already (docs/decisions/linked-states.md).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "engine/folder_pair.h"
#include "engine/state_record.h"
#include "files/shared_content.h"
#include "platform/metadata.h"

namespace kavrel {

/// A copy in the former state.
struct FormerCopy {
  const Folder& Opened;
  std::u16string Name;
  FileStatus Status;
  std::u16string Path;  ///< below the state's root, with '/' between names
  /// Nothing has happened to the file of the source since; else whether it has the same content is
  /// known to who reads both alone.
  bool Proved = true;
};

/// The device of a source whose times are this machine's own, else 0.
inline std::uint64_t LocalDevice(const Folder& source) {
  const Result<FileStatus> status = source.Status();
  return status && source.OnLocalDisk() ? status->Device : 0;
}

/// How a file of the source and the entry of its name in the former state are to each other.
enum class FormerMatch {
  Same,       ///< that is its copy, and still the same
  Different,  ///< it is to be copied, whatever lies elsewhere
  Unsure,     ///< a closer look, at the record or at extended attributes, decides
};

class FormerState {
 public:
  /// `source`: the root of the run's source. Null where the state cannot be opened. `record`: null
  /// where there is none; one that does not know that root is none.
  static std::shared_ptr<FormerState> Open(const FileSystem& files, std::u16string_view path,
                                           const Folder& source, SharedContent::Ways ways,
                                           std::unique_ptr<StateRecord> record);

  /// Its folder.
  const Folder& Root() const { return root_; }
  /// How content is shared with it.
  SharedContent& Sharing() { return sharing_; }

  /// Opens what the pair's source folder became in it. For the run's own thread, like Find.
  void OpenFolder(const FolderPair* parent, std::u16string_view name, FolderPair& pair) const;
  /// By looks alone, any thread may ask. `former`: what bears the name in the pair's Former; null
  /// where nothing does.
  FormerMatch Compare(const FileStatus& source, const FileStatus* former) const;
  /// The copy of a file of the source that has its content, wherever it lies. Valid until the next
  /// call.
  std::optional<FormerCopy> Find(const FolderPair& pair, std::u16string_view name,
                                 const FileStatus& source);
  /// Whether its extended attributes are the same.
  bool SameAttributes(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                      const FormerCopy& copy) const;
  /// Whether the record tells of what is in this folder. Else names, sizes and times do, by which
  /// two files may seem to have one copy.
  bool KnowsEntries(const FolderPair& pair) const { return record_ && pair.FormerAt != kByName; }
  /// Whether permissions or owner differ; not RightsKnown: only trying shows what the disk holds.
  bool RightsDiffer(const FileStatus& source, const FileStatus& copy) const {
    return place_.Differs(source, copy);
  }
  bool RightsKnown() const { return place_.IsKnown(); }

 private:
  FormerState(Folder root, MetadataPlace place, SharedContent::Ways ways,
              std::unique_ptr<StateRecord> record, std::uint64_t local)
      : root_(std::move(root)),
        place_(std::move(place)),
        sharing_(ways),
        record_(std::move(record)),
        local_(local) {}
  /// FolderPair::FormerAt of a folder whose file system may number its entries anew at any time.
  static constexpr std::uint64_t kByName = ~std::uint64_t{0};
  bool IsByName(const FolderPair* parent, const FolderPair& pair) const;
  const Folder* OpenPlace(std::uint64_t folder);

  const Folder root_;
  const MetadataPlace place_;
  SharedContent sharing_;
  const std::unique_ptr<StateRecord> record_;
  const std::uint64_t local_;  ///< IsUntouchedSince
  /// The folder that was opened last for a file that had moved.
  Folder last_;
  std::u16string last_path_;
  std::uint64_t last_at_ = 0;
};

}  // namespace kavrel
