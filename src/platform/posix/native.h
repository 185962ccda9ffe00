// What the files of this port share: names in the system's bytes, status records, retried calls.
#pragma once

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "platform/files.h"

struct statx;

namespace kavrel::posix {

/// Calls again while a signal interrupts.
template <typename Call>
auto Retry(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

/// A system handle that is closed when it goes.
class Handle {
 public:
  Handle() = default;
  explicit Handle(int value) : value_(value) {}
  Handle(Handle&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Handle() { CloseHandle(value_); }

  explicit operator bool() const { return value_ >= 0; }
  int Get() const { return value_; }

 private:
  static void CloseHandle(int value);
  int value_ = -1;
};

/// The bytes of a single name; empty when it is none ("", ".", "..", a "/" or a NUL in it).
std::string NativeName(std::u16string_view name);
/// The same into memory that is used again.
void PutNativeName(std::u16string_view name, std::string& bytes);

/// Magic numbers of statfs(2) that the kernel's own headers have no names for.
inline constexpr std::uint32_t kZfs = 0x2FC12FC1, kBcachefs = 0xCA451A4E, kExfat = 0x2011BAB0,
                               kNtfs3 = 0x7366746E, kJfs = 0x3153464A, kCifs = 0xFF534D42,
                               kSmb2 = 0xFE534D42, k9p = 0x01021997;

/// By the magic number of a file system.
DiskManners MannersOf(std::uint32_t type);

/// The type of a mount by its number (FileStatus::Mount), as "fuse.bindfs"; empty when it is not
/// known.
std::string MountTypeOf(std::uint64_t mount);

FileStatus ToStatus(const struct statx& from, std::string_view name);

/// Status of `name` in the folder `handle`; of the open file itself when the name is empty.
Result<FileStatus> StatusAt(int handle, const char* name);

/// Renames without replacing anything: EEXIST when the new name is taken.
ErrorCode RenameAt(int from_folder, const char* from, int to_folder, const char* to);

/// Sets both times of an open file or folder.
ErrorCode SetTimesOf(int handle, const FileStatus& from);

/// The host folder of a share, found among drives/unc and the mounted shares; empty when there is
/// none.
std::string FindShare(const std::string& drives_folder, std::string_view server,
                      std::string_view share);

}  // namespace kavrel::posix
