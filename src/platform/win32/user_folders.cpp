#include "platform/user_folders.h"

#include <string_view>

#include "base/text.h"
#include "platform/win32/native.h"
// Behind the system's header, which it needs.
#include <shlobj.h>

namespace kavrel {

namespace {

/// A folder of the shell's without a trailing separator; empty when it is not known.
std::u16string ShellFolder(int identifier) {
  wchar_t path[MAX_PATH] = L"";
  if (SHGetFolderPathW(nullptr, identifier, nullptr, 0, path) != S_OK) return {};
  std::u16string text = win32::Narrow(path);
  while (text.ends_with(u'\\')) text.pop_back();
  return text;
}

/// Where the mail program keeps its mails: its registry entry of the identity used last.
std::u16string MailStore() {
  const auto identity = win32::RegistryText(HKEY_CURRENT_USER, u"Identities", u"Last User ID");
  if (!identity) return {};
  const std::u16string key =
      u"Identities\\" + *identity + u"\\Software\\Microsoft\\Outlook Express\\5.0";
  std::u16string store =
      win32::RegistryText(HKEY_CURRENT_USER, key, u"Store Root").value_or(std::u16string());
  if (store.empty()) return {};
  store = ReplaceAll(store, u"%UserProfile%", ShellFolder(CSIDL_PROFILE));
  return ReplaceAll(store + u"\\", u"\\\\", u"\\");
}

std::u16string Settings(std::u16string_view program) {
  return (ShellFolder(CSIDL_APPDATA) += program) += u'\\';
}

}  // namespace

std::u16string FindUserFolder(UserFolder which) {
  switch (which) {
    case UserFolder::Favourites:
      return ShellFolder(CSIDL_FAVORITES) + u"\\";
    case UserFolder::Documents:
      return ShellFolder(CSIDL_PERSONAL) + u"\\";
    case UserFolder::Desktop:
      return ShellFolder(CSIDL_DESKTOP) + u"\\";
    case UserFolder::Fonts:
      return ShellFolder(CSIDL_FONTS) + u"\\";
    case UserFolder::Mail:
      return MailStore();
    case UserFolder::AddressBook:
      return Settings(u"\\Microsoft\\Address Book");
    case UserFolder::Cookies:
      return ShellFolder(CSIDL_COOKIES) + u"\\";
    case UserFolder::Torrent:
      return Settings(u"\\uTorrent");
    case UserFolder::BrowserAddOn:
      return Settings(u"\\IE7pro");
    case UserFolder::InputMethod:
      return Settings(u"\\Chewing");
    case UserFolder::Editor:
      return Settings(u"\\IDMComp");
  }
  return {};
}

std::u16string UsualBackupFolder(bool for_preset) {
  return for_preset ? u"D:\\Backup\\" : u"C:\\Backup\\";
}

}  // namespace kavrel
