// Entries are reached through the open folder with the kernel's calls, which take a folder and a
// name where the calls above them take paths only. So nothing is reached that does not lie in the
// folder that was opened, whatever becomes of its path meanwhile.
#include <algorithm>

#include "platform/error_codes.h"
#include "platform/process.h"
#include "platform/win32/native.h"

// Not in every compiler's headers.
extern "C" NTSTATUS NTAPI NtQueryDirectoryFile(HANDLE, HANDLE, PIO_APC_ROUTINE, PVOID,
                                               PIO_STATUS_BLOCK, PVOID, ULONG,
                                               FILE_INFORMATION_CLASS, BOOLEAN, PUNICODE_STRING,
                                               BOOLEAN);
extern "C" NTSTATUS NTAPI NtQueryVolumeInformationFile(HANDLE, PIO_STATUS_BLOCK, PVOID, ULONG,
                                                       FS_INFORMATION_CLASS);

namespace kavrel {

using win32::Handle;
using win32::IsName;
using win32::Opening;

namespace {

// Dispositions and options of the kernel's interface.
constexpr ULONG kCreate = 2, kFolderOnly = 0x1, kSequential = 0x4, kNoFolder = 0x40;
constexpr ACCESS_MASK kWalk = FILE_LIST_DIRECTORY | FILE_TRAVERSE | FILE_READ_ATTRIBUTES;

template <typename Record>
NTSTATUS QueryVolume(HANDLE handle, Record& record, int kind) {
  IO_STATUS_BLOCK block;
  return NtQueryVolumeInformationFile(handle, &block, &record, sizeof record,
                                      static_cast<FS_INFORMATION_CLASS>(kind));
}

Result<Folder> Fail(ErrorCode error) {
  return Result<Folder>::Fail(error);
}

/// Opens for listing and, where the user may, for setting times and attributes.
Result<Handle> OpenWalkable(HANDLE folder, std::u16string_view name, ULONG disposition) {
  Opening how;
  how.Access = kWalk | FILE_WRITE_ATTRIBUTES;
  how.Disposition = disposition;
  how.Options = kFolderOnly;
  Result<Handle> opened = win32::OpenEntry(folder, name, how);
  if (opened.Error != kErrAccess) return opened;
  how.Access = kWalk;
  return win32::OpenEntry(folder, name, how);
}

}  // namespace

Folder& Folder::operator=(Folder&& other) noexcept {
  if (this != &other) {
    if (handle_ != kNoHandle) CloseHandle(handle_);
    handle_ = other.handle_;
    other.handle_ = kNoHandle;
  }
  return *this;
}

Folder::~Folder() {
  if (handle_ != kNoHandle) CloseHandle(handle_);
}

Result<FileStatus> Folder::Status() const {
  return win32::StatusOf(handle_);
}

Result<FileStatus> Folder::Status(std::u16string_view name) const {
  const Result<Handle> entry = win32::OpenEntry(handle_, name, {});
  return entry ? win32::StatusOf(entry->Get()) : Result<FileStatus>::Fail(entry.Error);
}

Result<Folder> Folder::OpenFolder(std::u16string_view name) const {
  if (StackRunsLow()) return Result<Folder>::Fail(kErrTooDeep);
  Result<Handle> opened = OpenWalkable(handle_, name, 1);
  if (!opened) return Fail(opened.Error);
  const Result<FileStatus> status = win32::StatusOf(opened->Get());
  if (!status) return Fail(status.Error);
  // A link to a folder opens as one.
  if (status->Kind != FileKind::Folder) return Fail(ERROR_DIRECTORY);
  return {Folder(opened->Release()), 0};
}

Result<Folder> Folder::Reopen() const {
  Opening how;
  how.Access = kWalk | FILE_WRITE_ATTRIBUTES;
  how.Options = kFolderOnly;
  Result<Handle> opened = win32::Open(handle_, {}, how);
  if (opened.Error == kErrAccess) {
    how.Access = kWalk;
    opened = win32::Open(handle_, {}, how);
  }
  if (!opened) return Fail(opened.Error);
  return {Folder(opened->Release()), 0};
}

Result<Folder> Folder::MakeFolder(std::u16string_view name) const {
  Result<Handle> made = OpenWalkable(handle_, name, kCreate);
  if (!made) return Fail(made.Error);
  return {Folder(made->Release()), 0};
}

Result<File> Folder::OpenFile(std::u16string_view name) const {
  Opening how;
  how.Access = GENERIC_READ;
  how.Options = kNoFolder | kSequential;
  Result<Handle> opened = win32::OpenEntry(handle_, name, how);
  if (!opened) return Result<File>::Fail(opened.Error);
  const Result<FileStatus> status = win32::StatusOf(opened->Get());
  if (!status) return Result<File>::Fail(status.Error);
  if (status->Kind != FileKind::File) return Result<File>::Fail(ERROR_CANT_ACCESS_FILE);
  return {File(opened->Release()), 0};
}

// Removing an entry that is held would leave its name taken until it is let go, on systems before
// Windows 10; and there is nothing to gain, removing takes no long time here.
Result<File> Folder::HoldEntry(std::u16string_view) const {
  return Result<File>::Fail(ERROR_NOT_SUPPORTED);
}

Result<File> Folder::MakeFile(std::u16string_view name, const FileStatus&) const {
  Opening how;
  how.Access = GENERIC_WRITE | FILE_READ_ATTRIBUTES;
  how.Share = FILE_SHARE_READ;
  how.Disposition = kCreate;
  how.Options = kNoFolder | kSequential;
  Result<Handle> made = win32::OpenEntry(handle_, name, how);
  if (!made) return Result<File>::Fail(made.Error);
  return {File(made->Release()), 0};
}

ErrorCode Folder::SetLinkTimes(std::u16string_view name, const FileStatus& from) const {
  Opening how;
  how.Access = FILE_WRITE_ATTRIBUTES;
  const Result<Handle> link = win32::OpenEntry(handle_, name, how);
  return link ? win32::SetTimesOf(link->Get(), from) : link.Error;
}

ErrorCode Folder::LinkFile(const Folder& from, std::u16string_view name,
                           std::u16string_view to) const {
  if (!IsName(to)) return kErrInvalid;
  Opening how;
  how.Access = FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES;
  how.Options = kNoFolder;
  const Result<Handle> entry = win32::OpenEntry(from.handle_, name, how);
  return entry ? win32::LinkOpen(entry->Get(), handle_, to) : entry.Error;
}

namespace {

ErrorCode RenameIn(HANDLE from_folder, std::u16string_view from, HANDLE folder,
                   std::u16string_view to, bool replace) {
  if (!IsName(to)) return kErrInvalid;
  Opening how;
  how.Access = DELETE | FILE_READ_ATTRIBUTES;
  const Result<Handle> entry = win32::OpenEntry(from_folder, from, how);
  return entry ? win32::RenameOpen(entry->Get(), folder, to, replace) : entry.Error;
}

}  // namespace

ErrorCode Folder::Rename(std::u16string_view from, std::u16string_view to) const {
  return RenameIn(handle_, from, handle_, to, false);
}

namespace {

/// A read-only file is replaced, too.
ErrorCode RenameOver(HANDLE from_folder, std::u16string_view from, HANDLE folder,
                     std::u16string_view to) {
  const ErrorCode error = RenameIn(from_folder, from, folder, to, true);
  if (error != kErrAccess) return error;
  Opening how;
  how.Access = FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES;
  const Result<Handle> there = win32::OpenEntry(folder, to, how);
  const Result<FileStatus> status =
      there ? win32::StatusOf(there->Get()) : Result<FileStatus>::Fail(there.Error);
  if (!status || !(status->Attributes & kAttrReadOnly)) return error;
  win32::SetAttributesOf(there->Get(), status->Attributes & ~kAttrReadOnly);
  const ErrorCode again = RenameIn(from_folder, from, folder, to, true);
  // The file may go on under other names.
  if (again || status->Links > 1) win32::SetAttributesOf(there->Get(), status->Attributes);
  return again;
}

}  // namespace

ErrorCode Folder::Replace(std::u16string_view from, std::u16string_view to) const {
  return RenameOver(handle_, from, handle_, to);
}

ErrorCode Folder::TakeOver(const Folder& from, std::u16string_view name) const {
  return RenameOver(from.handle_, name, handle_, name);
}

ErrorCode Folder::RemoveFile(std::u16string_view name) const {
  if (!IsName(name)) return kErrInvalid;
  // A link to a folder is removed as a file is, but a folder is not.
  const Result<FileStatus> status = Status(name);
  if (!status) return status.Error;
  if (status->Kind == FileKind::Folder) return kErrIsFolder;
  return win32::RemoveAt(handle_, name, 0);
}

ErrorCode Folder::RemoveFolder(std::u16string_view name) const {
  if (!IsName(name)) return kErrInvalid;
  return win32::RemoveAt(handle_, name, kFolderOnly);
}

// The read-only attribute of a folder is only a mark here: it keeps nobody from changing what is in
// it.
ErrorCode Folder::MakeWritable() const {
  return 0;
}

ErrorCode Folder::SetTimes(const FileStatus& from) const {
  const Result<FileStatus> current = Status();
  if (current && current->Written == from.Written && current->Created == from.Created) return 0;
  return win32::SetTimesOf(handle_, from);
}

ErrorCode Folder::SetAttributes(const FileStatus& from, const Folder&) const {
  const Result<FileStatus> current = Status();
  constexpr std::uint32_t kMarks = kAttrReadOnly | kAttrHidden | kAttrSystem | kAttrArchive;
  if (current && (current->Attributes & kMarks) == (from.Attributes & kMarks)) return 0;
  return win32::SetAttributesOf(handle_, from.Attributes);
}

// Fixed disks with the system's own file systems, by the folder's handle: a path may lead anywhere.
bool Folder::OnLocalDisk() const {
  struct {
    ULONG Kind, Marks;
  } device{};
  struct {
    ULONG Marks, LongestName, NameBytes;
    WCHAR Name[32];
  } system{};
  constexpr int kDevice = 4, kFileSystem = 5;
  constexpr ULONG kDisk = 0x7, kDiskFiles = 0x8, kRemovableMedia = 0x1, kRemote = 0x10;
  if (QueryVolume(handle_, device, kDevice) < 0 ||
      (device.Kind != kDisk && device.Kind != kDiskFiles) ||
      (device.Marks & (kRemovableMedia | kRemote)) ||
      QueryVolume(handle_, system, kFileSystem) < 0) {
    return false;
  }
  const std::wstring_view name(system.Name, system.NameBytes / sizeof(WCHAR));
  return name == L"NTFS" || name == L"ReFS";
}

// The disk as a whole is an administrator's alone to flush, so each file is flushed by itself.
ErrorCode Folder::SyncDisk() const {
  return 0;
}

DiskManners Folder::Manners() const {
  return {false, false};
}

// Only who may write to a file may flush it.
ErrorCode Folder::SyncFile(std::u16string_view name) const {
  Opening how;
  how.Access = GENERIC_WRITE | FILE_READ_ATTRIBUTES;
  how.Options = kNoFolder;
  Result<Handle> file = win32::OpenEntry(handle_, name, how);
  if (file.Error == kErrAccess) {
    Opening marks;
    marks.Access = FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES;
    const Result<Handle> locked = win32::OpenEntry(handle_, name, marks);
    const Result<FileStatus> status =
        locked ? win32::StatusOf(locked->Get()) : Result<FileStatus>::Fail(locked.Error);
    if (status && (status->Attributes & kAttrReadOnly)) {
      win32::SetAttributesOf(locked->Get(), status->Attributes & ~kAttrReadOnly);
      file = win32::OpenEntry(handle_, name, how);
      win32::SetAttributesOf(locked->Get(), status->Attributes);
    }
  }
  if (!file) return file.Error;
  return FlushFileBuffers(file->Get()) ? 0 : win32::LastError();
}

ErrorCode Folder::Sync() const {
  Opening how;
  how.Access = FILE_ADD_FILE | FILE_READ_ATTRIBUTES;
  how.Options = kFolderOnly;
  const Result<Handle> folder = win32::Open(handle_, {}, how);
  // Not every file system, nor every user, can flush a folder.
  if (folder) FlushFileBuffers(folder->Get());
  return 0;
}

bool Folder::MayWrite() const {
  Opening how;
  how.Access = kWalk | FILE_ADD_FILE;
  how.Options = kFolderOnly;
  return static_cast<bool>(win32::Open(handle_, {}, how));
}

Result<DiskSpace> Folder::Space() const {
  struct {
    LARGE_INTEGER Total, FreeToCaller, Free;
    ULONG SectorsPerUnit, BytesPerSector;
  } found{};
  constexpr int kFullSize = 7;
  const NTSTATUS status = QueryVolume(handle_, found, kFullSize);
  if (status < 0) return Result<DiskSpace>::Fail(win32::CodeOf(status));
  const std::uint64_t unit = std::uint64_t{found.SectorsPerUnit} * found.BytesPerSector;
  DiskSpace space;
  space.Free = static_cast<std::uint64_t>(found.FreeToCaller.QuadPart) * unit;
  space.Used = static_cast<std::uint64_t>(found.Total.QuadPart - found.Free.QuadPart) * unit;
  return {space, 0};
}

Result<std::vector<FileStatus>> Folder::Lineage() const {
  using List = Result<std::vector<FileStatus>>;
  List lineage;
  const Result<FileStatus> own = Status();
  if (!own) return List::Fail(own.Error);
  lineage->push_back(*own);
  std::optional<std::u16string> path = win32::KernelPath(win32::PathOfHandle(handle_));
  // A path that the system does not know ends the line; what lies above is not known then.
  while (path) {
    const std::size_t root = path->find(u'\\', path->starts_with(u"\\??\\UNC\\") ? 8 : 4);
    const std::size_t least = path->starts_with(u"\\??\\UNC\\") && root != path->npos
                                  ? path->find(u'\\', root + 1)
                                  : root;
    const std::size_t last = path->rfind(u'\\');
    if (least == path->npos || last < least || path->size() == least + 1) break;
    path->resize(std::max(last, least + 1));
    const Result<Handle> above = win32::Open(nullptr, *path, {});
    if (!above) return List::Fail(above.Error);
    const Result<FileStatus> status = win32::StatusOf(above->Get());
    if (!status) return List::Fail(status.Error);
    lineage->push_back(*status);
  }
  return lineage;
}

namespace {

constexpr std::size_t kListingBuffer = 65536;
constexpr int kFullListing = 2;  // FileFullDirectoryInformation

struct ListedEntry {
  ULONG Next, Index;
  LARGE_INTEGER Created, Accessed, Written, Changed, Size, Allocated;
  ULONG Attributes, NameBytes;
  ULONG Tag;  ///< of a reparse point; else the size of extended attributes
  WCHAR Name[1];
};

}  // namespace

FolderReader::FolderReader(const Folder& folder)
    : buffer_(std::make_unique_for_overwrite<char[]>(kListingBuffer)) {
  // The position belongs to what was opened: another reader of the same one would move it.
  Result<Folder> own = folder.Reopen();
  if (own) {
    own_ = std::move(*own);
  } else {
    error_ = own.Error;
  }
  handle_ = own_.handle_;
  at_ = 1;  // Behind what there is: the first listing begins anew.
}

FolderReader::~FolderReader() = default;

bool FolderReader::Fill() {
  if (error_) return false;
  IO_STATUS_BLOCK block{};
  const BOOLEAN restart = used_ == 0 ? TRUE : FALSE;
  const NTSTATUS status = NtQueryDirectoryFile(
      handle_, nullptr, nullptr, nullptr, &block, buffer_.get(), kListingBuffer,
      static_cast<FILE_INFORMATION_CLASS>(kFullListing), FALSE, nullptr, restart);
  if (status < 0) {
    const ErrorCode code = win32::CodeOf(status);
    // An empty folder is told as if a file were missing.
    if (code != ERROR_NO_MORE_FILES && !(restart && IsNotFound(code))) error_ = code;
    used_ = 1;
    at_ = 1;
    return false;
  }
  used_ = kListingBuffer;
  at_ = 0;
  return true;
}

const FolderEntry* FolderReader::Read() {
  while (!error_) {
    if (at_ >= used_ && !Fill()) return nullptr;
    const auto* raw = reinterpret_cast<const ListedEntry*>(buffer_.get() + at_);
    at_ = raw->Next ? at_ + raw->Next : used_;
    const std::u16string_view name(reinterpret_cast<const char16_t*>(raw->Name),
                                   raw->NameBytes / sizeof(WCHAR));
    if (name == u"." || name == u"..") continue;
    entry_.Kind = win32::KindOf(raw->Attributes, raw->Tag);
    entry_.Name = name;
    return &entry_;
  }
  return nullptr;
}

}  // namespace kavrel
