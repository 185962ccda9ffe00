#include "platform/posix/native.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/magic.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/utf8.h"

namespace kavrel::posix {

void Handle::CloseHandle(int value) {
  if (value >= 0) close(value);
}

std::string NativeName(std::u16string_view name) {
  std::string bytes;
  PutNativeName(name, bytes);
  return bytes;
}

void PutNativeName(std::u16string_view name, std::string& bytes) {
  PutUtf8(name, bytes);
  if (bytes == "." || bytes == ".." || bytes.find('/') != std::string::npos ||
      bytes.find('\0') != std::string::npos) {
    bytes.clear();
  }
}

DiskManners MannersOf(std::uint32_t type) {
  switch (type) {
    case EXT4_SUPER_MAGIC:
    case XFS_SUPER_MAGIC:
    case BTRFS_SUPER_MAGIC:
    case F2FS_SUPER_MAGIC:
    case REISERFS_SUPER_MAGIC:
    case NILFS_SUPER_MAGIC:
    case TMPFS_MAGIC:
    case OVERLAYFS_SUPER_MAGIC:
    case kZfs:
    case kBcachefs:
    case kJfs:
      return {true, true};
    case NFS_SUPER_MAGIC:  // Its server has each change of a name on its disk before it answers.
      return {true, true, true, true};
    case kCifs:
    case kSmb2:
    case k9p:
      return {false, false, true, true};
    case MSDOS_SUPER_MAGIC:
    case kExfat:
      return {true, false, true, false, false};
    case kNtfs3:
      return {true, false};
    default:
      // Among them FUSE and SMB, whose sync of the whole does not reach the server.
      return {false, false};
  }
}

FileStatus ToStatus(const struct statx& from, std::string_view name) {
  FileStatus status;
  const auto time = [](const statx_timestamp& t) {
    return FileTime{t.tv_sec, static_cast<std::int32_t>(t.tv_nsec)};
  };
  switch (from.stx_mode & S_IFMT) {
    case S_IFREG:
      status.Kind = FileKind::File;
      break;
    case S_IFDIR:
      status.Kind = FileKind::Folder;
      break;
    case S_IFLNK:
      status.Kind = FileKind::Link;
      break;
    default:
      status.Kind = FileKind::Special;
      break;
  }
  status.Mode = from.stx_mode & 07777U;
  if (status.Kind != FileKind::Link && !(status.Mode & S_IWUSR)) {
    status.Attributes |= kAttrReadOnly;
  }
  if (name.starts_with('.')) status.Attributes |= kAttrHidden;
  status.Attributes |= status.Kind == FileKind::Folder ? kAttrDirectory : kAttrArchive;
  status.Owner = from.stx_uid;
  status.Group = from.stx_gid;
  status.Size = from.stx_size;
  status.Allocated = from.stx_blocks * 512;
  status.Created = time((from.stx_mask & STATX_BTIME) ? from.stx_btime : from.stx_mtime);
  status.Accessed = time(from.stx_atime);
  status.Written = time(from.stx_mtime);
  status.Changed = time(from.stx_ctime);
  if (from.stx_mask & STATX_BTIME) status.Made = status.Created;
  status.Device = (std::uint64_t{from.stx_dev_major} << 32) | from.stx_dev_minor;
  status.Id = from.stx_ino;
  status.Mount = from.stx_mnt_id;
  status.Links = from.stx_nlink;
  return status;
}

Result<FileStatus> StatusAt(int handle, const char* name) {
  struct statx found;
  const int flags = AT_SYMLINK_NOFOLLOW | (*name ? 0 : AT_EMPTY_PATH);
  constexpr unsigned kWanted = STATX_BASIC_STATS | STATX_BTIME | STATX_MNT_ID;
  if (Retry([&] { return statx(handle, name, flags, kWanted, &found); }) != 0) {
    return Result<FileStatus>::Fail(errno);
  }
  return {ToStatus(found, name), 0};
}

ErrorCode RenameAt(int from_folder, const char* from, int to_folder, const char* to) {
  if (renameat2(from_folder, from, to_folder, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system without that flag: look first, which is as good as it gets there.
  const Result<FileStatus> taken = StatusAt(to_folder, to);
  if (taken || taken.Error != ENOENT) return taken ? EEXIST : taken.Error;
  return renameat(from_folder, from, to_folder, to) == 0 ? 0 : errno;
}

ErrorCode SetTimesOf(int handle, const FileStatus& from) {
  const timespec times[2] = {{from.Accessed.Seconds, from.Accessed.Nanoseconds},
                             {from.Written.Seconds, from.Written.Nanoseconds}};
  return Retry([&] { return futimens(handle, times); }) == 0 ? 0 : errno;
}

}  // namespace kavrel::posix
