#include <winerror.h>

#include <algorithm>

#include "platform/win32/native.h"
// Behind the system's header, which it needs.
#include <winioctl.h>

namespace kavrel {

using win32::LastError;

namespace {
constexpr std::size_t kStep = std::size_t{1} << 30;  // The system counts in 32 bits.
}

ErrorCode File::Close() {
  if (handle_ == kNoHandle) return 0;
  const HANDLE handle = handle_;
  handle_ = kNoHandle;
  return CloseHandle(handle) ? 0 : LastError();
}

Result<std::size_t> File::Read(std::span<char> buffer) {
  std::size_t done = 0;
  while (done < buffer.size()) {
    DWORD got = 0;
    const auto wanted = static_cast<DWORD>(std::min(buffer.size() - done, kStep));
    if (!ReadFile(handle_, buffer.data() + done, wanted, &got, nullptr)) {
      if (GetLastError() == ERROR_HANDLE_EOF) break;
      return Result<std::size_t>::Fail(LastError());
    }
    if (got == 0) break;
    done += got;
  }
  return {done, 0};
}

Result<std::size_t> File::ReadAt(std::uint64_t position, std::span<char> buffer) const {
  // A read with a position moves the current one, which has to be put back.
  LARGE_INTEGER current{}, zero{}, wanted{};
  wanted.QuadPart = static_cast<LONGLONG>(position);
  if (!SetFilePointerEx(handle_, zero, &current, FILE_CURRENT) ||
      !SetFilePointerEx(handle_, wanted, nullptr, FILE_BEGIN)) {
    return Result<std::size_t>::Fail(LastError());
  }
  File same(handle_);
  const Result<std::size_t> got = same.Read(buffer);
  same.handle_ = kNoHandle;
  if (!SetFilePointerEx(handle_, current, nullptr, FILE_BEGIN)) {
    return Result<std::size_t>::Fail(LastError());
  }
  return got;
}

ErrorCode File::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD put = 0;
    const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kStep));
    if (!WriteFile(handle_, bytes.data(), wanted, &put, nullptr)) return LastError();
    if (put == 0) return ERROR_DISK_FULL;
    bytes.remove_prefix(put);
  }
  return 0;
}

ErrorCode File::WriteAt(std::uint64_t position, std::string_view bytes) {
  // A write with a position moves the current one, which has to be put back.
  LARGE_INTEGER current{}, zero{};
  if (!SetFilePointerEx(handle_, zero, &current, FILE_CURRENT)) return LastError();
  ErrorCode error = Seek(position);
  if (!error) error = Write(bytes);
  const ErrorCode back = Seek(static_cast<std::uint64_t>(current.QuadPart));
  return error ? error : back;
}

Result<std::uint64_t> File::CopyFrom(File&, std::uint64_t) {
  return Result<std::uint64_t>::Fail(ERROR_NOT_SUPPORTED);
}

ErrorCode File::CloneFrom(const File&) {
  return ERROR_NOT_SUPPORTED;
}

namespace {

/// Where data is in a file of this size; both ends at its own when there is none.
struct DataRange {
  std::uint64_t Size = 0, Begin = 0, End = 0;
};

/// The first range that holds data at a position or behind it.
Result<DataRange> DataFrom(const File& file, HANDLE handle, std::uint64_t position) {
  const Result<FileStatus> status = file.Status();
  if (!status) return Result<DataRange>::Fail(status.Error);
  const std::uint64_t size = status->Size;
  const DataRange none{size, size, size};
  if (position >= size) return {none, 0};
  FILE_ALLOCATED_RANGE_BUFFER asked{}, found{};
  asked.FileOffset.QuadPart = static_cast<LONGLONG>(position);
  asked.Length.QuadPart = static_cast<LONGLONG>(size - position);
  DWORD bytes = 0;
  // More ranges than the one that fits are no failure.
  if (!DeviceIoControl(handle, FSCTL_QUERY_ALLOCATED_RANGES, &asked, sizeof asked, &found,
                       sizeof found, &bytes, nullptr) &&
      GetLastError() != ERROR_MORE_DATA) {
    return Result<DataRange>::Fail(LastError());
  }
  if (bytes < sizeof found || found.Length.QuadPart == 0) return {none, 0};
  const auto begin = static_cast<std::uint64_t>(found.FileOffset.QuadPart);
  return {{size, begin, begin + static_cast<std::uint64_t>(found.Length.QuadPart)}, 0};
}

}  // namespace

Result<std::uint64_t> File::NextData(std::uint64_t position) {
  const Result<DataRange> data = DataFrom(*this, handle_, position);
  return {std::max(std::min(position, data->Size), data->Begin), data.Error};
}

Result<std::uint64_t> File::NextHole(std::uint64_t position) {
  const Result<DataRange> data = DataFrom(*this, handle_, position);
  return {data->Begin > position ? position : std::min(data->Size, data->End), data.Error};
}

ErrorCode File::Seek(std::uint64_t position) {
  LARGE_INTEGER to;
  to.QuadPart = static_cast<LONGLONG>(position);
  return SetFilePointerEx(handle_, to, nullptr, FILE_BEGIN) ? 0 : LastError();
}

ErrorCode File::SetSize(std::uint64_t size) {
  LARGE_INTEGER current{}, zero{};
  if (!SetFilePointerEx(handle_, zero, &current, FILE_CURRENT)) return LastError();
  ErrorCode error = Seek(size);
  if (!error && !SetEndOfFile(handle_)) error = LastError();
  const ErrorCode back = Seek(static_cast<std::uint64_t>(current.QuadPart));
  return error ? error : back;
}

Result<FileStatus> File::Status() const {
  return win32::StatusOf(handle_);
}

ErrorCode File::Sync() {
  return FlushFileBuffers(handle_) ? 0 : LastError();
}

void File::BeginWriting(std::uint64_t, std::uint64_t) {}

// There is no call for that here; reading may come from memory.
void File::ForgetCached() {}

// Here a file is told so when it is opened.
void File::HintSequential() {}

ErrorCode File::SetTimes(const FileStatus& from) {
  return win32::SetTimesOf(handle_, from);
}

ErrorCode File::SetAttributes(const FileStatus& from, const File&) {
  return win32::SetAttributesOf(handle_, from.Attributes);
}

}  // namespace kavrel
