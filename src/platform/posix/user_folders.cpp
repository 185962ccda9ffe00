#include "platform/user_folders.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "platform/folders.h"

namespace kavrel {

namespace {

bool IsFolder(const std::string& path) {
  struct stat found;
  return stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

/// A line of the desktop's list of folders: XDG_DESKTOP_DIR="$HOME/桌面". Empty when this is not
/// it.
std::string ReadUserDir(std::string_view line, std::string_view name, const std::string& home) {
  if (!line.starts_with(name)) return {};
  line.remove_prefix(name.size());
  if (!line.starts_with("=\"") || !line.ends_with('"') || line.size() < 3) return {};
  line = line.substr(2, line.size() - 3);
  const bool relative = line.starts_with("$HOME/");
  if (relative) line.remove_prefix(6);
  std::string path = relative ? home : std::string();
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '\\' && i + 1 < line.size()) ++i;
    path += line[i];
  }
  return path.starts_with('/') ? path : std::string();
}

/// A folder of the user's that the desktop has a name for, else `fallback` in the home folder.
std::string UserDir(std::string_view name, const std::string& home, std::string_view fallback) {
  std::string found;
  std::ifstream list(ToUtf8(ConfigFolder()) + "/user-dirs.dirs");
  for (std::string line; std::getline(list, line);) {
    const std::string path = ReadUserDir(line, name, home);
    if (!path.empty()) found = path;
  }
  return found.empty() ? home + std::string(fallback) : found;
}

/// Windows programs that run here keep their settings as if they were on Windows.
std::string WindowsSettings(const std::string& home, std::string_view program) {
  const char* prefix = getenv("WINEPREFIX");
  const char* user = getenv("USER");
  return (prefix ? std::string(prefix) : home + ".wine") + "/drive_c/users/" +
         (user ? user : "user") + "/AppData/Roaming/" + std::string(program);
}

std::vector<std::string> Places(UserFolder which) {
  const std::string home = ToUtf8(HomeFolder());
  const std::string config = ToUtf8(ConfigFolder()) + "/";
  const std::string share = home + ".local/share/";
  switch (which) {
    case UserFolder::Favourites:
      return {home + ".mozilla/firefox", config + "chromium", config + "google-chrome",
              config + "microsoft-edge", share + "epiphany",  config + "gtk-3.0"};
    case UserFolder::Documents:
      return {UserDir("XDG_DOCUMENTS_DIR", home, "Documents")};
    case UserFolder::Desktop:
      return {UserDir("XDG_DESKTOP_DIR", home, "Desktop")};
    case UserFolder::Fonts:
      return {share + "fonts", home + ".fonts", "/usr/share/fonts"};
    case UserFolder::Mail:
      return {home + ".thunderbird", share + "evolution/mail", share + "local-mail",
              home + ".claws-mail", home + "Mail"};
    case UserFolder::AddressBook:
      return {share + "evolution/addressbook", share + "contacts", home + ".thunderbird"};
    case UserFolder::Cookies:
      return {home + ".mozilla/firefox", config + "chromium", config + "google-chrome",
              config + "microsoft-edge"};
    case UserFolder::Torrent:
      return {config + "utorrent", WindowsSettings(home, "uTorrent")};
    case UserFolder::BrowserAddOn:
      return {WindowsSettings(home, "IE7pro")};
    case UserFolder::InputMethod:
      return {share + "libchewing", home + ".chewing", config + "chewing",
              WindowsSettings(home, "Chewing")};
    case UserFolder::Editor:
      return {home + ".idm", config + "IDMComp", WindowsSettings(home, "IDMComp")};
  }
  return {};
}

}  // namespace

std::u16string FindUserFolder(UserFolder which) {
  const std::vector<std::string> places = Places(which);
  std::string found = places.front();
  for (const std::string& place : places) {
    if (!IsFolder(place)) continue;
    found = place;
    break;
  }
  if (!found.ends_with('/')) found += '/';
  return FromUtf8(found);
}

std::u16string UsualBackupFolder(bool) {
  return HomeFolder() + u"Backup/";
}

}  // namespace kavrel
