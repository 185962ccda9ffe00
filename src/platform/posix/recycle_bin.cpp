// The bin as the freedesktop.org Trash standard, version 1.0, describes it: "files" holds what was
// removed, "info" a description of each, named after it.
#include "platform/recycle_bin.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <unordered_map>

#include "base/number.h"
#include "base/text.h"
#include "platform/posix/native.h"

namespace kavrel {

using posix::Handle;

struct RecycleBin::Bin {
  Handle Files, Info;     ///< the two folders
  std::string TopFolder;  ///< paths are noted relative to it; empty in the home bin
  ErrorCode Error = 0;    ///< why there is no bin
  std::unordered_map<std::string, int> NextSuffix;  ///< many files of a big tree share a name
};

namespace {

constexpr std::size_t kLongestName = 255;
constexpr std::string_view kInfoEnding = ".trashinfo";

Result<std::uint64_t> MountOf(int handle) {
  struct statx found;
  if (statx(handle, "", AT_EMPTY_PATH, STATX_MNT_ID, &found) != 0) {
    return Result<std::uint64_t>::Fail(errno);
  }
  return {found.stx_mnt_id, 0};
}

Handle OpenSub(int at, const std::string& name) {
  return Handle(openat(at, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// Opens a folder below `at`, made for its owner alone when missing.
Handle MakeSub(int at, const std::string& name) {
  Handle handle = OpenSub(at, name);
  if (!handle && errno == ENOENT && mkdirat(at, name.c_str(), 0700) == 0)
    handle = OpenSub(at, name);
  return handle;
}

Handle OpenFolderAt(const std::string& path) {
  return Handle(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// The folder $XDG_DATA_HOME, made when missing.
Handle OpenDataHome() {
  const char* data = getenv("XDG_DATA_HOME");
  const char* home = getenv("HOME");
  std::string path;
  if (data && *data == '/') {
    path = data;
  } else if (home && *home == '/') {
    path = std::string(home) + "/.local/share";
  } else {
    return {};
  }
  for (std::size_t slash = 0; slash != path.npos;) {
    slash = path.find('/', slash + 1);
    mkdir(path.substr(0, slash).c_str(), 0700);
  }
  return OpenFolderAt(path);
}

/// The top folder of the mount that a path lies on: the highest one above it on the same mount.
std::string TopFolderOf(std::string path, std::uint64_t mount) {
  for (;;) {
    const std::size_t slash = path.rfind('/');
    if (slash == path.npos || path == "/") return path;
    const std::string above = slash == 0 ? "/" : path.substr(0, slash);
    struct statx found;
    if (statx(AT_FDCWD, above.c_str(), 0, STATX_MNT_ID, &found) != 0 || found.stx_mnt_id != mount) {
      return path;
    }
    path = above;
  }
}

/// A name cut to `limit` bytes without breaking a UTF-8 character in two.
std::string CutName(std::string name, std::size_t limit) {
  if (name.size() <= limit) return name;
  while (limit > 0 && (static_cast<unsigned char>(name[limit]) & 0xC0) == 0x80) --limit;
  name.resize(limit);
  return name;
}

std::string EscapePath(std::string_view path) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string escaped;
  for (const char c : path) {
    const auto byte = static_cast<unsigned char>(c);
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       std::string_view("/-_.~!$&'()*+,;=:@").find(c) != std::string_view::npos;
    if (plain) {
      escaped += c;
    } else {
      escaped += '%';
      escaped += kHex[byte >> 4];
      escaped += kHex[byte & 15];
    }
  }
  return escaped;
}

std::string DeletionDate(DateTime now) {
  const CivilTime t = ToCivil(now);
  return ToUtf8(Decimal(t.Year, 4) + u"-" + Decimal(t.Month, 2) + u"-" + Decimal(t.Day, 2) + u"T" +
                Decimal(t.Hour, 2) + u":" + Decimal(t.Minute, 2) + u":" + Decimal(t.Second, 2));
}

/// The real path of an open folder; empty when it is gone or too long to be written down.
std::string PathOfHandle(int handle) {
  char path[PATH_MAX];
  const std::string link = "/proc/self/fd/" + std::to_string(handle);
  const ssize_t length = readlink(link.c_str(), path, sizeof path);
  if (length <= 0 || length == static_cast<ssize_t>(sizeof path) || path[0] != '/') return {};
  return {path, static_cast<std::size_t>(length)};
}

/// The bin folder of a mount other than the home bin's: the shared one if an administrator made it
/// as it must be, else this user's own.
Handle OpenTopBin(const std::string& top_folder) {
  const Handle top = OpenFolderAt(top_folder);
  if (!top) return {};
  const std::string user = std::to_string(geteuid());
  if (const Handle shared = OpenSub(top.Get(), ".Trash")) {
    struct stat found;
    if (fstat(shared.Get(), &found) == 0 && (found.st_mode & S_ISVTX)) {
      if (Handle own = MakeSub(shared.Get(), user)) return own;
    }
  }
  Handle own = MakeSub(top.Get(), ".Trash-" + user);
  struct stat found;
  if (own && (fstat(own.Get(), &found) != 0 || found.st_uid != geteuid())) {
    errno = EACCES;
    return {};
  }
  return own;
}

/// Opens the bin that serves a mount, `path` being a folder on it.
template <typename Bin>
ErrorCode OpenBin(const std::string& path, std::uint64_t mount, Bin& bin) {
  Handle root;
  errno = ENOENT;
  const Handle data = OpenDataHome();
  const Result<std::uint64_t> home_mount =
      data ? MountOf(data.Get()) : Result<std::uint64_t>::Fail(errno);
  // Only a home that is not there has its files go to the bin of their own disk.
  const ErrorCode no_home = home_mount.Error;
  if (no_home && no_home != ENOENT && no_home != ENOTDIR) return no_home;
  if (home_mount && *home_mount == mount) {
    root = MakeSub(data.Get(), "Trash");
  } else {
    bin.TopFolder = TopFolderOf(path, mount);
    root = OpenTopBin(bin.TopFolder);
  }
  if (root) {
    bin.Files = MakeSub(root.Get(), "files");
    bin.Info = MakeSub(root.Get(), "info");
  }
  return root && bin.Files && bin.Info ? 0 : (errno ? errno : ENOENT);
}

/// Writes the description under a free name and returns that name without its ending; empty, with
/// `error` set, when it cannot.
template <typename Bin>
std::string WriteInfo(Bin& bin, const std::string& name, std::string_view text, bool sync,
                      ErrorCode& error) {
  const std::string base = CutName(name, kLongestName - kInfoEnding.size() - 8);
  for (int& suffix = bin.NextSuffix[base];; ++suffix) {
    const std::string free_name = suffix ? base + "." + std::to_string(suffix + 1) : base;
    const std::string info_name = free_name + std::string(kInfoEnding);
    const Handle info(openat(bin.Info.Get(), info_name.c_str(),
                             O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!info && errno == EEXIST) continue;
    error = info ? 0 : errno;
    if (info) {
      const ssize_t put = posix::Retry([&] { return write(info.Get(), text.data(), text.size()); });
      if (put != static_cast<ssize_t>(text.size())) {
        error = put < 0 ? errno : ENOSPC;
      } else if (sync && fsync(info.Get()) != 0) {
        error = errno;
      }
      if (error) unlinkat(bin.Info.Get(), info_name.c_str(), 0);
    }
    if (!error) ++suffix;
    return error ? std::string() : free_name;
  }
}

}  // namespace

RecycleBin::RecycleBin(Clock& clock) : clock_(clock) {}
RecycleBin::~RecycleBin() = default;

RecycleBin::Bin* RecycleBin::BinFor(std::uint64_t mount, const std::string& path,
                                    ErrorCode& error) {
  std::unique_ptr<Bin>& bin = bins_[mount];
  if (!bin) {
    bin = std::make_unique<Bin>();
    bin->Error = OpenBin(path, mount, *bin);
  }
  error = bin->Error;
  return error ? nullptr : bin.get();
}

Result<RecycleBin::Place> RecycleBin::Announce(const Folder& folder, std::u16string_view name,
                                               bool sync) {
  using Found = Result<Place>;
  const std::string native = posix::NativeName(name);
  if (native.empty()) return Found::Fail(EINVAL);
  const std::string path = PathOfHandle(folder.handle_);
  if (path.empty()) return Found::Fail(ENAMETOOLONG);
  Found place;
  const Result<std::uint64_t> mount = MountOf(folder.handle_);
  if (!mount) return Found::Fail(mount.Error);
  place->Mount = *mount;
  Bin* bin = BinFor(*mount, path, place.Error);
  if (!bin) return place;
  std::string original = (path == "/" ? path : path + "/") + native;
  if (!bin->TopFolder.empty()) {
    original.erase(0, bin->TopFolder == "/" ? 1 : bin->TopFolder.size() + 1);
  }
  place->Description = "[Trash Info]\nPath=" + EscapePath(original) +
                       "\nDeletionDate=" + DeletionDate(clock_.Now()) + "\n";
  place->Name = WriteInfo(*bin, native, place->Description, sync, place.Error);
  return place;
}

Result<RecycleBin::Place> RecycleBin::Announce(const Folder& folder, std::u16string_view name) {
  return Announce(folder, name, !folder.Manners().SyncsWhole);
}

void RecycleBin::Withdraw(const Place& place) {
  const auto bin = bins_.find(place.Mount);
  if (bin == bins_.end() || place.Name.empty()) return;
  unlinkat(bin->second->Info.Get(), (place.Name + std::string(kInfoEnding)).c_str(), 0);
}

ErrorCode RecycleBin::Move(const Folder& folder, std::u16string_view name, const Place& place) {
  const std::string native = posix::NativeName(name);
  const std::unique_ptr<Bin>& bin = bins_.at(place.Mount);
  Place now = place;
  for (;;) {
    ErrorCode error =
        posix::RenameAt(folder.handle_, native.c_str(), bin->Files.Get(), now.Name.c_str());
    if (!error) return 0;
    Withdraw(now);
    // Something without a description took the name: the next one, then.
    if (error != EEXIST) return error;
    now.Name = WriteInfo(*bin, native, now.Description, true, error);
    if (now.Name.empty()) return error;
  }
}

ErrorCode RecycleBin::Recycle(const Folder& folder, std::u16string_view name) {
  const Result<Place> place = Announce(folder, name, true);
  return place ? Move(folder, name, *place) : place.Error;
}

}  // namespace kavrel
