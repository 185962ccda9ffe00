#include "platform/win32/native.h"

#include <winioctl.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "base/text.h"

namespace kavrel::win32 {

namespace {

constexpr std::size_t kLongPath = 261;
constexpr std::uint32_t kCarried = 0x27;  // read-only, hidden, system, archive
constexpr std::int64_t kTicks = 10'000'000, kEpoch = 11'644'473'600;  // a second; 1970 since 1601

// Names and numbers of the kernel's interface that not every compiler's headers have.
constexpr ULONG kNonAlert = 0x20, kBackupIntent = 0x4000, kReparsePoint = 0x200000;
constexpr int kRenameClass = 10, kLinkClass = 11, kDispositionClass = 13, kDispositionExClass = 64,
              kBasicClass = 4, kStandardClass = 5, kTagClass = 35;
constexpr std::uint32_t kSurrogateTag = 0x20000000;

struct RenameRecord {
  BOOLEAN Replace;
  HANDLE Folder;
  ULONG NameBytes;
  WCHAR Name[1];
};
struct BasicRecord {
  LARGE_INTEGER Created, Accessed, Written, Changed;
  ULONG Attributes;
};
struct StandardRecord {
  LARGE_INTEGER Allocated, Size;
  ULONG Links;
  BOOLEAN Pending, Folder;
};
struct TagRecord {
  ULONG Attributes, Tag;
};

template <typename Record>
NTSTATUS Query(HANDLE handle, Record& record, int kind) {
  IO_STATUS_BLOCK block;
  return NtQueryInformationFile(handle, &block, &record, sizeof record,
                                static_cast<FILE_INFORMATION_CLASS>(kind));
}

template <typename Record>
NTSTATUS Set(HANDLE handle, Record& record, int kind, std::size_t size = sizeof(Record)) {
  IO_STATUS_BLOCK block;
  return NtSetInformationFile(handle, &block, &record, static_cast<ULONG>(size),
                              static_cast<FILE_INFORMATION_CLASS>(kind));
}

bool IsDrive(std::u16string_view path) {
  if (path.size() < 2 || path[1] != u':') return false;
  const char16_t letter = ToLower(path[0]);
  return letter >= u'a' && letter <= u'z';
}

bool IsSeparator(char16_t c) {
  return c == u'\\' || c == u'/';
}

/// The components of a path behind its root, ".." resolved inside it.
std::vector<std::u16string_view> Components(std::u16string_view path) {
  std::vector<std::u16string_view> parts;
  while (!path.empty()) {
    const std::size_t length = static_cast<std::size_t>(
        std::find_if(path.begin(), path.end(), IsSeparator) - path.begin());
    const std::u16string_view part = path.substr(0, length);
    if (part == u"..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != u".") {
      parts.push_back(part);
    }
    path.remove_prefix(std::min(length + 1, path.size()));
  }
  return parts;
}

std::u16string Join(std::u16string root, const std::vector<std::u16string_view>& parts,
                    std::size_t from) {
  for (std::size_t i = from; i < parts.size(); ++i) {
    if (i > from) root += u'\\';
    root += parts[i];
  }
  return root;
}

/// True for a folder and what lies in it; neither ends with a separator or has "/" in it.
bool IsBelow(std::u16string_view path, std::u16string_view folder) {
  return StartsWithNoCase(path, folder) &&
         (path.size() == folder.size() || IsSeparator(path[folder.size()]));
}

bool IsFolder(const std::u16string& path) {
  const DWORD found = GetFileAttributesW(LongPathBuffer(path).c_str());
  return found != INVALID_FILE_ATTRIBUTES && (found & FILE_ATTRIBUTE_DIRECTORY);
}

/// The tag of a reparse point; 0 for every other entry.
std::uint32_t TagOf(HANDLE handle) {
  TagRecord record{};
  const bool known = Query(handle, record, kTagClass) >= 0;
  return known && (record.Attributes & FILE_ATTRIBUTE_REPARSE_POINT) ? record.Tag : 0;
}

}  // namespace

ErrorCode CodeOf(NTSTATUS status) {
  return status >= 0 ? 0 : static_cast<ErrorCode>(RtlNtStatusToDosError(status));
}

std::wstring LongPathBuffer(std::u16string_view path) {
  if (path.size() < kLongPath || path.starts_with(u"\\\\?\\")) return Wide(path);
  if (path.starts_with(u"\\\\")) return L"\\\\?\\UNC\\" + Wide(path.substr(2));
  return L"\\\\?\\" + Wide(path);
}

std::optional<std::u16string> KernelPath(std::u16string_view path) {
  if (path.find(u'\0') != path.npos) return std::nullopt;
  if (path.starts_with(u"\\\\?\\UNC\\")) {
    return KernelPath(std::u16string(u"\\\\").append(path.substr(8)));
  }
  if (path.starts_with(u"\\\\?\\")) path.remove_prefix(4);
  if (IsDrive(path) && (path.size() == 2 || IsSeparator(path[2]))) {
    const std::vector<std::u16string_view> parts = Components(path.substr(2));
    return Join(u"\\??\\" + std::u16string(path.substr(0, 2)) + u"\\", parts, 0);
  }
  if (path.size() < 2 || !IsSeparator(path[0]) || !IsSeparator(path[1])) return std::nullopt;
  const std::vector<std::u16string_view> parts = Components(path.substr(2));
  // A server alone holds no files; "." and "?" are names of devices.
  if (parts.size() < 2 || parts[0] == u"?") return std::nullopt;
  std::u16string root = u"\\??\\UNC\\";
  ((root += parts[0]) += u'\\') += parts[1];
  return Join(root + u"\\", parts, 2);
}

std::optional<std::u16string> SystemPath(std::u16string_view program_folder,
                                         std::u16string_view path) {
  // A path with "/" in front is one of another system.
  if (path.starts_with(u'/')) return std::nullopt;
  std::u16string mapped;
  const bool drive = IsDrive(path) && (path.size() == 2 || IsSeparator(path[2]));
  // The program folder itself is where it is.
  if (program_folder.empty() || IsBelow(path, program_folder)) {
  } else if (drive) {
    mapped = std::u16string(program_folder) + u"\\drives\\" + ToLower(path[0]);
    if (!IsFolder(mapped)) mapped.clear();
    if (!mapped.empty()) mapped += path.substr(2);
  } else if (path.starts_with(u"\\\\")) {
    mapped = std::u16string(program_folder) + u"\\drives\\unc\\";
    const std::vector<std::u16string_view> parts = Components(path.substr(2));
    if (parts.size() >= 2 &&
        IsFolder(mapped + std::u16string(parts[0]) + u"\\" + std::u16string(parts[1]))) {
      mapped += path.substr(2);
    } else {
      mapped.clear();
    }
  }
  std::optional<std::u16string> kernel = KernelPath(mapped.empty() ? path : mapped);
  if (!kernel) return std::nullopt;
  constexpr std::u16string_view kShares = u"\\??\\UNC\\";
  if (kernel->starts_with(kShares)) return u"\\\\" + kernel->substr(kShares.size());
  return kernel->substr(4);
}

bool IsName(std::u16string_view name) {
  return !name.empty() && name != u"." && name != u".." &&
         name.find_first_of(std::u16string_view(u"\\/:\0", 4)) == name.npos;
}

Result<Handle> Open(HANDLE folder, std::u16string_view name, const Opening& how) {
  std::wstring text = Wide(name);
  UNICODE_STRING counted;
  counted.Buffer = text.data();
  if (text.size() > 32767) return Result<Handle>::Fail(ERROR_FILENAME_EXCED_RANGE);
  counted.Length = counted.MaximumLength = static_cast<USHORT>(text.size() * sizeof(wchar_t));
  OBJECT_ATTRIBUTES object{};
  object.Length = sizeof object;
  object.RootDirectory = folder;
  object.ObjectName = &counted;
  object.Attributes = OBJ_CASE_INSENSITIVE;
  IO_STATUS_BLOCK block{};
  HANDLE handle = nullptr;
  const NTSTATUS status =
      NtCreateFile(&handle, how.Access | SYNCHRONIZE, &object, &block, nullptr, how.Attributes,
                   how.Share, how.Disposition, how.Options | kNonAlert | kBackupIntent, nullptr, 0);
  if (status < 0) return Result<Handle>::Fail(CodeOf(status));
  return {Handle(handle), 0};
}

Result<Handle> OpenEntry(HANDLE folder, std::u16string_view name, Opening how) {
  if (!IsName(name)) return Result<Handle>::Fail(kErrInvalid);
  how.Options |= kReparsePoint;
  Result<Handle> opened = Open(folder, name, how);
  if (!opened) return opened;
  const std::uint32_t tag = TagOf(opened->Get());
  if (tag == 0 || (tag & kSurrogateTag)) return opened;
  how.Options &= ~kReparsePoint;
  Result<Handle> content = Open(folder, name, how);
  if (!content) return content;
  // Nothing may have taken the entry's place meanwhile.
  const Result<FileStatus> first = StatusOf(opened->Get()), second = StatusOf(content->Get());
  const bool same = first && second && first->Id == second->Id && first->Device == second->Device;
  return same ? std::move(content) : Result<Handle>::Fail(ERROR_CANT_ACCESS_FILE);
}

FileTime ToFileTime(std::int64_t ticks) {
  std::int64_t seconds = ticks / kTicks;
  if (ticks % kTicks < 0) --seconds;
  return {seconds - kEpoch, static_cast<std::int32_t>((ticks - seconds * kTicks) * 100)};
}

FileKind KindOf(std::uint32_t attributes, std::uint32_t tag) {
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) && (tag & kSurrogateTag)) return FileKind::Link;
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) ? FileKind::Folder : FileKind::File;
}

Result<FileStatus> StatusOf(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION found;
  StandardRecord standard{};
  if (!GetFileInformationByHandle(handle, &found)) return Result<FileStatus>::Fail(LastError());
  const auto whole = [](DWORD high, DWORD low) { return std::uint64_t{high} << 32 | low; };
  const auto time = [&](const FILETIME& t) {
    return ToFileTime(static_cast<std::int64_t>(whole(t.dwHighDateTime, t.dwLowDateTime)));
  };
  FileStatus status;
  const bool reparse = found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT;
  status.Kind = KindOf(found.dwFileAttributes, reparse ? TagOf(handle) : 0);
  status.Attributes = found.dwFileAttributes & (kCarried | kAttrDirectory | kAttrNormal);
  status.Size = whole(found.nFileSizeHigh, found.nFileSizeLow);
  status.Allocated = status.Size;
  // Only a file of which the system says so takes less room than its size for its holes.
  if ((found.dwFileAttributes & FILE_ATTRIBUTE_SPARSE_FILE) &&
      Query(handle, standard, kStandardClass) >= 0) {
    status.Allocated = static_cast<std::uint64_t>(standard.Allocated.QuadPart);
  }
  status.Created = time(found.ftCreationTime);
  status.Accessed = time(found.ftLastAccessTime);
  status.Written = time(found.ftLastWriteTime);
  status.Device = status.Mount = found.dwVolumeSerialNumber;
  status.Id = whole(found.nFileIndexHigh, found.nFileIndexLow);
  status.Links = found.nNumberOfLinks;
  BasicRecord basic{};
  if (Query(handle, basic, kBasicClass) >= 0 && basic.Changed.QuadPart != 0) {
    status.Changed = ToFileTime(basic.Changed.QuadPart);
  }
  return {status, 0};
}

ErrorCode SetTimesOf(HANDLE handle, const FileStatus& from) {
  const auto ticks = [](FileTime time) {
    LARGE_INTEGER value;
    // A time that is not known stays as it is: 0 tells the system so.
    value.QuadPart =
        time == FileTime{} ? 0 : (time.Seconds + kEpoch) * kTicks + time.Nanoseconds / 100;
    return value;
  };
  BasicRecord record{ticks(from.Created), ticks(from.Accessed), ticks(from.Written), {}, 0};
  return CodeOf(Set(handle, record, kBasicClass));
}

ErrorCode SetAttributesOf(HANDLE handle, std::uint32_t attributes) {
  BasicRecord record{};
  record.Attributes = attributes & kCarried;
  if (record.Attributes == 0) record.Attributes = FILE_ATTRIBUTE_NORMAL;
  return CodeOf(Set(handle, record, kBasicClass));
}

namespace {

/// What gives an open entry a name, another or one more, takes the same record.
ErrorCode SetName(HANDLE entry, HANDLE folder, std::u16string_view to, bool replace, int kind) {
  const std::size_t bytes = to.size() * sizeof(wchar_t);
  const std::size_t size = offsetof(RenameRecord, Name) + bytes + sizeof(wchar_t);
  std::vector<LARGE_INTEGER> room((size + sizeof(LARGE_INTEGER) - 1) / sizeof(LARGE_INTEGER) + 1);
  auto* record = reinterpret_cast<RenameRecord*>(room.data());
  record->Replace = replace ? TRUE : FALSE;
  record->Folder = folder;
  record->NameBytes = static_cast<ULONG>(bytes);
  std::copy(to.begin(), to.end(), record->Name);
  return CodeOf(Set(entry, *record, kind, size));
}

}  // namespace

ErrorCode RenameOpen(HANDLE entry, HANDLE folder, std::u16string_view to, bool replace) {
  return SetName(entry, folder, to, replace, kRenameClass);
}

ErrorCode LinkOpen(HANDLE entry, HANDLE folder, std::u16string_view to) {
  return SetName(entry, folder, to, false, kLinkClass);
}

ErrorCode RemoveAt(HANDLE folder, std::u16string_view name, ULONG options) {
  Opening how;
  how.Access = DELETE | FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES;
  how.Options = options | kReparsePoint;
  Result<Handle> entry = Open(folder, name, how);
  if (entry.Error == kErrAccess) {
    how.Access = DELETE;  // The attributes may be nobody's to change.
    entry = Open(folder, name, how);
  }
  if (!entry) return entry.Error;
  // At once, though others have it open, and though it is read-only.
  struct {
    ULONG Flags;
  } at_once{0x1 | 0x2 | 0x10};
  if (Set(entry->Get(), at_once, kDispositionExClass) >= 0) return 0;
  struct {
    BOOLEAN Delete;
  } plainly{TRUE};
  NTSTATUS status = Set(entry->Get(), plainly, kDispositionClass);
  if (status < 0 && SetAttributesOf(entry->Get(), 0) == 0) {
    status = Set(entry->Get(), plainly, kDispositionClass);
  }
  return CodeOf(status);
}

std::u16string PathOfHandle(HANDLE handle) {
  std::wstring path(32768, L'\0');
  const DWORD length =
      GetFinalPathNameByHandleW(handle, path.data(), static_cast<DWORD>(path.size()), 0);
  if (length == 0 || length >= path.size()) return {};
  path.resize(length);
  if (path.starts_with(L"\\\\?\\UNC\\")) return u"\\\\" + Narrow(path.substr(8));
  return Narrow(path.starts_with(L"\\\\?\\") ? path.substr(4) : path);
}

std::optional<std::u16string> RegistryText(HKEY root, std::u16string_view key,
                                           std::u16string_view name) {
  const std::wstring key_text = Wide(key), name_text = Wide(name);
  constexpr DWORD kTexts = RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND;
  DWORD bytes = 0;
  if (RegGetValueW(root, key_text.c_str(), name_text.c_str(), kTexts, nullptr, nullptr, &bytes)) {
    return std::nullopt;
  }
  std::wstring value(bytes / sizeof(wchar_t) + 1, L'\0');
  bytes = static_cast<DWORD>(value.size() * sizeof(wchar_t));
  if (RegGetValueW(root, key_text.c_str(), name_text.c_str(), kTexts, nullptr, value.data(),
                   &bytes)) {
    return std::nullopt;
  }
  return Narrow(value.substr(0, value.find(L'\0')));
}

std::wstring CommandText(const std::vector<std::u16string>& arguments) {
  std::wstring text;
  for (const std::u16string& argument : arguments) {
    if (!text.empty()) text += L' ';
    text += L'"';
    for (const char16_t c : argument) text.append(c == u'"' ? 2 : 1, static_cast<wchar_t>(c));
    text += L'"';
  }
  return text;
}

std::u16string Variable(const wchar_t* name) {
  std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
  if (!value.empty()) {
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
  }
  return Narrow(value);
}

}  // namespace kavrel::win32
