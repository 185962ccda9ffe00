#include "platform/desktop.h"

#include "platform/child_process.h"
#include "platform/files.h"
#include "platform/win32/native.h"
// Behind the system's header, which they need.
#include <mmsystem.h>
#include <shellapi.h>

namespace kavrel {

namespace {

constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kRunValue[] = L"Morlund";

bool SetRunValue(HKEY root, const std::wstring& executable) {
  HKEY key = nullptr;
  if (RegCreateKeyExW(root, kRunKey, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr,
                      &key, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const auto bytes = static_cast<DWORD>((executable.size() + 1) * sizeof(wchar_t));
  const LSTATUS code = RegSetValueExW(key, kRunValue, 0, REG_SZ,
                                      reinterpret_cast<const BYTE*>(executable.c_str()), bytes);
  RegCloseKey(key);
  return code == ERROR_SUCCESS;
}

bool RemoveRunValue(HKEY root) {
  HKEY key = nullptr;
  LSTATUS code = RegOpenKeyExW(root, kRunKey, 0, KEY_SET_VALUE, &key);
  if (code == ERROR_FILE_NOT_FOUND) return true;
  if (code != ERROR_SUCCESS) return false;
  code = RegDeleteValueW(key, kRunValue);
  RegCloseKey(key);
  return code == ERROR_SUCCESS || code == ERROR_FILE_NOT_FOUND;
}

/// The short form of a path; the path itself where the disk keeps none.
std::wstring GetShortPath(std::u16string_view path) {
  const std::wstring text = win32::LongPathBuffer(path);
  std::wstring buffer(64000, L'\0');
  const DWORD length =
      GetShortPathNameW(text.c_str(), buffer.data(), static_cast<DWORD>(buffer.size()));
  if (length == 0 || length >= buffer.size()) return text;
  buffer.resize(length);
  return buffer;
}

}  // namespace

// For all users where this one may say so, else for this user alone.
bool SetAutostartEntry(bool on, std::u16string_view executable) {
  if (on) {
    const std::wstring path = win32::Wide(executable);
    return SetRunValue(HKEY_LOCAL_MACHINE, path) || SetRunValue(HKEY_CURRENT_USER, path);
  }
  const bool for_all = RemoveRunValue(HKEY_LOCAL_MACHINE);
  // An entry for all that this user may not remove may be no entry at all.
  return RemoveRunValue(HKEY_CURRENT_USER) &&
         (for_all ||
          !win32::RegistryText(HKEY_LOCAL_MACHINE,
                               u"Software\\Microsoft\\Windows\\CurrentVersion\\Run", u"Morlund"));
}

bool OpenWithDesktop(std::u16string_view path) {
  const HINSTANCE result =
      ShellExecuteW(nullptr, L"open", win32::Wide(path).c_str(), nullptr, nullptr, SW_SHOWNORMAL);
  return reinterpret_cast<std::intptr_t>(result) > 32;
}

bool HasSoundDevice() {
  return waveOutGetNumDevs() > 0;
}

bool PlaySoundFile(std::u16string_view path) {
  const std::wstring command = L"play \"" + GetShortPath(path) + L"\"";
  return mciSendStringW(command.c_str(), nullptr, 0, nullptr) == 0;
}

// The state is the thread's own and ends with it; a run begins and ends on one thread.
SleepInhibitor::SleepInhibitor() {
  SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED);
}

SleepInhibitor::~SleepInhibitor() {
  SetThreadExecutionState(ES_CONTINUOUS);
}

}  // namespace kavrel
