#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <utility>

#include "base/text.h"
#include "platform/posix/native.h"

namespace kavrel {

using posix::Retry;

namespace {

/// Opens a folder of a path of any length, component by component; makes the missing ones when
/// asked to. -1 and errno on failure.
int OpenAlong(std::string_view path, bool make) {
  int at = Retry([] { return open("/", O_PATH | O_DIRECTORY | O_CLOEXEC); });
  while (at >= 0 && !path.empty()) {
    const std::size_t slash = path.find('/');
    const std::string name(path.substr(0, slash));
    path.remove_prefix(slash == path.npos ? path.size() : slash + 1);
    if (name.empty()) continue;
    const auto enter = [&] {
      return Retry([&] { return openat(at, name.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); });
    };
    int next = enter();
    if (next < 0 && errno == ENOENT && make &&
        (mkdirat(at, name.c_str(), 0777) == 0 || errno == EEXIST)) {
      next = enter();
    }
    const int error = errno;
    close(at);
    errno = error;
    at = next;
  }
  if (at < 0) return -1;
  const int handle = Retry([&] { return openat(at, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  const int error = errno;
  close(at);
  errno = error;
  return handle;
}

/// Folder and name of a host path that does not end with "/".
std::pair<std::string, std::string> SplitHostPath(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

/// A handle of the temporary file that this process alone may write. The name stays the same, so
/// that what a killed process left is taken over; a lock keeps two processes apart.
int OpenTemporary(int folder, const char* name, mode_t mode) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    const int handle = Retry(
        [&] { return openat(folder, name, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, mode); });
    if (handle < 0) return -1;
    struct stat mine, named;
    if (Retry([&] { return flock(handle, LOCK_EX); }) == 0 && fstat(handle, &mine) == 0 &&
        fstatat(folder, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && mine.st_ino == named.st_ino &&
        mine.st_dev == named.st_dev) {
      return handle;
    }
    close(handle);  // The other process renamed it into place meanwhile.
  }
  errno = EBUSY;
  return -1;
}

ErrorCode WriteAll(int handle, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put = Retry([&] { return write(handle, bytes.data(), bytes.size()); });
    if (put < 0) return errno;
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
  return 0;
}

/// What the new content of a file needs to know of the old file.
struct OldFile {
  bool Exists = false;
  mode_t Mode = 0600;
  uid_t Owner = static_cast<uid_t>(-1);
  gid_t Group = static_cast<gid_t>(-1);
};

Result<OldFile> ExamineOld(int folder, const char* name) {
  struct stat found;
  if (fstatat(folder, name, &found, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? Result<OldFile>{} : Result<OldFile>::Fail(errno);
  }
  if (S_ISDIR(found.st_mode)) return Result<OldFile>::Fail(EISDIR);
  if (!S_ISREG(found.st_mode)) return Result<OldFile>::Fail(EINVAL);
  if (!(found.st_mode & 0222) || faccessat(folder, name, W_OK, AT_EACCESS) != 0) {
    return Result<OldFile>::Fail(EACCES);
  }
  return {{true, found.st_mode & 07777, found.st_uid, found.st_gid}, 0};
}

/// Gives an open, complete file the name of another one, and returns when both are on the disk.
ErrorCode TakeName(int folder, int file, const std::string& from, const std::string& to) {
  if (Retry([&] { return fsync(file); }) != 0) return errno;
  // Held, the old content keeps its place on the disk until the new name is there.
  const posix::Handle old(openat(folder, to.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (renameat(folder, from.c_str(), folder, to.c_str()) != 0) return errno;
  struct statfs found;
  const bool keeps_order = fstatfs(file, &found) != 0 ||
                           posix::MannersOf(static_cast<std::uint32_t>(found.f_type)).KeepsOrder;
  // Elsewhere the entry of a folder is the file's own record, which is written with the file: a new
  // entry must not reach the disk without it, an old one must not change before the other is gone.
  if (!keeps_order && !old) fsync(file);
  fsync(folder);  // A file system that cannot sync folders has none to lose.
  if (!keeps_order && old) fsync(file);
  return 0;
}

ErrorCode ReplaceIn(int folder, const std::string& name, std::string_view bytes) {
  const Result<OldFile> old = ExamineOld(folder, name.c_str());
  if (!old) return old.Error;
  const std::string temporary = "." + name + ".tmp";
  const int handle = OpenTemporary(folder, temporary.c_str(), 0600);
  if (handle < 0) return errno;
  ErrorCode error = ftruncate(handle, 0) == 0 ? WriteAll(handle, bytes) : errno;
  if (!error && old->Exists) {
    // The owner of another's file is kept where the system lets us; its permissions always.
    if (fchown(handle, old->Owner, old->Group) != 0) errno = 0;
    if (fchmod(handle, old->Mode) != 0) error = errno;
  }
  if (!error) error = TakeName(folder, handle, temporary, name);
  if (error) unlinkat(folder, temporary.c_str(), 0);
  close(handle);
  return error;
}

}  // namespace

FileSystem::FileSystem(std::u16string program_folder)
    : program_folder_(std::move(program_folder)) {}

std::optional<std::string> FileSystem::HostPath(std::u16string_view path) const {
  if (path.empty() || path.find(u'\0') != path.npos) return std::nullopt;
  if (path[0] == u'/') return ToUtf8(path);
  const std::string drives = ToUtf8(program_folder_) + "/drives";
  std::string rest = ToUtf8(path);
  for (char& c : rest) {
    if (c == '\\') c = '/';
  }
  if (path.size() >= 2 && path[1] == u':') {
    const char16_t letter = ToLower(path[0]);
    if (letter < u'a' || letter > u'z') return std::nullopt;
    return drives + "/" + static_cast<char>(letter) + "/" + rest.substr(2);
  }
  if (!path.starts_with(u"\\\\")) return std::nullopt;
  const std::size_t server_end = rest.find('/', 2);
  if (server_end == rest.npos || server_end == 2) return std::nullopt;
  const std::size_t share_end = rest.find('/', server_end + 1);
  const std::string share = rest.substr(server_end + 1, share_end - server_end - 1);
  if (share.empty()) return std::nullopt;
  const std::string root = posix::FindShare(drives, rest.substr(2, server_end - 2), share);
  if (root.empty()) return std::nullopt;
  return share_end == rest.npos ? root : root + rest.substr(share_end);
}

std::u16string FileSystem::RealPath(std::u16string_view path) const {
  const std::optional<std::string> host = HostPath(path);
  char* resolved = host ? realpath(host->c_str(), nullptr) : nullptr;
  if (!resolved) return {};
  std::u16string real = FromUtf8(resolved);
  free(resolved);
  return real;
}

Result<Folder> FileSystem::OpenFolder(std::u16string_view path) const {
  const std::optional<std::string> host = HostPath(path);
  if (!host) return Result<Folder>::Fail(ENOENT);
  int handle = Retry([&] { return open(host->c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (handle < 0 && errno == ENAMETOOLONG) handle = OpenAlong(*host, false);
  if (handle < 0) return Result<Folder>::Fail(errno);
  return {Folder(handle), 0};
}

Result<Folder> FileSystem::MakeFolders(std::u16string_view path) const {
  Result<Folder> opened = OpenFolder(path);
  if (opened || opened.Error != ENOENT) return opened;
  const std::optional<std::string> host = HostPath(path);
  if (!host) return Result<Folder>::Fail(ENOENT);
  // A drive or share that is not mapped does not come into being by writing to it.
  if (path[0] != u'/') {
    const std::string drives = ToUtf8(program_folder_) + "/drives/";
    struct stat found;
    if (host->starts_with(drives) &&
        stat(host->substr(0, drives.size() + 1).c_str(), &found) != 0 && path[1] == u':') {
      return Result<Folder>::Fail(ENOENT);
    }
  }
  const int handle = OpenAlong(*host, true);
  if (handle < 0) return Result<Folder>::Fail(errno);
  return {Folder(handle), 0};
}

bool FileSystem::FolderExists(std::u16string_view path) const {
  const std::optional<std::string> host = HostPath(path);
  if (!host) return false;
  struct stat found;
  if (stat(host->c_str(), &found) == 0) return S_ISDIR(found.st_mode);
  return errno == ENAMETOOLONG && OpenFolder(path);
}

bool FileSystem::Answers(std::u16string_view path, std::uint32_t milliseconds) const {
  std::optional<std::string> host = HostPath(path);
  if (!host) return true;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return true;
  const posix::Handle answer(ends[0]);
  posix::Handle asking(ends[1]);
  const pid_t child = fork();
  if (child == 0) {
    // One that belongs to nobody asks, and holds nothing that somebody may wait for: no lock, and
    // no output that is read to its end. What it waits for lets a signal through, or nothing.
    if (fork() != 0) _exit(0);
    dup2(asking.Get(), 0);
    close_range(1, ~0U, 0);
    alarm(60);
    // What the system remembers of an entry it tells by itself; room is asked of the server anew,
    // for the nearest folder that is there.
    struct statfs room;
    char* const text = host->data();
    while (statfs(text, &room) != 0 && errno == ENOENT) {
      char* const slash = strrchr(text, '/');
      if (!slash || slash == text) break;
      *slash = '\0';
    }
    const char told = '1';
    _exit(write(0, &told, 1) == 1 ? 0 : 1);
  }
  if (child < 0) return true;
  Retry([&] { return waitpid(child, nullptr, 0); });
  asking = posix::Handle();
  pollfd waiting{answer.Get(), POLLIN, 0};
  return Retry([&] { return poll(&waiting, 1, static_cast<int>(milliseconds)); }) != 0;
}

Result<FileStatus> FileSystem::Status(std::u16string_view path) const {
  std::optional<std::string> host = HostPath(path);
  if (!host) return Result<FileStatus>::Fail(ENOENT);
  while (host->size() > 1 && host->back() == '/') host->pop_back();
  if (host->size() < PATH_MAX) {
    Result<FileStatus> status = posix::StatusAt(AT_FDCWD, host->c_str());
    if (status && SplitHostPath(*host).second.starts_with('.')) {
      status->Attributes |= kAttrHidden;
    }
    return status;
  }
  const auto [folder_path, name] = SplitHostPath(*host);
  const int folder = OpenAlong(folder_path, false);
  if (folder < 0) return Result<FileStatus>::Fail(errno);
  const Result<FileStatus> status = posix::StatusAt(folder, name.c_str());
  close(folder);
  return status;
}

Result<std::string> FileSystem::ReadWhole(std::u16string_view path, std::size_t limit) const {
  using Bytes = Result<std::string>;
  const std::optional<std::string> host = HostPath(path);
  if (!host) return Bytes::Fail(ENOENT);
  const int handle = Retry([&] { return open(host->c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); });
  if (handle < 0) return Bytes::Fail(errno);
  File file(handle);
  const Result<FileStatus> status = file.Status();
  if (!status) return Bytes::Fail(status.Error);
  if (status->Kind == FileKind::Folder) return Bytes::Fail(EISDIR);
  if (status->Kind != FileKind::File) return Bytes::Fail(EINVAL);
  if (status->Size > limit) return Bytes::Fail(ENOMEM);
  return file.ReadToEnd(static_cast<std::size_t>(status->Size), limit);
}

ErrorCode FileSystem::ReplaceWhole(std::u16string_view path, std::string_view bytes) const {
  const std::optional<std::string> host = HostPath(path);
  if (!host) return ENOENT;
  // A file that is a link stays one: what it points to is replaced.
  std::string real = *host;
  if (char* resolved = realpath(host->c_str(), nullptr)) {
    real = resolved;
    free(resolved);
  }
  const std::pair<std::string, std::string> parts = SplitHostPath(real);
  if (parts.second.empty()) return EISDIR;
  const posix::Handle folder(
      Retry([&] { return open(parts.first.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  return folder ? ReplaceIn(folder.Get(), parts.second, bytes) : errno;
}

Result<File> FileSystem::OpenForUpdate(std::u16string_view path) const {
  const std::optional<std::string> host = HostPath(path);
  if (!host) return Result<File>::Fail(ENOENT);
  const int handle =
      Retry([&] { return open(host->c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600); });
  if (handle < 0) return Result<File>::Fail(errno);
  return {File(handle), 0};
}

ErrorCode FileSystem::RemoveFile(std::u16string_view path) const {
  const std::optional<std::string> host = HostPath(path);
  if (!host) return ENOENT;
  return unlink(host->c_str()) == 0 ? 0 : errno;
}

ErrorCode FileSystem::Rename(std::u16string_view from, std::u16string_view to) const {
  const std::optional<std::string> host_from = HostPath(from), host_to = HostPath(to);
  if (!host_from || !host_to) return ENOENT;
  return posix::RenameAt(AT_FDCWD, host_from->c_str(), AT_FDCWD, host_to->c_str());
}

ErrorCode FileSystem::PutInPlace(std::u16string_view from, std::u16string_view to) const {
  const std::optional<std::string> host_from = HostPath(from), host_to = HostPath(to);
  if (!host_from || !host_to) return ENOENT;
  const std::string path = SplitHostPath(*host_from).first;
  const posix::Handle folder(
      Retry([&] { return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
  if (!folder) return errno;
  const std::string name = SplitHostPath(*host_from).second;
  const posix::Handle file(
      Retry([&] { return openat(folder.Get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC); }));
  return file ? TakeName(folder.Get(), file.Get(), name, SplitHostPath(*host_to).second) : errno;
}

ErrorCode FileSystem::MakeCurrent(std::u16string_view path) const {
  const std::optional<std::string> host = HostPath(path);
  if (!host) return ENOENT;
  return chdir(host->c_str()) == 0 ? 0 : errno;
}

std::u16string SystemErrorText(ErrorCode code) {
  const char* text = strerrordesc_np(code);
  return text ? FromUtf8(text) : std::u16string();
}

}  // namespace kavrel
