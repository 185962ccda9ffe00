// The user's settings lie in the registry, those of a program folder that was chosen for everything
// in an INI file there.
#include "platform/settings_store.h"

#include "base/text.h"
#include "platform/ini_file.h"
#include "platform/win32/native.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kUserRoot = u"HKEY_CURRENT_USER\\";

/// The key that such a path of the registry and section name.
std::u16string KeyOf(std::u16string_view path, std::u16string_view section) {
  std::u16string key(path.substr(kUserRoot.size()));
  return (key += u'\\') += section;
}

}  // namespace

SettingsStore::SettingsStore(const FileSystem& file_system, std::u16string path,
                             std::u16string section)
    : path_(std::move(path)),
      section_(std::move(section)),
      file_(path_.starts_with(kUserRoot) ? nullptr
                                         : std::make_shared<IniFile>(file_system, path_)) {}

std::optional<std::u16string> SettingsStore::Get(std::u16string_view name) const {
  if (file_) return file_->Get(section_, name, error_);
  return win32::RegistryText(HKEY_CURRENT_USER, KeyOf(path_, section_), name);
}

bool SettingsStore::Set(std::u16string_view name, std::u16string_view value) {
  if (file_) return file_->Set(section_, name, value);
  const std::u16string key = KeyOf(path_, section_);
  std::wstring text = win32::Wide(value);
  for (wchar_t& c : text) {
    if (c == L'\r' || c == L'\n') c = L' ';
  }
  const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
  return RegSetKeyValueW(HKEY_CURRENT_USER, win32::Wide(key).c_str(), win32::Wide(name).c_str(),
                         REG_SZ, text.c_str(), bytes) == ERROR_SUCCESS;
}

}  // namespace kavrel
