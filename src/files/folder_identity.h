// Which folder it is, whatever path leads to it.
#pragma once

#include <cstdint>
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

/// Known unless the folder cannot be looked at.
FolderIdentity IdentityOf(const Folder& folder);

/// Whether the folder is one of those.
bool IsAmong(const std::vector<FileStatus>& folders, const FileStatus& folder);

}  // namespace kavrel
