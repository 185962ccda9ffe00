// Symbolic links and junctions. A target text that ends with a separator means a link to a folder,
// one that begins with "\??\" a junction, which is how the system itself keeps its target.
#include <algorithm>
#include <vector>

#include "platform/win32/native.h"
// Behind the system's header, which it needs.
#include <winioctl.h>

namespace kavrel {

using win32::Handle;
using win32::Opening;

namespace {

constexpr ULONG kCreate = 2, kFolderOnly = 0x1, kNoFolder = 0x40;
constexpr std::u16string_view kKernelPrefix = u"\\??\\";
constexpr std::size_t kLargestRecord = 16384;

/// What the system stores in a link; the texts lie behind the fields.
struct LinkRecord {
  ULONG Tag;
  USHORT Bytes, Reserved;
  USHORT TargetAt, TargetBytes, ShownAt, ShownBytes;
};
constexpr std::size_t kRecordHead = 8;  // of which Bytes counts nothing
constexpr std::size_t kFlagsBytes = 4;  // A symbolic link has them, a junction has not.

}  // namespace

Result<std::u16string> Folder::ReadLink(std::u16string_view name) const {
  using Text = Result<std::u16string>;
  const Result<Handle> link = win32::OpenEntry(handle_, name, {});
  if (!link) return Text::Fail(link.Error);
  const Result<FileStatus> status = win32::StatusOf(link->Get());
  if (!status) return Text::Fail(status.Error);
  std::vector<char> bytes(kLargestRecord);
  DWORD got = 0;
  if (!DeviceIoControl(link->Get(), FSCTL_GET_REPARSE_POINT, nullptr, 0, bytes.data(),
                       kLargestRecord, &got, nullptr)) {
    return Text::Fail(win32::LastError());
  }
  LinkRecord record;
  std::copy_n(bytes.data(), sizeof record, reinterpret_cast<char*>(&record));
  const bool junction = record.Tag == IO_REPARSE_TAG_MOUNT_POINT;
  if (!junction && record.Tag != IO_REPARSE_TAG_SYMLINK) return Text::Fail(ERROR_NOT_SUPPORTED);
  const std::size_t texts = sizeof record + (junction ? 0 : kFlagsBytes);
  // The target of a symbolic link as its maker wrote it, where that was kept.
  const bool shown = !junction && record.ShownBytes > 0;
  const std::size_t at = texts + (shown ? record.ShownAt : record.TargetAt);
  const std::size_t length = shown ? record.ShownBytes : record.TargetBytes;
  if (at + length > got) return Text::Fail(ERROR_INVALID_DATA);
  std::u16string target(length / sizeof(char16_t), u'\0');
  std::copy_n(bytes.data() + at, length, reinterpret_cast<char*>(target.data()));
  const bool folder = status->Attributes & kAttrDirectory;
  if (!junction && folder && !target.ends_with(u'\\')) target += u'\\';
  return {std::move(target), 0};
}

ErrorCode Folder::MakeLink(std::u16string_view name, std::u16string_view target) const {
  const bool junction = target.starts_with(kKernelPrefix);
  const bool folder = junction || target.ends_with(u'\\');
  if (folder && !junction && target.size() > 3) target.remove_suffix(1);
  const bool relative =
      !junction && !target.starts_with(u'\\') && !(target.size() > 1 && target[1] == u':');
  std::u16string stored(junction || relative ? u"" : kKernelPrefix);
  stored += target;
  const std::u16string shown(junction ? target.substr(kKernelPrefix.size()) : target);

  const auto bytes_of = [](std::u16string_view text) {
    return static_cast<USHORT>(text.size() * sizeof(char16_t));
  };
  const std::size_t ends = junction ? sizeof(char16_t) : 0;  // A junction's texts end with a NUL.
  const std::size_t texts = sizeof(LinkRecord) + (junction ? 0 : kFlagsBytes);
  const std::size_t size = texts + bytes_of(stored) + bytes_of(shown) + 2 * ends;
  if (size > kLargestRecord) return ERROR_FILENAME_EXCED_RANGE;
  std::vector<char> bytes(size);
  LinkRecord record{};
  record.Tag = junction ? IO_REPARSE_TAG_MOUNT_POINT : IO_REPARSE_TAG_SYMLINK;
  record.Bytes = static_cast<USHORT>(size - kRecordHead);
  record.TargetBytes = bytes_of(stored);
  record.ShownAt = static_cast<USHORT>(record.TargetBytes + ends);
  record.ShownBytes = bytes_of(shown);
  std::copy_n(reinterpret_cast<const char*>(&record), sizeof record, bytes.data());
  if (!junction) bytes[sizeof record] = relative ? 1 : 0;
  std::copy_n(reinterpret_cast<const char*>(stored.data()), record.TargetBytes,
              bytes.data() + texts);
  std::copy_n(reinterpret_cast<const char*>(shown.data()), record.ShownBytes,
              bytes.data() + texts + record.ShownAt);

  Opening how;
  how.Access = GENERIC_WRITE | DELETE;
  how.Disposition = kCreate;
  how.Options = folder ? kFolderOnly : kNoFolder;
  Result<Handle> made = win32::OpenEntry(handle_, name, how);
  if (!made) return made.Error;
  DWORD got = 0;
  if (DeviceIoControl(made->Get(), FSCTL_SET_REPARSE_POINT, bytes.data(), static_cast<DWORD>(size),
                      nullptr, 0, &got, nullptr)) {
    return 0;
  }
  const ErrorCode error = win32::LastError();
  *made = Handle();
  win32::RemoveAt(handle_, name, how.Options);
  return error;
}

}  // namespace kavrel
