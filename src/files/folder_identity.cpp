#include "files/folder_identity.h"

#include <algorithm>

#include "files/path.h"

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

std::u16string RealPlace(const FileSystem& files, std::u16string_view path) {
  std::u16string rest;
  for (; !path.empty(); path = PathFolder(path)) {
    std::u16string real = files.RealPath(path);
    if (!real.empty()) return real == u"/" && !rest.empty() ? rest : real + rest;
    rest.insert(0, u"/" + std::u16string(PathName(DropBackslash(path))));
  }
  return {};
}

}  // namespace kavrel
