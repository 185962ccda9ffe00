#include "platform/mounts.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <mntent.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <set>
#include <sstream>

#include "base/text.h"
#include "platform/posix/native.h"

namespace kavrel {

namespace {

constexpr std::string_view kSystemTypes[] = {
    "autofs", "binfmt_misc", "bpf",        "cgroup",     "cgroup2",   "configfs", "debugfs",
    "devpts", "devtmpfs",    "efivarfs",   "fusectl",    "hugetlbfs", "mqueue",   "nsfs",
    "proc",   "pstore",      "rpc_pipefs", "securityfs", "sysfs",     "tracefs",
};
/// In memory, or made by programs for themselves: no disks to the user.
constexpr std::string_view kBackgroundTypes[] = {
    "devtmpfs", "fuse.gvfsd-fuse", "fuse.portal", "fuse.snapfuse",
    "overlay",  "ramfs",           "squashfs",    "tmpfs",
};
constexpr std::string_view kNetworkTypes[] = {
    "9p",          "afs",        "ceph",  "cifs", "davfs", "fuse.davfs", "fuse.gvfsd-fuse",
    "fuse.rclone", "fuse.sshfs", "ncpfs", "nfs",  "nfs4",  "smb3",       "smbfs",
};
/// A container gets them mounted one by one, others each time that it is made.
constexpr std::u16string_view kContainerFiles[] = {u"/etc/hostname", u"/etc/hosts",
                                                   u"/etc/resolv.conf"};
constexpr std::u16string_view kBackgroundFolders[] = {u"/boot", u"/dev", u"/etc",     u"/proc",
                                                      u"/snap", u"/sys", u"/var/lib", u"/var/snap"};

template <std::size_t Size>
bool IsOneOf(std::string_view word, const std::string_view (&words)[Size]) {
  return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

bool IsBackground(std::u16string_view point) {
  if (IsAtOrBelow(point, u"/run") && !IsAtOrBelow(point, u"/run/media")) return true;
  return std::any_of(std::begin(kBackgroundFolders), std::end(kBackgroundFolders),
                     [&](std::u16string_view folder) { return IsAtOrBelow(point, folder); });
}

/// Whether somebody has to answer who may not: a server, or a program of this machine. What a
/// program does to a disk of its own (fuseblk) is a disk to all who use it.
bool MayKeepWaiting(std::string_view type) {
  return IsOneOf(type, kNetworkTypes) || type == "fuse" || type.starts_with("fuse.");
}

/// The first `count` components of an absolute path; empty when it has fewer.
std::u16string_view FirstComponents(std::u16string_view path, int count) {
  std::size_t at = 0;
  while (count-- > 0) {
    if (at + 1 >= path.size()) return {};
    at = std::min(path.find(u'/', at + 1), path.size());
  }
  return path.substr(0, at);
}

/// Where desktops and users mount disks that come and go: the path's place for one, or empty.
std::u16string_view RemovablePlace(std::u16string_view path) {
  if (IsAtOrBelow(path, u"/run/media")) return FirstComponents(path, 4);
  if (IsAtOrBelow(path, u"/media")) return FirstComponents(path, 3);
  if (IsAtOrBelow(path, u"/mnt")) return FirstComponents(path, 2);
  return {};
}

/// Calls `take` with each entry of a table of mounts.
template <class Take>
void ReadTable(const char* file, Take take) {
  FILE* table = setmntent(file, "r");
  if (!table) return;
  while (const mntent* mount = getmntent(table)) take(*mount);
  endmntent(table);
}

}  // namespace

/// What one line of mountinfo tells of a mount.
struct MountLine {
  int Id = 0, Parent = 0;
  bool First = false;  ///< what it was mounted on this process does not see
  std::u16string Point;
  std::u16string Root;  ///< the folder or file of the file system that is mounted there
  std::string Type, Source;
};

namespace {

MountLine ParseMountLine(const std::string& line) {
  std::istringstream fields(line);
  std::string skipped, root, point;
  MountLine mount;
  fields >> mount.Id >> mount.Parent >> skipped >> root >> point;
  while (fields >> skipped && skipped != "-") continue;
  mount.Point = UnescapeOctal(FromUtf8(point));
  mount.Root = UnescapeOctal(FromUtf8(root));
  fields >> mount.Type >> skipped;
  mount.Source = ToUtf8(UnescapeOctal(FromUtf8(skipped)));
  return mount;
}

/// The table as it is now.
std::vector<MountLine> ReadMounts() {
  std::vector<MountLine> table;
  std::set<int> ids;
  std::ifstream lines("/proc/self/mountinfo");
  for (std::string line; std::getline(lines, line);) {
    ids.insert(table.emplace_back(ParseMountLine(line)).Id);
  }
  for (MountLine& mount : table) {
    mount.First = mount.Parent == mount.Id || !ids.contains(mount.Parent);
  }
  return table;
}

/// The mount that a path leads to, as the system goes it, those of the system left out: what is
/// mounted over a folder hides what was mounted inside that before. Null when there is none.
const MountLine* MountOf(const std::vector<MountLine>& table, std::u16string_view path) {
  const MountLine *at = nullptr, *found = nullptr;
  for (std::size_t steps = 0; steps < table.size(); ++steps) {
    const MountLine* next = nullptr;
    for (const MountLine& line : table) {
      const bool follows = at ? line.Parent == at->Id && !line.First : line.First;
      if (!follows || !IsAtOrBelow(path, line.Point)) continue;
      if (!next || line.Point.size() <= next->Point.size()) next = &line;
    }
    if (!next) break;
    at = next;
    if (!IsOneOf(at->Type, kSystemTypes)) found = at;
  }
  return found;
}

/// The mark of a block device under which the system lists it; empty when it does not.
std::string ListedMark(const std::string& device) {
  constexpr const char* kFolder = "/dev/disk/by-uuid";
  struct stat wanted, found;
  if (stat(device.c_str(), &wanted) != 0 || !S_ISBLK(wanted.st_mode)) return {};
  std::string mark;
  DIR* const marks = opendir(kFolder);
  while (const dirent* entry = marks ? readdir(marks) : nullptr) {
    const std::string link = std::string(kFolder) + "/" + entry->d_name;
    if (stat(link.c_str(), &found) == 0 && S_ISBLK(found.st_mode) &&
        found.st_rdev == wanted.st_rdev) {
      mark = entry->d_name;
    }
  }
  if (marks) closedir(marks);
  return mark;
}

/// The mark that a file system tells itself, in the form of the list above; needed in containers,
/// which have no such list. Empty when another one is mounted there by now.
std::string ToldMark(const MountLine& mount) {
  struct Told {
    std::uint8_t Length;
    std::array<std::uint8_t, 16> Bytes;
  } told{};
  const std::string point = ToUtf8(mount.Point);
  const Result<FileStatus> found = posix::StatusAt(AT_FDCWD, point.c_str());
  // To open a device may do something.
  if (!found || (found->Kind != FileKind::Folder && found->Kind != FileKind::File)) return {};
  const posix::Handle opened(open(point.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  const Result<FileStatus> there =
      opened ? posix::StatusAt(opened.Get(), "") : Result<FileStatus>::Fail(errno);
  const auto request = _IOR(0x15, 0, Told);
  if (!there || there->Mount != static_cast<std::uint64_t>(mount.Id) ||
      ioctl(opened.Get(), request, &told) != 0 || told.Length != told.Bytes.size() ||
      told.Bytes == decltype(told.Bytes){}) {
    return {};
  }
  std::string mark;
  for (std::size_t i = 0; i < told.Bytes.size(); ++i) {
    constexpr char kDigits[] = "0123456789abcdef";
    if (i == 4 || i == 6 || i == 8 || i == 10) mark += '-';
    (mark += kDigits[told.Bytes[i] >> 4]) += kDigits[told.Bytes[i] & 15];
  }
  return mark;
}

}  // namespace

std::string posix::MountTypeOf(std::uint64_t mount) {
  for (MountLine& line : ReadMounts()) {
    if (static_cast<std::uint64_t>(line.Id) == mount) return std::move(line.Type);
  }
  return {};
}

void MountTable::Load() {
  points_.clear();
  systems_.clear();
  volumes_.clear();
  network_.clear();
  expected_.clear();
  lines_ = std::make_shared<const std::vector<MountLine>>(ReadMounts());
  const std::vector<MountLine>& table = *lines_;
  const auto is_folder = [](const std::u16string& point) {
    struct stat found;
    return stat(ToUtf8(point).c_str(), &found) != 0 || S_ISDIR(found.st_mode);
  };
  for (const MountLine& mount : table) {
    const std::u16string& point = mount.Point;
    if (point == u"/" || MountOf(table, point) != &mount) continue;
    if (MayKeepWaiting(mount.Type)) network_.push_back(point);
    points_.push_back(point);
    const bool made_by_programs = IsOneOf(mount.Type, kBackgroundTypes);
    const bool in_system = IsBackground(point);
    const bool may_be_file = in_system && !MayKeepWaiting(mount.Type);
    if (in_system && (made_by_programs || (may_be_file && !is_folder(point)))) {
      systems_.insert(point);
    }
    if (!made_by_programs && !in_system) volumes_.push_back(point);
  }
  ReadTable("/etc/fstab", [this](const mntent& mount) {
    const std::u16string point = FromUtf8(mount.mnt_dir);
    if (point.size() > 1 && point[0] == u'/') expected_.push_back(point);
  });
  std::erase_if(volumes_, [&](const auto& point) {
    return WaitingPoint(point).empty() && !is_folder(point);
  });
  std::sort(volumes_.begin(), volumes_.end());
  std::stable_sort(points_.begin(), points_.end(),
                   [](const auto& a, const auto& b) { return a.size() > b.size(); });
}

std::u16string MountTable::PointOf(std::u16string_view path) const {
  for (const std::u16string& point : points_) {
    if (IsAtOrBelow(path, point)) return point;
  }
  return {};
}

std::vector<std::u16string> MountTable::Volumes() const {
  return volumes_;
}

std::vector<std::u16string> MountTable::DisksBelow(std::u16string_view path) const {
  std::vector<std::u16string> below;
  for (auto found = points_.rbegin(); found != points_.rend(); ++found) {
    const std::u16string& point = *found;
    const bool inside = IsAtOrBelow(point, path) && point.size() > path.size();
    if (std::ranges::find(kContainerFiles, point) != std::end(kContainerFiles)) continue;
    if (inside && (!systems_.contains(point) || IsBackground(path))) below.push_back(point);
  }
  return below;
}

bool MountTable::OnNetwork(std::u16string_view path) const {
  const std::u16string point = PointOf(path);
  return std::find(network_.begin(), network_.end(), point) != network_.end();
}

std::u16string MountTable::WaitingPoint(std::u16string_view path) const {
  constexpr int kMostLinks = 40;
  std::u16string at, rest(path);
  for (int links = 0; !rest.empty();) {
    const std::size_t begin = std::min(rest.find_first_not_of(u'/'), rest.size());
    const std::size_t end = std::min(rest.find(u'/', begin), rest.size());
    const std::u16string part = rest.substr(begin, end - begin);
    rest.erase(0, end);
    if (part.empty() || part == u".") continue;
    if (part == u"..") {
      at.resize(std::min(at.rfind(u'/'), at.size()));
      continue;
    }
    (at += u'/') += part;
    // Looked at is only what lies on other file systems, so this returns.
    if (OnNetwork(at)) return PointOf(at);
    char target[PATH_MAX];
    const ssize_t length = readlink(ToUtf8(at).c_str(), target, sizeof target);
    if (length <= 0 || ++links > kMostLinks) continue;
    const std::u16string leads = FromUtf8({target, static_cast<std::size_t>(length)});
    if (leads.starts_with(u'/')) {
      at.clear();
    } else {
      at.resize(at.rfind(u'/'));
    }
    rest.insert(0, leads + u'/');
  }
  return {};
}

std::u16string MountTable::MissingPoint(std::u16string_view path) const {
  const std::u16string present = PointOf(path);
  std::u16string missing;
  for (const std::u16string& point : expected_) {
    if (IsAtOrBelow(path, point) && point.size() > std::max(present.size(), missing.size())) {
      missing = point;
    }
  }
  if (!missing.empty()) return missing;
  // A disk may be mounted right below /media as well as below a user's folder there.
  const std::u16string_view place = RemovablePlace(path);
  const std::size_t root = place.rfind(u'/');
  const bool mounted =
      !present.empty() && root != place.npos &&
      (present == place || IsAtOrBelow(present, place.substr(0, root)) ||
       (IsAtOrBelow(place, present) && !IsBackground(present) && present != u"/run"));
  return mounted ? std::u16string() : std::u16string(place);
}

std::u16string MountTable::MarkOf(std::u16string_view path) const {
  const auto table = lines_ ? lines_ : std::make_shared<const std::vector<MountLine>>(ReadMounts());
  const MountLine* mount = MountOf(*table, path);
  // What lies in memory bears a mark, too, but another one each time.
  if (!mount || !mount->Source.starts_with("/dev/")) return {};
  std::string mark = ListedMark(mount->Source);
  if (mark.empty()) mark = ToldMark(*mount);
  if (mark.empty()) return {};
  std::u16string inside = mount->Root;
  if (inside == u"/") inside.clear();
  std::u16string_view below = path.substr(mount->Point == u"/" ? 0 : mount->Point.size());
  while (below.ends_with(u'/')) below.remove_suffix(1);
  inside += below;
  return FromUtf8(mark) + u":" + (inside.empty() ? u"/" : inside);
}

bool MountTable::IsSame(const MountTable& other) const {
  if (!lines_ || !other.lines_) return lines_ == other.lines_;
  return std::ranges::equal(*lines_, *other.lines_, [](const MountLine& a, const MountLine& b) {
    return a.Id == b.Id && a.Parent == b.Parent && a.Point == b.Point && a.Root == b.Root &&
           a.Source == b.Source;
  });
}

std::u16string_view DiskOfMark(std::u16string_view mark) {
  return mark.substr(0, mark.find(u':'));
}

bool OnSameDisk(std::uint64_t device, std::uint64_t other_device) {
  if (device == other_device) return true;
  const auto disk = [](std::uint64_t number) {
    const std::string link =
        "/sys/dev/block/" + std::to_string(major(number)) + ":" + std::to_string(minor(number));
    char* path = realpath(link.c_str(), nullptr);
    if (!path) return std::string();
    const std::string found(path);
    free(path);
    // A partition is a folder in its disk's.
    const std::size_t name = found.find("/block/");
    if (name == found.npos) return std::string();
    return found.substr(0, found.find('/', name + 7));
  };
  const std::string first = disk(device);
  return !first.empty() && first == disk(other_device);
}

}  // namespace kavrel
