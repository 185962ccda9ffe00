// Where the shares of the network are mounted on this machine.
#include <mntent.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/text.h"
#include "platform/posix/native.h"

namespace kavrel::posix {

namespace {

bool SameName(std::string_view a, std::string_view b) {
  return EqualNoCase(FromUtf8(a), FromUtf8(b));
}

bool IsFolder(const std::string& path) {
  struct stat found;
  return stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

/// True for "//server/share" (cifs) and "server:/share" (nfs).
bool NamesShare(std::string_view source, std::string_view server, std::string_view share) {
  if (source.starts_with("//")) {
    source.remove_prefix(2);
    const std::size_t slash = source.find('/');
    return slash != source.npos && SameName(source.substr(0, slash), server) &&
           SameName(source.substr(slash + 1), share);
  }
  const std::size_t colon = source.find(":/");
  return colon != source.npos && SameName(source.substr(0, colon), server) &&
         SameName(source.substr(colon + 2), share);
}

}  // namespace

std::string FindShare(const std::string& drives_folder, std::string_view server,
                      std::string_view share) {
  const std::string exact =
      drives_folder + "/unc/" + std::string(server) + "/" + std::string(share);
  if (IsFolder(exact)) return exact;
  const std::string lower = drives_folder + "/unc/" + ToUtf8(ToLower(FromUtf8(server))) + "/" +
                            ToUtf8(ToLower(FromUtf8(share)));
  if (IsFolder(lower)) return lower;

  std::string found;
  if (FILE* table = setmntent("/proc/self/mounts", "r")) {
    while (const mntent* mount = getmntent(table)) {
      if (NamesShare(mount->mnt_fsname, server, share)) found = mount->mnt_dir;
    }
    endmntent(table);
  }
  if (!found.empty()) return found;

  const std::string desktop = "/run/user/" + std::to_string(geteuid()) +
                              "/gvfs/smb-share:server=" + ToUtf8(ToLower(FromUtf8(server))) +
                              ",share=" + ToUtf8(ToLower(FromUtf8(share)));
  return IsFolder(desktop) ? desktop : std::string();
}

}  // namespace kavrel::posix
