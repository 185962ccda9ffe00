#include "files/folder_identity.h"

#include <algorithm>

namespace kavrel {

FolderIdentity IdentityOf(const Folder& folder) {
  const Result<FileStatus> status = folder.Status();
  return status ? FolderIdentity{status->Device, status->Id, true} : FolderIdentity();
}

bool IsAmong(const std::vector<FileStatus>& folders, const FileStatus& folder) {
  return std::any_of(folders.begin(), folders.end(), [&](const FileStatus& one) {
    return one.Device == folder.Device && one.Id == folder.Id;
  });
}

}  // namespace kavrel
