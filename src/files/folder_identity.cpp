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
  std::vector<std::u16string_view> missing;  // the innermost first
  std::size_t back = 0;
  for (; !path.empty(); path = PathFolder(path)) {
    std::u16string real = files.RealPath(path);
    if (!real.empty()) {
      for (; !missing.empty(); missing.pop_back()) real = JoinPath(real, missing.back());
      return real;
    }
    const std::u16string_view name = PathName(DropBackslash(path));
    // Of what is not there, only the names lead back.
    if (name == u"..") {
      ++back;
    } else if (name != u"." && !name.empty()) {
      if (back == 0) missing.push_back(name);
      if (back > 0) --back;
    }
  }
  return {};
}

}  // namespace kavrel
