#include "platform/process.h"

#include <fcntl.h>
#include <io.h>
#include <stdio.h>

#include <atomic>
#include <optional>

#include "base/number.h"
#include "base/text.h"
#include "platform/win32/native.h"
// Behind the system's header, which it needs.
#include <shellapi.h>

namespace kavrel {

using win32::Handle;

namespace {

/// The lock is one byte far behind the note, which others may read meanwhile.
constexpr DWORD kLockedByte = 0x7FFF0000;

std::wstring LockPath(std::u16string_view program_folder) {
  return win32::LongPathBuffer(std::u16string(program_folder) + u"\\Kavrel.lock");
}

HANDLE OpenLock(std::u16string_view program_folder, DWORD disposition) {
  return CreateFileW(LockPath(program_folder).c_str(), GENERIC_READ | GENERIC_WRITE,
                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, disposition,
                     FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
}

bool LockByte(HANDLE file) {
  OVERLAPPED where{};
  where.Offset = kLockedByte;
  return LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &where);
}

// The system calls the handler on a thread of its own; it reaches nothing but globals.
std::atomic<bool> interrupt_requested{false};

HANDLE InterruptEvent() {
  static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  return event;
}

BOOL WINAPI NoteInterrupt(DWORD kind) {
  const bool repeated = interrupt_requested.exchange(true);
  SetEvent(InterruptEvent());
  // Closing the window, logging off: the system ends the process as soon as this returns, and
  // after a few seconds anyway. Until then the work comes to its calm end.
  if (kind != CTRL_C_EVENT && kind != CTRL_BREAK_EVENT) ::Sleep(INFINITE);
  return repeated ? FALSE : TRUE;
}

}  // namespace

ProcessLock::~ProcessLock() {
  Release();
}

bool ProcessLock::TryAcquire(std::u16string_view program_folder, std::u16string_view purpose) {
  Release();
  Handle file(OpenLock(program_folder, OPEN_ALWAYS));
  if (!file || !LockByte(file.Get())) return false;
  // The lock counts, not the note: on a full disk only the answer of Holder is the poorer.
  note_ = ToUtf8(purpose) + " (process " + std::to_string(GetCurrentProcessId()) + ")";
  handle_ = file.Release();
  NoteWork({});
  return true;
}

void ProcessLock::NoteWork(std::u16string_view work) {
  if (handle_ == kNoHandle) return;
  const std::string note = work.empty() ? note_ : note_ + "\n" + ToUtf8(work);
  DWORD put = 0;
  SetFilePointer(handle_, 0, nullptr, FILE_BEGIN);
  SetEndOfFile(handle_);
  WriteFile(handle_, note.data(), static_cast<DWORD>(note.size()), &put, nullptr);
}

void ProcessLock::Release() {
  if (handle_ == kNoHandle) return;
  // The file itself stays: were it removed, two processes could each lock a file of that name.
  CloseHandle(handle_);
  handle_ = kNoHandle;
}

std::optional<std::string> ProcessLock::NoteOfHolder(std::u16string_view program_folder) {
  const Handle file(OpenLock(program_folder, OPEN_EXISTING));
  if (!file || LockByte(file.Get())) return std::nullopt;
  std::string note(4096, '\0');
  DWORD got = 0;
  if (!ReadFile(file.Get(), note.data(), static_cast<DWORD>(note.size()), &got, nullptr)) got = 0;
  note.resize(got);
  return note;
}

std::u16string StartAddress(std::u16string_view program_folder) {
  const Handle folder(CreateFileW(win32::LongPathBuffer(std::u16string(program_folder)).c_str(), 0,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  BY_HANDLE_FILE_INFORMATION info{};
  if (!folder || !GetFileInformationByHandle(folder.Get(), &info)) return {};
  wchar_t user[257] = L"";
  DWORD length = 257;
  GetUserNameW(user, &length);
  return u"kavrel-" + win32::Narrow(user) + u"-" + Decimal(info.dwVolumeSerialNumber) + u"-" +
         Decimal(info.nFileIndexHigh) + u"-" + Decimal(info.nFileIndexLow);
}

void LetOthersComeForward() {
  AllowSetForegroundWindow(ASFW_ANY);
}

// A process may have millions of handles here.
void RaiseOpenFileLimit() {}
std::size_t OpenFileLimit() {
  return std::size_t{1} << 24;
}

bool StackRunsLow() {
  static constexpr std::uintptr_t kReserve = 256 << 10;
  thread_local const std::uintptr_t lowest = [] {
    MEMORY_BASIC_INFORMATION stack{};
    if (!VirtualQuery(__builtin_frame_address(0), &stack, sizeof stack)) return std::uintptr_t{0};
    return reinterpret_cast<std::uintptr_t>(stack.AllocationBase) + kReserve;
  }();
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) < lowest;
}

// The number of a closed stream is none that a file could get here, and no signal ends a process.
void SecureStreams() {}

bool FinishOutput() {
  return fflush(stdout) == 0 && ferror(stdout) == 0;
}

void KeepMemoryOutOfDumps() {
  // No report of a crash, neither from this process nor from what it starts: a report may hold an
  // image of the memory.
  SetErrorMode(GetErrorMode() | SEM_NOGPFAULTERRORBOX | SEM_FAILCRITICALERRORS);
}

void WatchForInterrupt() {
  InterruptEvent();
  SetConsoleCtrlHandler(NoteInterrupt, TRUE);
}

bool InterruptRequested() {
  return interrupt_requested;
}

void WaitForInterrupt(std::uint32_t milliseconds) {
  WaitForSingleObject(InterruptEvent(), milliseconds);
}

void TrimWorkingSet() {
  SetProcessWorkingSetSize(GetCurrentProcess(), static_cast<SIZE_T>(-1), static_cast<SIZE_T>(-1));
}

bool OutputIsJournal() {
  return false;
}

int OutputColumns() {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) return 0;
  const int columns = info.srWindow.Right - info.srWindow.Left + 1;
  return columns > 0 ? columns : 80;
}

std::vector<std::string> ConsoleArguments(int, char**) {
  // Text goes out and comes in as UTF-8 with plain line ends, as on every other system.
  SetConsoleOutputCP(CP_UTF8);
  SetConsoleCP(CP_UTF8);
  for (FILE* stream : {stdin, stdout, stderr}) _setmode(_fileno(stream), _O_BINARY);
  const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
  DWORD mode = 0;
  if (GetConsoleMode(output, &mode)) {
    SetConsoleMode(output, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
  }
  std::vector<std::string> arguments;
  int count = 0;
  wchar_t** words = CommandLineToArgvW(GetCommandLineW(), &count);
  for (int i = 0; words && i < count; ++i) arguments.push_back(ToUtf8(win32::Narrow(words[i])));
  LocalFree(words);
  return arguments;
}

}  // namespace kavrel
