// A mapping is a folder or a junction in the program folder: drives\c for "C:",
// drives\unc\server\share for a share. What is not mapped is the system's own.
#include "platform/drives.h"

#include <algorithm>

#include "base/text.h"
#include "platform/win32/native.h"

namespace kavrel {

namespace {

/// The folder and the name of the drive's link; the name is empty for what is neither drive nor
/// share.
struct LinkPlace {
  std::u16string Folder, Name;
};

LinkPlace PlaceOf(const FileSystem& files, std::u16string_view drive) {
  const std::u16string drives = files.ProgramFolder() + u"\\drives";
  if (drive.size() == 2 && drive[1] == u':') {
    const char16_t letter = ToLower(drive[0]);
    if (letter < u'a' || letter > u'z') return {};
    return {drives, std::u16string(1, letter)};
  }
  if (!drive.starts_with(u"\\\\")) return {};
  const std::vector<std::u16string_view> names = Split(drive.substr(2), u'\\');
  if (names.size() != 2 || !win32::IsName(names[0]) || !win32::IsName(names[1])) return {};
  return {drives + u"\\unc\\" + std::u16string(names[0]), std::u16string(names[1])};
}

/// The names in a folder that are folders or links, in order.
std::vector<std::u16string> NamesIn(const FileSystem& files, const std::u16string& path) {
  std::vector<std::u16string> names;
  const Result<Folder> folder = files.OpenFolder(path);
  if (!folder) return names;
  FolderReader reader(*folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (entry->Kind != FileKind::File) names.push_back(entry->Name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

bool SystemHasDrives() {
  return true;
}

std::vector<std::u16string> MappedDrives(const FileSystem& files) {
  std::vector<std::u16string> mapped;
  const std::u16string drives = files.ProgramFolder() + u"\\drives";
  for (const std::u16string& name : NamesIn(files, drives)) {
    const char16_t letter = ToLower(name[0]);
    if (name.size() != 1 || letter < u'a' || letter > u'z') continue;
    mapped.push_back({static_cast<char16_t>(letter - u'a' + u'A'), u':'});
  }
  for (const std::u16string& server : NamesIn(files, drives + u"\\unc")) {
    for (const std::u16string& share : NamesIn(files, drives + u"\\unc\\" + server)) {
      mapped.push_back(u"\\\\" + server + u"\\" + share);
    }
  }
  return mapped;
}

std::u16string DriveFolder(const FileSystem& files, std::u16string_view drive) {
  const LinkPlace place = PlaceOf(files, drive);
  if (place.Name.empty()) return {};
  std::u16string target;
  if (const Result<Folder> folder = files.OpenFolder(place.Folder)) {
    target = folder->ReadLink(place.Name).Value;
  }
  if (target.starts_with(u"\\??\\")) target.erase(0, 4);
  // A folder of its own in the link's place, or the system's own drive or share.
  const std::u16string root = std::u16string(drive) + u"\\";
  if (target.empty() && files.FolderExists(root)) {
    target = FromUtf8(files.HostPath(root).value_or(std::string()));
  }
  while (target.size() > 3 && target.ends_with(u'\\')) target.pop_back();
  return target;
}

ErrorCode MapDrive(const FileSystem& files, std::u16string_view drive, std::u16string_view folder) {
  const LinkPlace place = PlaceOf(files, drive);
  if (place.Name.empty() || !win32::KernelPath(folder)) return kErrInvalid;
  const Result<Folder> above = files.MakeFolders(place.Folder);
  if (!above) return above.Error;
  if (const Result<FileStatus> old = above->Status(place.Name)) {
    const ErrorCode error = old->Kind == FileKind::Folder ? above->RemoveFolder(place.Name)
                                                          : above->RemoveFile(place.Name);
    if (error) return old->Kind == FileKind::Folder ? kErrExists : error;
  }
  // A junction needs no right; it leads to disks of this machine only.
  return above->MakeLink(place.Name, *win32::KernelPath(folder));
}

ErrorCode UnmapDrive(const FileSystem& files, std::u16string_view drive) {
  const LinkPlace place = PlaceOf(files, drive);
  if (place.Name.empty()) return kErrInvalid;
  const Result<Folder> above = files.OpenFolder(place.Folder);
  if (!above) return IsNotFound(above.Error) ? kErrNotFound : above.Error;
  const Result<FileStatus> link = above->Status(place.Name);
  if (!link) return IsNotFound(link.Error) ? kErrNotFound : link.Error;
  return link->Kind == FileKind::Folder ? above->RemoveFolder(place.Name)
                                        : above->RemoveFile(place.Name);
}

}  // namespace kavrel
