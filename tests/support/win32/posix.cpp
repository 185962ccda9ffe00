#include "support/win32/posix.h"

#include <stdlib.h>
#include <windows.h>

#include <wchar.h>

#include <cerrno>

int setenv(const char* name, const char* value, int) {
  const std::wstring wide_name = std::filesystem::path(name).wstring();
  const std::wstring wide_value = std::filesystem::path(value).wstring();
  return SetEnvironmentVariableW(wide_name.c_str(), wide_value.c_str()) &&
                 _wputenv_s(wide_name.c_str(), wide_value.c_str()) == 0
             ? 0
             : -1;
}

int unsetenv(const char* name) {
  const std::wstring wide_name = std::filesystem::path(name).wstring();
  SetEnvironmentVariableW(wide_name.c_str(), nullptr);
  return _wputenv_s(wide_name.c_str(), L"") == 0 ? 0 : -1;
}

char* mkdtemp(char* name) {
  std::string text(name);
  for (unsigned number = GetCurrentProcessId();; number += 7919) {
    for (std::size_t i = 0; i < 6; ++i) {
      constexpr char kDigits[] = "0123456789abcdef";
      text[text.size() - 1 - i] = kDigits[number >> (4 * i) & 15];
    }
    if (CreateDirectoryW(std::filesystem::path(text).c_str(), nullptr)) break;
    if (GetLastError() != ERROR_ALREADY_EXISTS) return nullptr;
  }
  text.copy(name, text.size());
  return name;
}

int chmod(const wchar_t* path, int mode) {
  const DWORD found = GetFileAttributesW(path);
  if (found == INVALID_FILE_ATTRIBUTES) return -1;
  const DWORD wanted =
      mode & 0200 ? found & ~DWORD{FILE_ATTRIBUTE_READONLY} : found | FILE_ATTRIBUTE_READONLY;
  return SetFileAttributesW(path, wanted) ? 0 : -1;
}

int mkfifo(const wchar_t*, int) {
  errno = ENOSYS;
  return -1;
}

int utimensat(int, const wchar_t* path, const timespec times[2], int) {
  const HANDLE file = CreateFileW(path, FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file == INVALID_HANDLE_VALUE) return -1;
  FILETIME converted[2];
  for (int i = 0; i < 2; ++i) {
    const std::int64_t ticks =
        (times[i].tv_sec + std::int64_t{11'644'473'600}) * 10'000'000 + times[i].tv_nsec / 100;
    converted[i] = {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  }
  const BOOL done = SetFileTime(file, nullptr, &converted[0], &converted[1]);
  CloseHandle(file);
  return done ? 0 : -1;
}

// Nobody is a user without rights here, and nobody becomes one.
int geteuid() {
  return 1;
}

int mount(const char*, const wchar_t*, const char*, unsigned long, const void*) {
  return -1;
}

int mount(const wchar_t*, const wchar_t*, const char*, unsigned long, const void*) {
  return -1;
}

int umount2(const wchar_t*, int) {
  return -1;
}

int seteuid(int) {
  return -1;
}

int getgroups(int, gid_t*) {
  return 0;
}

int setgroups(std::size_t, const gid_t*) {
  return -1;
}

int setegid(int) {
  return -1;
}

int kill(pid_t process, int signal_number) {
  const auto handle = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(process));
  const BOOL done = signal_number == SIGKILL
                        ? TerminateProcess(handle, 137)
                        : GenerateConsoleCtrlEvent(CTRL_BREAK_EVENT, GetProcessId(handle));
  return done ? 0 : -1;
}

int chown(const wchar_t*, int, int) {
  return -1;
}

// The C++ library's paths take narrow text for that of the C locale, which is ASCII alone here, but
// give UTF-8 back; with this they take UTF-8, too.
extern "C" std::size_t mbrtowc(wchar_t* to, const char* from, std::size_t length, mbstate_t*) {
  if (length == 0) return static_cast<std::size_t>(-2);
  const auto first = static_cast<unsigned char>(*from);
  const std::size_t wanted = first < 0x80 ? 1 : first < 0xE0 ? 2 : 3;
  if (length < wanted) return static_cast<std::size_t>(-2);
  unsigned value = wanted == 1 ? first : first & (wanted == 2 ? 0x1FU : 0x0FU);
  for (std::size_t i = 1; i < wanted; ++i) {
    value = value << 6 | (static_cast<unsigned char>(from[i]) & 0x3FU);
  }
  if (to) *to = static_cast<wchar_t>(value);
  return value ? wanted : 0;
}
