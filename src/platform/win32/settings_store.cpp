// The user's settings lie in the registry, those of a program folder that was chosen for everything
// in an INI file there.
#include "platform/settings_store.h"

#include "base/text.h"
#include "platform/ini_file.h"
#include "platform/win32/native.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kUserRoot = u"HKEY_CURRENT_USER\\";

/// The key that such a path and section name; empty for a file's path.
std::u16string KeyOf(std::u16string_view path, std::u16string_view section) {
  if (!path.starts_with(kUserRoot)) return {};
  std::u16string key(path.substr(kUserRoot.size()));
  return (key += u'\\') += section;
}

}  // namespace

SettingsStore::SettingsStore(const FileSystem& file_system, std::u16string path,
                             std::u16string section)
    : file_system_(file_system), path_(std::move(path)), section_(std::move(section)) {}

std::optional<std::u16string> SettingsStore::Get(std::u16string_view name) const {
  const std::u16string key = KeyOf(path_, section_);
  return key.empty() ? ReadIniValue(file_system_, path_, section_, name, error_)
                     : win32::RegistryText(HKEY_CURRENT_USER, key, name);
}

bool SettingsStore::Set(std::u16string_view name, std::u16string_view value) {
  const std::u16string key = KeyOf(path_, section_);
  if (key.empty()) return WriteIniValue(file_system_, path_, section_, name, value);
  std::wstring text = win32::Wide(value);
  for (wchar_t& c : text) {
    if (c == L'\r' || c == L'\n') c = L' ';
  }
  const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
  return RegSetKeyValueW(HKEY_CURRENT_USER, win32::Wide(key).c_str(), win32::Wide(name).c_str(),
                         REG_SZ, text.c_str(), bytes) == ERROR_SUCCESS;
}

}  // namespace kavrel
