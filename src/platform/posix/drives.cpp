// A mapping is a link in the program folder's drives/: c for "C:", unc/server/share for a share.
#include "platform/drives.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "base/text.h"
#include "platform/posix/native.h"

namespace kavrel {

namespace {

namespace fs = std::filesystem;

fs::path DrivesFolder(const FileSystem& files) {
  return ToUtf8(files.ProgramFolder()) + "/drives";
}

fs::file_type KindOf(const fs::path& path) {
  std::error_code error;
  return fs::symlink_status(path, error).type();
}

/// Where the drive's link is, or would be; empty for what is neither drive nor share.
fs::path LinkOf(const FileSystem& files, std::u16string_view drive) {
  if (drive.size() == 2 && drive[1] == u':') {
    const char16_t letter = ToLower(drive[0]);
    if (letter < u'a' || letter > u'z') return {};
    return DrivesFolder(files) / std::string(1, static_cast<char>(letter));
  }
  if (!drive.starts_with(u"\\\\")) return {};
  const std::vector<std::u16string_view> names = Split(drive.substr(2), u'\\');
  if (names.size() != 2) return {};
  for (const std::u16string_view name : names) {
    if (posix::NativeName(name).empty()) return {};
  }
  const fs::path shares = DrivesFolder(files) / "unc";
  fs::path exact = shares / ToUtf8(names[0]) / ToUtf8(names[1]);
  if (KindOf(exact) != fs::file_type::not_found) return exact;
  return shares / ToUtf8(ToLower(names[0])) / ToUtf8(ToLower(names[1]));
}

/// The names in a folder that are folders or links, in order.
std::vector<std::string> NamesIn(const fs::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
    const fs::file_type kind = KindOf(at->path());
    if (kind == fs::file_type::directory || kind == fs::file_type::symlink) {
      names.push_back(at->path().filename());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

bool SystemHasDrives() {
  return false;
}

std::vector<std::u16string> MappedDrives(const FileSystem& files) {
  std::vector<std::u16string> drives;
  const fs::path folder = DrivesFolder(files);
  for (const std::string& name : NamesIn(folder)) {
    if (name.size() != 1 || name[0] < 'a' || name[0] > 'z') continue;
    drives.push_back({static_cast<char16_t>(name[0] - 'a' + 'A'), u':'});
  }
  for (const std::string& server : NamesIn(folder / "unc")) {
    for (const std::string& share : NamesIn(folder / "unc" / server)) {
      drives.push_back(u"\\\\" + FromUtf8(server) + u"\\" + FromUtf8(share));
    }
  }
  return drives;
}

std::u16string DriveFolder(const FileSystem& files, std::u16string_view drive) {
  const fs::path link = LinkOf(files, drive);
  if (link.empty()) return {};
  std::error_code error;
  const fs::path target = fs::read_symlink(link, error);
  if (!error) return FromUtf8((link.parent_path() / target).lexically_normal().string());
  // A folder of its own in the link's place, or a share that is mounted.
  const std::optional<std::string> host = files.HostPath(std::u16string(drive) + u"\\");
  if (!host || !fs::is_directory(*host, error)) return {};
  std::u16string folder = FromUtf8(*host);
  while (folder.size() > 1 && folder.ends_with(u'/')) folder.pop_back();
  return folder;
}

ErrorCode MapDrive(const FileSystem& files, std::u16string_view drive, std::u16string_view folder) {
  const fs::path link = LinkOf(files, drive);
  if (link.empty() || !folder.starts_with(u'/')) return EINVAL;
  std::error_code error;
  if (KindOf(link) == fs::file_type::directory && !fs::remove(link, error)) return EEXIST;
  fs::create_directories(link.parent_path(), error);
  if (error) return error.value();
  // Made beside and renamed, so that the drive leads somewhere at every moment.
  fs::path made = link;
  made += ".tmp";
  fs::remove(made, error);
  fs::create_symlink(ToUtf8(folder), made, error);
  if (!error) fs::rename(made, link, error);
  if (!error) return 0;
  const ErrorCode failure = error.value();
  fs::remove(made, error);
  return failure;
}

ErrorCode UnmapDrive(const FileSystem& files, std::u16string_view drive) {
  const fs::path link = LinkOf(files, drive);
  if (link.empty()) return EINVAL;
  std::error_code error;
  if (!fs::remove(link, error)) return error ? error.value() : ENOENT;
  if (drive.starts_with(u"\\\\")) {
    // The folders of a server without shares are of no use; those with some do not go.
    fs::remove(link.parent_path(), error);
    fs::remove(link.parent_path().parent_path(), error);
  }
  return 0;
}

}  // namespace kavrel
