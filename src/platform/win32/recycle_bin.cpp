// The shell moves things to the bin, and it takes paths. The path is the one that the opened folder
// has at that moment.
#include "platform/recycle_bin.h"

#include "platform/win32/native.h"
// Behind the system's header, which it needs.
#include <shellapi.h>

namespace kavrel {

struct RecycleBin::Bin {};

namespace {

constexpr FILEOP_FLAGS kFlags = FOF_SILENT | FOF_RENAMEONCOLLISION | FOF_NOCONFIRMATION |
                                FOF_ALLOWUNDO | FOF_FILESONLY | FOF_NOERRORUI | FOF_NORECURSION |
                                FOF_NO_CONNECTED_ELEMENTS;
static_assert(kFlags == 0x34DC);

/// Without a bin the shell would remove for good, and ask nobody: only disks that stay in the
/// machine have one.
bool HasBin(std::u16string_view path) {
  return path.size() > 2 && path[1] == u':' &&
         GetDriveTypeW((win32::Wide(path.substr(0, 2)) + L"\\").c_str()) == DRIVE_FIXED;
}

}  // namespace

RecycleBin::RecycleBin(Clock& clock) : clock_(clock) {}
RecycleBin::~RecycleBin() = default;

// The shell describes what it moves by itself.
Result<RecycleBin::Place> RecycleBin::Announce(const Folder&, std::u16string_view) {
  return {};
}

void RecycleBin::Withdraw(const Place&) {}

ErrorCode RecycleBin::Move(const Folder& folder, std::u16string_view name, const Place&) {
  return Recycle(folder, name);
}

ErrorCode RecycleBin::Recycle(const Folder& folder, std::u16string_view name) {
  const HANDLE handle = folder.handle_;
  win32::Opening how;
  how.Access = FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES;
  Result<win32::Handle> entry = win32::OpenEntry(handle, name, how);
  if (!entry) return entry.Error;
  std::u16string path = win32::PathOfHandle(handle);
  if (path.empty()) return ERROR_FILENAME_EXCED_RANGE;
  if (!path.ends_with(u'\\')) path += u'\\';
  path += name;
  if (!HasBin(path)) return ERROR_NOT_SUPPORTED;
  const Result<FileStatus> status = win32::StatusOf(entry->Get());
  if (status && status->Kind == FileKind::Folder) win32::SetAttributesOf(entry->Get(), 0);
  *entry = win32::Handle();

  std::wstring list = win32::LongPathBuffer(path);
  list += std::wstring(2, L'\0');
  SHFILEOPSTRUCTW operation{};
  operation.wFunc = FO_DELETE;
  operation.pFrom = list.c_str();
  operation.fFlags = kFlags;
  const int code = SHFileOperationW(&operation);
  if (code != 0) return code;
  return operation.fAnyOperationsAborted ? ERROR_CANCELLED : 0;
}

}  // namespace kavrel
