#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/native.h"

namespace kavrel {

using posix::Retry;

ErrorCode File::Close() {
  if (handle_ == kNoHandle) return 0;
  const int handle = handle_;
  handle_ = kNoHandle;
  // Never again after an interrupt: the handle is gone by then and may be another file's.
  return close(handle) == 0 || errno == EINTR ? 0 : errno;
}

Result<std::size_t> File::Read(std::span<char> buffer) {
  std::size_t done = 0;
  while (done < buffer.size()) {
    const ssize_t got =
        Retry([&] { return read(handle_, buffer.data() + done, buffer.size() - done); });
    if (got < 0) return Result<std::size_t>::Fail(errno);
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return {done, 0};
}

Result<std::size_t> File::ReadAt(std::uint64_t position, std::span<char> buffer) const {
  std::size_t done = 0;
  while (done < buffer.size()) {
    const ssize_t got = Retry([&] {
      return pread(handle_, buffer.data() + done, buffer.size() - done,
                   static_cast<off_t>(position + done));
    });
    if (got < 0) return Result<std::size_t>::Fail(errno);
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return {done, 0};
}

ErrorCode File::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put = Retry([&] { return write(handle_, bytes.data(), bytes.size()); });
    if (put < 0) return errno;
    if (put == 0) return ENOSPC;
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
  return 0;
}

ErrorCode File::WriteAt(std::uint64_t position, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put = Retry(
        [&] { return pwrite(handle_, bytes.data(), bytes.size(), static_cast<off_t>(position)); });
    if (put <= 0) return put < 0 ? errno : ENOSPC;
    bytes.remove_prefix(static_cast<std::size_t>(put));
    position += static_cast<std::uint64_t>(put);
  }
  return 0;
}

Result<std::uint64_t> File::CopyFrom(File& source, std::uint64_t length) {
  std::uint64_t done = 0;
  while (done < length) {
    const ssize_t got = Retry([&] {
      return copy_file_range(source.handle_, nullptr, handle_, nullptr, length - done, 0);
    });
    if (got < 0) return Result<std::uint64_t>::Fail(errno);
    if (got == 0) break;
    done += static_cast<std::uint64_t>(got);
  }
  return {done, 0};
}

ErrorCode File::CloneFrom(const File& source) {
  return Retry([&] { return ioctl(handle_, FICLONE, source.handle_); }) == 0 ? 0 : errno;
}

Result<std::uint64_t> File::NextData(std::uint64_t position) {
  const off_t found = lseek(handle_, static_cast<off_t>(position), SEEK_DATA);
  if (found >= 0) return {static_cast<std::uint64_t>(found), 0};
  if (errno != ENXIO) return Result<std::uint64_t>::Fail(errno);
  const Result<FileStatus> status = Status();
  if (!status) return Result<std::uint64_t>::Fail(status.Error);
  return {status->Size, 0};
}

Result<std::uint64_t> File::NextHole(std::uint64_t position) {
  const off_t found = lseek(handle_, static_cast<off_t>(position), SEEK_HOLE);
  if (found < 0) return Result<std::uint64_t>::Fail(errno);
  return {static_cast<std::uint64_t>(found), 0};
}

ErrorCode File::Seek(std::uint64_t position) {
  return lseek(handle_, static_cast<off_t>(position), SEEK_SET) >= 0 ? 0 : errno;
}

ErrorCode File::SetSize(std::uint64_t size) {
  return Retry([&] { return ftruncate(handle_, static_cast<off_t>(size)); }) == 0 ? 0 : errno;
}

void File::BeginWriting(std::uint64_t position, std::uint64_t length) {
  sync_file_range(handle_, static_cast<off64_t>(position), static_cast<off64_t>(length),
                  SYNC_FILE_RANGE_WRITE);
}

Result<FileStatus> File::Status() const {
  return posix::StatusAt(handle_, "");
}

ErrorCode File::Sync() {
  return Retry([&] { return fsync(handle_); }) == 0 ? 0 : errno;
}

void File::HintSequential() {
  posix_fadvise(handle_, 0, 0, POSIX_FADV_SEQUENTIAL);
}

void File::ForgetCached() {
  posix_fadvise(handle_, 0, 0, POSIX_FADV_DONTNEED);
}

ErrorCode File::SetTimes(const FileStatus& from) {
  return posix::SetTimesOf(handle_, from);
}

}  // namespace kavrel
