#include "platform/folders.h"

#include <algorithm>

#include "base/text.h"
#include "platform/files.h"
#include "platform/win32/native.h"
// Behind the system's header, which it needs.
#include <shlobj.h>

namespace kavrel {

namespace {

std::u16string ShellFolder(int identifier) {
  wchar_t path[MAX_PATH] = L"";
  if (SHGetFolderPathW(nullptr, identifier, nullptr, 0, path) != S_OK) return {};
  return win32::Narrow(path);
}

bool IsSeparator(char16_t c) {
  return c == u'\\' || c == u'/';
}

bool Exists(const std::u16string& path) {
  return GetFileAttributesW(win32::LongPathBuffer(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

/// Whether a file could be made in the folder: only making one tells.
bool MayWriteTo(const std::u16string& folder) {
  const std::wstring path = win32::LongPathBuffer(folder + u"\\~kavrel.tmp");
  const win32::Handle probe(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                        FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE,
                                        nullptr));
  return static_cast<bool>(probe);
}

std::u16string UsualFolder() {
  const std::u16string portable = ExecutableFolder();
  if (!portable.empty() && Exists(portable + u"\\Backup.rtm") && MayWriteTo(portable)) {
    return portable;
  }
  return ConfigFolder() + u"\\Kavrel";
}

}  // namespace

std::u16string ChosenHome(std::u16string_view home) {
  std::u16string folder =
      AbsolutePath(home.empty() ? win32::Variable(L"KAVREL_HOME") : std::u16string(home));
  while (folder.size() > 3 && folder.ends_with(u'\\')) folder.pop_back();
  return folder;
}

std::optional<std::u16string> ProgramFolder(std::u16string_view home) {
  std::u16string folder = ChosenHome(home);
  if (folder.empty()) folder = UsualFolder();
  if (!FileSystem({}).MakeFolders(folder)) return std::nullopt;
  return folder;
}

bool IsUsualProgramFolder(std::u16string_view folder) {
  return EqualNoCase(folder, UsualFolder());
}

std::u16string SettingsFile(std::u16string_view home) {
  const std::u16string folder = ChosenHome(home);
  if (!folder.empty()) return folder + u"\\Settings.ini";
  return u"HKEY_CURRENT_USER\\Software\\Quenlor";
}

std::u16string ConfigFolder() {
  return ShellFolder(CSIDL_APPDATA);
}

std::u16string ExecutableFolder() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return win32::Narrow(path.substr(0, std::min(path.rfind(L'\\'), path.size())));
}

std::u16string ExecutableFile(std::u16string_view name) {
  std::u16string path = ExecutableFolder();
  ((path += u'\\') += name) += u".exe";
  return path;
}

std::u16string ResourceFile(std::u16string_view name) {
  const std::u16string folder = ExecutableFolder();
  for (const std::u16string_view place : {u"\\", u"\\..\\share\\kavrel\\"}) {
    std::u16string path = folder;
    (path += place) += name;
    if (Exists(path)) return path;
  }
  return {};
}

std::u16string DebugFile() {
  return win32::Variable(L"KAVREL_DEBUG");
}

std::u16string HomeFolder() {
  return ShellFolder(CSIDL_PROFILE) + u"\\";
}

std::u16string AbsolutePath(std::u16string_view path) {
  if (path.empty() || StartsWithNoCase(path, u"ftp://")) return std::u16string(path);
  std::u16string text(path);
  std::replace(text.begin(), text.end(), u'/', u'\\');
  const bool drive =
      text.size() >= 2 && text[1] == u':' && ToLower(text[0]) >= u'a' && ToLower(text[0]) <= u'z';
  if (drive || text.starts_with(u"\\\\")) return text;
  // A path of another system stays what it is: it does not exist here.
  if (IsSeparator(text[0])) return std::u16string(path);
  if (text == u"~" || text.starts_with(u"~\\")) {
    return HomeFolder() += text.substr(std::min<std::size_t>(text.size(), 2));
  }
  std::wstring current(GetCurrentDirectoryW(0, nullptr), L'\0');
  current.resize(GetCurrentDirectoryW(static_cast<DWORD>(current.size()), current.data()));
  std::u16string folder = win32::Narrow(current);
  if (!folder.ends_with(u'\\')) folder += u'\\';
  return folder += text;
}

}  // namespace kavrel
