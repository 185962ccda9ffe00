#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include "base/text.h"
#include "platform/error_codes.h"
#include "platform/posix/native.h"
#include "platform/process.h"

namespace kavrel {

using posix::NativeName;
using posix::Retry;

Folder& Folder::operator=(Folder&& other) noexcept {
  if (this != &other) {
    if (handle_ != kNoHandle) close(handle_);
    handle_ = other.handle_;
    other.handle_ = kNoHandle;
  }
  return *this;
}

Folder::~Folder() {
  if (handle_ != kNoHandle) close(handle_);
}

Result<FileStatus> Folder::Status() const {
  return posix::StatusAt(handle_, "");
}

Result<FileStatus> Folder::Status(std::u16string_view name) const {
  thread_local std::string native;  // Each file of a run is looked at.
  posix::PutNativeName(name, native);
  if (native.empty()) return Result<FileStatus>::Fail(EINVAL);
  return posix::StatusAt(handle_, native.c_str());
}

Result<Folder> Folder::OpenFolder(std::u16string_view name) const {
  if (StackRunsLow()) return Result<Folder>::Fail(kErrTooDeep);
  const std::string native = NativeName(name);
  if (native.empty()) return Result<Folder>::Fail(EINVAL);
  const int handle = Retry([&] {
    return openat(handle_, native.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  });
  if (handle < 0) return Result<Folder>::Fail(errno);
  return {Folder(handle), 0};
}

Result<Folder> Folder::Reopen() const {
  const int handle =
      Retry([&] { return openat(handle_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (handle < 0) return Result<Folder>::Fail(errno);
  return {Folder(handle), 0};
}

Result<Folder> Folder::MakeFolder(std::u16string_view name) const {
  const std::string native = NativeName(name);
  if (native.empty()) return Result<Folder>::Fail(EINVAL);
  if (mkdirat(handle_, native.c_str(), 0700) != 0) return Result<Folder>::Fail(errno);
  Result<Folder> made = OpenFolder(name);
  if (!made) unlinkat(handle_, native.c_str(), AT_REMOVEDIR);
  return made;
}

Result<File> Folder::OpenFile(std::u16string_view name) const {
  const std::string native = NativeName(name);
  if (native.empty()) return Result<File>::Fail(EINVAL);
  // Not blocking: a pipe that took the file's place meanwhile must not hold the run up.
  const int handle = Retry([&] {
    return openat(handle_, native.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  });
  if (handle < 0) return Result<File>::Fail(errno);
  return {File(handle), 0};
}

Result<File> Folder::HoldEntry(std::u16string_view name) const {
  const std::string native = NativeName(name);
  if (native.empty()) return Result<File>::Fail(EINVAL);
  const int handle = openat(handle_, native.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
  if (handle < 0) return Result<File>::Fail(errno);
  return {File(handle), 0};
}

Result<File> Folder::MakeFile(std::u16string_view name, const FileStatus& like) const {
  const std::string native = NativeName(name);
  if (native.empty()) return Result<File>::Fail(EINVAL);
  const int handle = Retry([&] {
    return openat(handle_, native.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                  // Its attributes can be set only while its owner may write to it.
                  static_cast<mode_t>((like.Mode & 0777) | S_IWUSR));
  });
  if (handle < 0) return Result<File>::Fail(errno);
  return {File(handle), 0};
}

Result<std::u16string> Folder::ReadLink(std::u16string_view name) const {
  const std::string native = NativeName(name);
  if (native.empty()) return Result<std::u16string>::Fail(EINVAL);
  std::string target(256, '\0');
  for (;;) {
    const ssize_t length = readlinkat(handle_, native.c_str(), target.data(), target.size());
    if (length < 0) return Result<std::u16string>::Fail(errno);
    if (static_cast<std::size_t>(length) < target.size()) {
      target.resize(static_cast<std::size_t>(length));
      return {FromUtf8(target), 0};
    }
    target.resize(target.size() * 4);
  }
}

ErrorCode Folder::MakeLink(std::u16string_view name, std::u16string_view target) const {
  const std::string native = NativeName(name);
  if (native.empty()) return EINVAL;
  return symlinkat(ToUtf8(target).c_str(), handle_, native.c_str()) == 0 ? 0 : errno;
}

ErrorCode Folder::SetLinkTimes(std::u16string_view name, const FileStatus& from) const {
  const std::string native = NativeName(name);
  if (native.empty()) return EINVAL;
  if (!Manners().LinksAlone) return 0;
  // An owner that the system does not let us carry over is no error.
  if (from.Owner != geteuid() || from.Group != getegid()) {
    if (fchownat(handle_, native.c_str(), from.Owner, from.Group, AT_SYMLINK_NOFOLLOW) != 0) {
      errno = 0;
    }
  }
  const timespec times[2] = {{from.Accessed.Seconds, from.Accessed.Nanoseconds},
                             {from.Written.Seconds, from.Written.Nanoseconds}};
  return utimensat(handle_, native.c_str(), times, AT_SYMLINK_NOFOLLOW) == 0 ? 0 : errno;
}

ErrorCode Folder::LinkFile(const Folder& from, std::u16string_view name,
                           std::u16string_view to) const {
  const std::string native = NativeName(name), native_to = NativeName(to);
  if (native.empty() || native_to.empty()) return EINVAL;
  return linkat(from.handle_, native.c_str(), handle_, native_to.c_str(), 0) == 0 ? 0 : errno;
}

ErrorCode Folder::Rename(std::u16string_view from, std::u16string_view to) const {
  const std::string native_from = NativeName(from), native_to = NativeName(to);
  if (native_from.empty() || native_to.empty()) return EINVAL;
  return posix::RenameAt(handle_, native_from.c_str(), handle_, native_to.c_str());
}

ErrorCode Folder::Replace(std::u16string_view from, std::u16string_view to) const {
  const std::string native_from = NativeName(from), native_to = NativeName(to);
  if (native_from.empty() || native_to.empty()) return EINVAL;
  return renameat(handle_, native_from.c_str(), handle_, native_to.c_str()) == 0 ? 0 : errno;
}

ErrorCode Folder::TakeOver(const Folder& from, std::u16string_view name) const {
  const std::string native = NativeName(name);
  if (native.empty()) return EINVAL;
  return renameat(from.handle_, native.c_str(), handle_, native.c_str()) == 0 ? 0 : errno;
}

ErrorCode Folder::RemoveFile(std::u16string_view name) const {
  const std::string native = NativeName(name);
  if (native.empty()) return EINVAL;
  return unlinkat(handle_, native.c_str(), 0) == 0 ? 0 : errno;
}

ErrorCode Folder::RemoveFolder(std::u16string_view name) const {
  const std::string native = NativeName(name);
  if (native.empty()) return EINVAL;
  return unlinkat(handle_, native.c_str(), AT_REMOVEDIR) == 0 ? 0 : errno;
}

ErrorCode Folder::MakeWritable() const {
  const Result<FileStatus> current = Status();
  if (!current) return current.Error;
  if ((current->Mode & S_IRWXU) == S_IRWXU) return 0;
  return fchmod(handle_, current->Mode | S_IRWXU) == 0 ? 0 : errno;
}

ErrorCode Folder::SetTimes(const FileStatus& from) const {
  const Result<FileStatus> current = Status();
  if (current && current->Written == from.Written) return 0;
  return posix::SetTimesOf(handle_, from);
}

using posix::kBcachefs, posix::kZfs;

bool Folder::OnLocalDisk() const {
  struct statfs found;
  if (Retry([&] { return fstatfs(handle_, &found); }) != 0) return false;
  switch (static_cast<std::uint32_t>(found.f_type)) {
    case EXT4_SUPER_MAGIC:
    case XFS_SUPER_MAGIC:
    case BTRFS_SUPER_MAGIC:
    case F2FS_SUPER_MAGIC:
    case TMPFS_MAGIC:
    case OVERLAYFS_SUPER_MAGIC:
    case kZfs:
    case kBcachefs:
      return true;
    default:
      return false;
  }
}

bool Folder::MayWrite() const {
  return faccessat(handle_, ".", W_OK | X_OK, AT_EACCESS) == 0;
}

Result<DiskSpace> Folder::Space() const {
  struct statfs found;
  if (Retry([&] { return fstatfs(handle_, &found); }) != 0) {
    return Result<DiskSpace>::Fail(errno);
  }
  if (found.f_blocks == 0) return Result<DiskSpace>::Fail(ENOSYS);
  const auto block = static_cast<std::uint64_t>(found.f_frsize ? found.f_frsize : found.f_bsize);
  const auto type = static_cast<std::uint32_t>(found.f_type);
  DiskSpace space;
  space.Free = found.f_bavail * block;
  space.Used = (found.f_blocks - found.f_bfree) * block;
  space.SharesBlocks =
      type == BTRFS_SUPER_MAGIC || type == XFS_SUPER_MAGIC || type == kZfs || type == kBcachefs;
  return {space, 0};
}

ErrorCode Folder::SyncDisk() const {
  if (syncfs(handle_) != 0) return errno;
  // FAT's sync leaves what it wrote in the disk's own memory; that of a folder does not.
  const DiskManners manners = Manners();
  return manners.SyncsWhole && !manners.KeepsOrder ? Sync() : 0;
}

ErrorCode Folder::Sync() const {
  if (Retry([&] { return fsync(handle_); }) == 0) return 0;
  return errno == EINVAL || errno == EROFS || errno == ENOSYS || errno == EOPNOTSUPP ? 0 : errno;
}

ErrorCode Folder::SyncFile(std::u16string_view name) const {
  Result<File> file = OpenFile(name);
  return file ? file->Sync() : file.Error;
}

namespace {

/// Whether a program in between changes a link itself. One that has a disk of its own does; others
/// may stand on anything, a server that follows the path of a link included.
bool ActsOnLinks(std::string_view type) {
  return type == "fuseblk";
}

}  // namespace

DiskManners Folder::Manners() const {
  struct statfs found;
  if (Retry([&] { return fstatfs(handle_, &found); }) != 0) return {};
  DiskManners manners = posix::MannersOf(static_cast<std::uint32_t>(found.f_type));
  if (found.f_type == FUSE_SUPER_MAGIC) {
    const Result<FileStatus> status = Status();
    manners.LinksAlone = status && ActsOnLinks(posix::MountTypeOf(status->Mount));
    manners.Relayed = !manners.LinksAlone;
  }
  return manners;
}

Result<std::vector<FileStatus>> Folder::Lineage() const {
  using List = Result<std::vector<FileStatus>>;
  List lineage;
  posix::Handle at(openat(handle_, ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
  while (at) {
    const Result<FileStatus> status = posix::StatusAt(at.Get(), "");
    if (!status) return List::Fail(status.Error);
    if (!lineage->empty() && lineage->back().Id == status->Id &&
        lineage->back().Device == status->Device) {
      return lineage;  // The root is its own parent.
    }
    lineage->push_back(*status);
    at = posix::Handle(openat(at.Get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
  }
  return List::Fail(errno);
}

namespace {
constexpr std::size_t kListingBuffer = 32768;
}

FolderReader::FolderReader(const Folder& folder)
    : buffer_(std::make_unique_for_overwrite<char[]>(kListingBuffer)) {
  // The position belongs to what was opened: another reader of the same one would move it, and the
  // rest of a large folder would be missing. A folder that may be listed but not entered cannot be
  // opened once more; there each step begins with finding the position again.
  Result<Folder> own = folder.Reopen();
  if (own) own_ = std::move(*own);
  handle_ = own ? own_.handle_ : folder.handle_;
}

FolderReader::~FolderReader() = default;

bool FolderReader::Fill() {
  const bool shared = own_.handle_ == kNoHandle;
  ssize_t got = -1;
  if (!shared || lseek(handle_, next_, SEEK_SET) >= 0) {
    got = Retry([&] { return getdents64(handle_, buffer_.get(), kListingBuffer); });
  }
  if (got < 0) error_ = errno;
  at_ = used_ = 0;
  if (got <= 0) return false;
  used_ = static_cast<std::size_t>(got);
  return true;
}

const FolderEntry* FolderReader::Read() {
  while (!error_) {
    if (at_ == used_ && !Fill()) return nullptr;
    const auto* raw = reinterpret_cast<const dirent64*>(buffer_.get() + at_);
    at_ += raw->d_reclen;
    next_ = raw->d_off;
    const std::string_view name = raw->d_name;
    if (name == "." || name == "..") continue;
    switch (raw->d_type) {
      case DT_REG:
        entry_.Kind = FileKind::File;
        break;
      case DT_DIR:
        entry_.Kind = FileKind::Folder;
        break;
      case DT_LNK:
        entry_.Kind = FileKind::Link;
        break;
      case DT_UNKNOWN: {
        const Result<FileStatus> status = posix::StatusAt(handle_, raw->d_name);
        if (!status && status.Error == ENOENT) continue;
        entry_.Kind = status ? status->Kind : FileKind::Special;
        break;
      }
      default:
        entry_.Kind = FileKind::Special;
        break;
    }
    entry_.Name = FromUtf8(name);
    return &entry_;
  }
  return nullptr;
}

}  // namespace kavrel
