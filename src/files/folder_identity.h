// Which folder it is, whatever path leads to it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace kavrel {

struct FolderIdentity {
  std::uint64_t Device = 0, Id = 0;
  bool Known = false;

  bool Is(const FileStatus& status) const {
    return Known && status.Device == Device && status.Id == Id;
  }
};

/// The status of a folder, or of an entry in it, that may have failed to open: then that error.
inline Result<FileStatus> StatusOf(const Result<Folder>& folder) {
  return folder ? folder->Status() : Result<FileStatus>::Fail(folder.Error);
}
inline Result<FileStatus> StatusIn(const Result<Folder>& folder, std::u16string_view name) {
  return folder ? folder->Status(name) : Result<FileStatus>::Fail(folder.Error);
}

/// Known unless the folder cannot be looked at.
FolderIdentity IdentityOf(const Folder& folder);

/// Whether the folder is one of those.
bool IsAmong(const std::vector<FileStatus>& folders, const FileStatus& folder);

/// The host's own path of a folder: without links, as far as it exists. Empty for a path that is
/// none of this host.
std::u16string RealPlace(const FileSystem& files, std::u16string_view path);

}  // namespace kavrel
