// What the files of this port share: the system's headers, text and paths in its form, handles,
// and the calls that reach an entry through an open folder.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
// clang-format off
#include <windows.h>
#include <winternl.h>
// clang-format on

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/error_codes.h"
#include "platform/files.h"

namespace kavrel::win32 {

/// The system's characters are UTF-16, too, under another type's name.
inline std::wstring Wide(std::u16string_view text) {
  return {text.begin(), text.end()};
}
inline std::u16string Narrow(std::wstring_view text) {
  return {text.begin(), text.end()};
}

inline ErrorCode LastError() {
  return static_cast<ErrorCode>(GetLastError());
}
/// The Win32 code of a status of the kernel's; 0 for success.
ErrorCode CodeOf(NTSTATUS status);

/// A system handle that is closed when it goes.
class Handle {
 public:
  Handle() = default;
  explicit Handle(HANDLE value) : value_(value == INVALID_HANDLE_VALUE ? nullptr : value) {}
  Handle(Handle&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Handle() {
    if (value_) CloseHandle(value_);
  }

  explicit operator bool() const { return value_ != nullptr; }
  HANDLE Get() const { return value_; }
  HANDLE Release() { return std::exchange(value_, nullptr); }

 private:
  HANDLE value_ = nullptr;
};

/// A path for calls that take one: from 261 characters on with the prefix that lifts their limit.
std::wstring LongPathBuffer(std::u16string_view path);

/// A path in the kernel's form, "\??\C:\folder"; nothing for what is no whole path of a drive or a
/// share. "." and ".." are resolved, separators may be either.
std::optional<std::u16string> KernelPath(std::u16string_view path);

/// The system's own path of a program path, "C:\folder" or "\\server\share\folder", without a
/// trailing separator but for a root; nothing where it is not mapped.
std::optional<std::u16string> SystemPath(std::u16string_view program_folder,
                                         std::u16string_view path);

/// True for a single name that a folder may hold; not for "", ".", ".." and what holds a
/// separator, a colon (which would name a stream of a file) or a NUL.
bool IsName(std::u16string_view name);

/// How an entry is opened.
struct Opening {
  ACCESS_MASK Access = FILE_READ_ATTRIBUTES;
  ULONG Share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  ULONG Disposition = 1;  ///< FILE_OPEN
  ULONG Options = 0;      ///< beside synchronous work and the backup intent
  ULONG Attributes = FILE_ATTRIBUTE_NORMAL;
};
/// Opens `name` in the folder; a kernel path when that is null, the folder itself when the name is
/// empty.
Result<Handle> Open(HANDLE folder, std::u16string_view name, const Opening& how);

/// Opens an entry of the folder as itself: a link is not followed. Other kinds of special entries
/// (files that live in a cloud or are deduplicated, say) are opened for their content.
Result<Handle> OpenEntry(HANDLE folder, std::u16string_view name, Opening how);

Result<FileStatus> StatusOf(HANDLE handle);
/// The kind that attributes and, for a reparse point, its tag tell.
FileKind KindOf(std::uint32_t attributes, std::uint32_t tag);
FileTime ToFileTime(std::int64_t ticks);

ErrorCode SetTimesOf(HANDLE handle, const FileStatus& from);
/// Sets those of the attributes that a copy carries over.
ErrorCode SetAttributesOf(HANDLE handle, std::uint32_t attributes);
/// Renames an open entry, into `folder` or, when that is null, to a kernel path.
ErrorCode RenameOpen(HANDLE entry, HANDLE folder, std::u16string_view to, bool replace);
/// Gives an open file one more name, which must be free.
ErrorCode LinkOpen(HANDLE entry, HANDLE folder, std::u16string_view to);
/// Removes an entry of the folder, a read-only one, too.
ErrorCode RemoveAt(HANDLE folder, std::u16string_view name, ULONG options);

/// The path of an open file or folder without a long form's prefix; empty when there is none.
std::u16string PathOfHandle(HANDLE handle);

/// The text of a value in the registry; nothing when it is not there.
std::optional<std::u16string> RegistryText(HKEY root, std::u16string_view key,
                                           std::u16string_view name);

/// Arguments as one text: each in double quotes, one inside an argument doubled.
std::wstring CommandText(const std::vector<std::u16string>& arguments);

/// An environment variable; empty when it is not set.
std::u16string Variable(const wchar_t* name);

}  // namespace kavrel::win32
