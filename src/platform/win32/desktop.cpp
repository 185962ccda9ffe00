#include "platform/desktop.h"

#include "base/text.h"
#include "platform/child_process.h"
#include "platform/files.h"
#include "platform/launcher.h"
#include "platform/win32/native.h"
// Behind the system's header, which they need.
#include <mmsystem.h>
#include <shellapi.h>

namespace kavrel {

namespace {

constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";

/// The name of the folder's own value, however the folder is spelled.
std::u16string RunValue(std::u16string_view program_folder) {
  return u"Morlund" + FromUtf8(FolderMark(ToLower(program_folder)));
}

bool SetRunValue(HKEY root, const std::wstring& name, const std::wstring& command) {
  HKEY key = nullptr;
  if (RegCreateKeyExW(root, kRunKey, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr,
                      &key, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const auto bytes = static_cast<DWORD>((command.size() + 1) * sizeof(wchar_t));
  const LSTATUS code = RegSetValueExW(key, name.c_str(), 0, REG_SZ,
                                      reinterpret_cast<const BYTE*>(command.c_str()), bytes);
  RegCloseKey(key);
  return code == ERROR_SUCCESS;
}

bool RemoveRunValue(HKEY root, const std::wstring& name) {
  HKEY key = nullptr;
  LSTATUS code = RegOpenKeyExW(root, kRunKey, 0, KEY_SET_VALUE, &key);
  if (code == ERROR_FILE_NOT_FOUND) return true;
  if (code != ERROR_SUCCESS) return false;
  code = RegDeleteValueW(key, name.c_str());
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
bool SetAutostartEntry(bool on, std::u16string_view executable,
                       std::u16string_view program_folder) {
  const std::u16string value = RunValue(program_folder);
  const std::wstring name = win32::Wide(value);
  if (on) {
    const std::vector<std::u16string> arguments = FolderArguments(program_folder);
    std::wstring command = win32::Wide(executable);
    // Before arguments a path with blanks must stand in quotes.
    if (!arguments.empty()) command = L"\"" + command + L"\" " + win32::CommandText(arguments);
    return SetRunValue(HKEY_LOCAL_MACHINE, name, command) ||
           SetRunValue(HKEY_CURRENT_USER, name, command);
  }
  const bool for_all = RemoveRunValue(HKEY_LOCAL_MACHINE, name);
  // An entry for all that this user may not remove may be no entry at all.
  return RemoveRunValue(HKEY_CURRENT_USER, name) &&
         (for_all ||
          !win32::RegistryText(HKEY_LOCAL_MACHINE,
                               u"Software\\Microsoft\\Windows\\CurrentVersion\\Run", value));
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
