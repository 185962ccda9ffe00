#include <algorithm>

#include "base/text.h"
#include "platform/win32/native.h"

namespace kavrel {

using win32::Handle;
using win32::Opening;

namespace {

constexpr ULONG kOpen = 1, kOpenOrCreate = 3;
constexpr ULONG kFolderOnly = 0x1, kNoFolder = 0x40, kReparsePoint = 0x200000;
constexpr DWORD kLockRetry = 20;  // milliseconds

/// The kernel's form of a program path; nothing where it is not mapped.
std::optional<std::u16string> KernelPathOf(const std::u16string& program_folder,
                                           std::u16string_view path) {
  const std::optional<std::u16string> system = win32::SystemPath(program_folder, path);
  return system ? win32::KernelPath(*system) : std::nullopt;
}

/// Folder and name of a kernel path; the name is empty for a root.
std::pair<std::u16string, std::u16string> SplitPath(std::u16string_view path) {
  const std::size_t last = path.rfind(u'\\');
  return {std::u16string(path.substr(0, last + 1)), std::u16string(path.substr(last + 1))};
}

Result<Handle> OpenFolderPath(std::u16string_view path, ULONG disposition = kOpen) {
  Opening how;
  how.Access = FILE_LIST_DIRECTORY | FILE_TRAVERSE | FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES;
  how.Disposition = disposition;
  how.Options = kFolderOnly;
  Result<Handle> opened = win32::Open(nullptr, path, how);
  if (opened.Error != kErrAccess) return opened;
  how.Access &= ~static_cast<ACCESS_MASK>(FILE_WRITE_ATTRIBUTES);
  return win32::Open(nullptr, path, how);
}

/// Makes what is missing of a folder's path: downwards from the first folder that is there.
Result<Handle> MakeAlong(const std::u16string& path) {
  Result<Handle> opened = OpenFolderPath(path);
  if (opened || !IsNotFound(opened.Error)) return opened;
  std::u16string above = SplitPath(path).first;
  if (above.size() == path.size()) return opened;  // A root that is not there.
  std::u16string parent = above.substr(0, above.size() - 1);
  // The root keeps its separator.
  const std::size_t parts = static_cast<std::size_t>(std::count(above.begin(), above.end(), u'\\') -
                                                     (above.starts_with(u"\\??\\UNC\\") ? 5 : 3));
  if (parts == 0) parent = above;
  const Result<Handle> made = MakeAlong(parent);
  if (!made) return Result<Handle>::Fail(made.Error);
  return OpenFolderPath(path, kOpenOrCreate);
}

/// The temporary file that this process alone may write. The name stays the same, so that what a
/// killed process left is taken over; nobody else can open it meanwhile.
Result<Handle> OpenTemporary(HANDLE folder, std::u16string_view name) {
  Opening how;
  how.Access = GENERIC_WRITE | DELETE | FILE_READ_ATTRIBUTES;
  how.Share = 0;
  how.Disposition = 5;  // Emptied when it is there.
  how.Options = kNoFolder | kReparsePoint;
  Result<Handle> opened;
  for (int attempt = 0; attempt < 250; ++attempt) {
    opened = win32::Open(folder, name, how);
    if (opened.Error != ERROR_SHARING_VIOLATION) break;
    ::Sleep(kLockRetry);
  }
  return opened;
}

struct OldFile {
  bool Exists = false;
  std::uint32_t Attributes = 0;
};

Result<OldFile> ExamineOld(HANDLE folder, std::u16string_view name) {
  const Result<Handle> old = win32::OpenEntry(folder, name, {});
  if (!old) return IsNotFound(old.Error) ? Result<OldFile>{} : Result<OldFile>::Fail(old.Error);
  const Result<FileStatus> status = win32::StatusOf(old->Get());
  if (!status) return Result<OldFile>::Fail(status.Error);
  if (status->Kind == FileKind::Folder) return Result<OldFile>::Fail(kErrIsFolder);
  if (status->Attributes & kAttrReadOnly) return Result<OldFile>::Fail(kErrAccess);
  return {{true, status->Attributes}, 0};
}

ErrorCode ReplaceIn(HANDLE folder, const std::u16string& name, std::string_view bytes) {
  const Result<OldFile> old = ExamineOld(folder, name);
  if (!old) return old.Error;
  const std::u16string temporary = u"." + name + u".tmp";
  Result<Handle> opened = OpenTemporary(folder, temporary);
  if (!opened) return opened.Error;
  const HANDLE handle = opened->Release();
  File file(handle);
  ErrorCode error = file.Write(bytes);
  if (!error && old->Exists) error = win32::SetAttributesOf(handle, old->Attributes);
  if (!error) error = file.Sync();
  if (!error) error = win32::RenameOpen(handle, folder, name, true);
  if (error) {
    file.Close();
    win32::RemoveAt(folder, temporary, kNoFolder);
  }
  return error;
}

}  // namespace

FileSystem::FileSystem(std::u16string program_folder)
    : program_folder_(std::move(program_folder)) {}

std::optional<std::string> FileSystem::HostPath(std::u16string_view path) const {
  std::optional<std::u16string> system = win32::SystemPath(program_folder_, path);
  if (!system) return std::nullopt;
  const bool folder = path.ends_with(u'\\') || path.ends_with(u'/');
  if (folder && !system->ends_with(u'\\')) *system += u'\\';
  return ToUtf8(*system);
}

std::u16string FileSystem::RealPath(std::u16string_view path) const {
  const std::optional<std::u16string> kernel = KernelPathOf(program_folder_, path);
  if (!kernel) return {};
  const Result<Handle> entry = win32::Open(nullptr, *kernel, {});
  return entry ? win32::PathOfHandle(entry->Get()) : std::u16string();
}

Result<Folder> FileSystem::OpenFolder(std::u16string_view path) const {
  const std::optional<std::u16string> kernel = KernelPathOf(program_folder_, path);
  if (!kernel) return Result<Folder>::Fail(ERROR_PATH_NOT_FOUND);
  Result<Handle> opened = OpenFolderPath(*kernel);
  if (!opened) return Result<Folder>::Fail(opened.Error);
  return {Folder(opened->Release()), 0};
}

Result<Folder> FileSystem::MakeFolders(std::u16string_view path) const {
  const std::optional<std::u16string> kernel = KernelPathOf(program_folder_, path);
  if (!kernel) return Result<Folder>::Fail(ERROR_PATH_NOT_FOUND);
  Result<Handle> made = MakeAlong(*kernel);
  if (!made) return Result<Folder>::Fail(made.Error);
  return {Folder(made->Release()), 0};
}

bool FileSystem::FolderExists(std::u16string_view path) const {
  const std::optional<std::u16string> kernel = KernelPathOf(program_folder_, path);
  if (!kernel) return false;
  Opening how;
  how.Options = kFolderOnly;
  return static_cast<bool>(win32::Open(nullptr, *kernel, how));
}

// The system gives up on a server that hangs by itself.
bool FileSystem::Answers(std::u16string_view, std::uint32_t) const {
  return true;
}

Result<FileStatus> FileSystem::Status(std::u16string_view path) const {
  const std::optional<std::u16string> kernel = KernelPathOf(program_folder_, path);
  if (!kernel) return Result<FileStatus>::Fail(ERROR_PATH_NOT_FOUND);
  Opening how;
  how.Options = kReparsePoint;
  const Result<Handle> entry = win32::Open(nullptr, *kernel, how);
  return entry ? win32::StatusOf(entry->Get()) : Result<FileStatus>::Fail(entry.Error);
}

Result<std::string> FileSystem::ReadWhole(std::u16string_view path, std::size_t limit) const {
  using Bytes = Result<std::string>;
  const std::optional<std::u16string> kernel = KernelPathOf(program_folder_, path);
  if (!kernel) return Bytes::Fail(ERROR_PATH_NOT_FOUND);
  Opening how;
  how.Access = GENERIC_READ;
  how.Options = kNoFolder;
  Result<Handle> opened = win32::Open(nullptr, *kernel, how);
  if (!opened) return Bytes::Fail(opened.Error);
  File file(opened->Release());
  const Result<FileStatus> status = file.Status();
  if (!status) return Bytes::Fail(status.Error);
  if (status->Size > limit) return Bytes::Fail(kErrTooLarge);
  return file.ReadToEnd(static_cast<std::size_t>(status->Size), limit);
}

ErrorCode FileSystem::ReplaceWhole(std::u16string_view path, std::string_view bytes) const {
  std::optional<std::u16string> kernel = KernelPathOf(program_folder_, path);
  if (!kernel) return ERROR_PATH_NOT_FOUND;
  // A file that is a link stays one: what it points to is replaced.
  const Result<FileStatus> named = Status(path);
  if (named && named->Kind == FileKind::Link) {
    const Result<Handle> target = win32::Open(nullptr, *kernel, {});
    if (!target) return target.Error;
    kernel = win32::KernelPath(win32::PathOfHandle(target->Get()));
    if (!kernel) return ERROR_PATH_NOT_FOUND;
  }
  const auto [folder_path, name] = SplitPath(*kernel);
  if (name.empty()) return kErrIsFolder;
  const Result<Handle> folder = OpenFolderPath(folder_path);
  return folder ? ReplaceIn(folder->Get(), name, bytes) : folder.Error;
}

Result<File> FileSystem::OpenForUpdate(std::u16string_view path) const {
  const std::optional<std::u16string> kernel = KernelPathOf(program_folder_, path);
  if (!kernel) return Result<File>::Fail(ERROR_PATH_NOT_FOUND);
  Opening how;
  how.Access = GENERIC_READ | GENERIC_WRITE;
  how.Disposition = kOpenOrCreate;
  how.Options = kNoFolder | kReparsePoint;
  Result<Handle> opened = win32::Open(nullptr, *kernel, how);
  if (!opened) return Result<File>::Fail(opened.Error);
  const Result<FileStatus> status = win32::StatusOf(opened->Get());
  if (!status) return Result<File>::Fail(status.Error);
  if (status->Kind != FileKind::File) return Result<File>::Fail(ERROR_CANT_ACCESS_FILE);
  return {File(opened->Release()), 0};
}

ErrorCode FileSystem::RemoveFile(std::u16string_view path) const {
  const std::optional<std::u16string> kernel = KernelPathOf(program_folder_, path);
  if (!kernel) return ERROR_PATH_NOT_FOUND;
  const Result<FileStatus> status = Status(path);
  if (!status) return status.Error;
  if (status->Kind == FileKind::Folder) return kErrIsFolder;
  return win32::RemoveAt(nullptr, *kernel, 0);
}

ErrorCode FileSystem::Rename(std::u16string_view from, std::u16string_view to) const {
  const std::optional<std::u16string> kernel_from = KernelPathOf(program_folder_, from);
  const std::optional<std::u16string> kernel_to = KernelPathOf(program_folder_, to);
  if (!kernel_from || !kernel_to) return ERROR_PATH_NOT_FOUND;
  Opening how;
  how.Access = DELETE | FILE_READ_ATTRIBUTES;
  how.Options = kReparsePoint;
  const Result<Handle> entry = win32::Open(nullptr, *kernel_from, how);
  return entry ? win32::RenameOpen(entry->Get(), nullptr, *kernel_to, false) : entry.Error;
}

ErrorCode FileSystem::PutInPlace(std::u16string_view from, std::u16string_view to) const {
  const std::optional<std::u16string> kernel_from = KernelPathOf(program_folder_, from);
  const std::optional<std::u16string> kernel_to = KernelPathOf(program_folder_, to);
  if (!kernel_from || !kernel_to) return ERROR_PATH_NOT_FOUND;
  Opening how;
  how.Access = DELETE | GENERIC_WRITE | FILE_READ_ATTRIBUTES;
  how.Options = kReparsePoint;
  const Result<Handle> entry = win32::Open(nullptr, *kernel_from, how);
  if (!entry) return entry.Error;
  if (!FlushFileBuffers(entry->Get())) return win32::LastError();
  return win32::RenameOpen(entry->Get(), nullptr, *kernel_to, true);
}

ErrorCode FileSystem::MakeCurrent(std::u16string_view path) const {
  const std::optional<std::u16string> system = win32::SystemPath(program_folder_, path);
  if (!system) return ERROR_PATH_NOT_FOUND;
  return SetCurrentDirectoryW(win32::Wide(*system).c_str()) ? 0 : win32::LastError();
}

std::u16string SystemErrorText(ErrorCode code) {
  wchar_t text[256];
  const DWORD length = FormatMessageW(
      FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, static_cast<DWORD>(code),
      MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL), text, 256, nullptr);
  return win32::Narrow({text, length});
}

}  // namespace kavrel
