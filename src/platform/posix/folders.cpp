#include "platform/folders.h"

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "base/text.h"
#include "platform/files.h"

namespace kavrel {

namespace {

/// An environment variable; empty when it is not set.
std::u16string Variable(const char* name) {
  const char* value = getenv(name);
  return value ? FromUtf8(value) : std::u16string();
}

/// The folder that a variable of the desktop's conventions names, else `fallback` in the home
/// folder. The conventions tell to ignore a relative path.
std::u16string BaseFolder(const char* name, std::u16string_view fallback) {
  std::u16string folder = Variable(name);
  if (!folder.starts_with(u'/')) (folder = HomeFolder()) += fallback;
  if (folder.ends_with(u'/')) folder.pop_back();
  return folder;
}

bool Exists(const std::u16string& path) {
  return access(ToUtf8(path).c_str(), F_OK) == 0;
}

/// The executable's folder when it is a portable installation; else empty.
std::u16string PortableFolder() {
  std::u16string folder = ExecutableFolder();
  const bool portable = !folder.empty() && Exists(folder + u"/Backup.rtm") &&
                        access((ToUtf8(folder) + "/").c_str(), W_OK) == 0;
  return portable ? folder : std::u16string();
}

std::u16string UsualFolder() {
  const std::u16string portable = PortableFolder();
  if (!portable.empty()) return portable;
  return BaseFolder("XDG_DATA_HOME", u".local/share") + u"/Kavrel";
}

}  // namespace

std::u16string ChosenHome(std::u16string_view home) {
  std::u16string folder = AbsolutePath(home.empty() ? Variable("KAVREL_HOME") : home);
  while (folder.size() > 1 && folder.ends_with(u'/')) folder.pop_back();
  return folder;
}

std::optional<std::u16string> ProgramFolder(std::u16string_view home) {
  std::u16string folder = ChosenHome(home);
  if (folder.empty()) folder = UsualFolder();
  // Drives and shares are found below the program folder; it cannot lie on one.
  if (!folder.starts_with(u'/') || !FileSystem({}).MakeFolders(folder)) return std::nullopt;
  return folder;
}

bool IsUsualProgramFolder(std::u16string_view folder) {
  return folder == UsualFolder();
}

std::u16string SettingsFile(std::u16string_view home) {
  const std::u16string folder = ChosenHome(home);
  if (!folder.empty()) return folder + u"/Settings.ini";
  return ConfigFolder() + u"/Quenlor/Settings.ini";
}

std::u16string ConfigFolder() {
  return BaseFolder("XDG_CONFIG_HOME", u".config");
}

std::u16string ExecutableFolder() {
  char* path = realpath("/proc/self/exe", nullptr);
  if (!path) return {};
  std::string folder(path);
  free(path);
  folder.erase(folder.rfind('/'));
  return FromUtf8(folder);
}

std::u16string ExecutableFile(std::u16string_view name) {
  std::u16string path = ExecutableFolder();
  return (path += u'/') += name;
}

std::u16string ResourceFile(std::u16string_view name) {
  const std::u16string folder = ExecutableFolder();
  for (const std::u16string_view place : {u"/", u"/../share/kavrel/"}) {
    std::u16string path = folder;
    (path += place) += name;
    if (Exists(path)) return path;
  }
  return {};
}

std::u16string DebugFile() {
  return Variable("KAVREL_DEBUG");
}

std::u16string HomeFolder() {
  std::u16string home = Variable("HOME");
  if (!home.starts_with(u'/')) {
    std::vector<char> buffer(65536);
    passwd entry;
    passwd* found = nullptr;
    getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found);
    home = found && found->pw_dir ? FromUtf8(found->pw_dir) : std::u16string();
  }
  if (!home.ends_with(u'/')) home += u'/';
  return home;
}

std::u16string AbsolutePath(std::u16string_view path) {
  const bool drive =
      path.size() >= 2 && path[1] == u':' && ToLower(path[0]) >= u'a' && ToLower(path[0]) <= u'z';
  if (path.empty() || path[0] == u'/' || drive || path.starts_with(u"\\\\") ||
      StartsWithNoCase(path, u"ftp://")) {
    return std::u16string(path);
  }
  if (path == u"~" || path.starts_with(u"~/")) {
    return HomeFolder() += path.substr(std::min<std::size_t>(path.size(), 2));
  }
  // "." and ".." stay: what they mean behind a link, only the system can tell.
  char* current = getcwd(nullptr, 0);
  if (!current) return std::u16string(path);
  std::u16string folder = FromUtf8(current);
  free(current);
  if (!folder.ends_with(u'/')) folder += u'/';
  return folder += path;
}

}  // namespace kavrel
