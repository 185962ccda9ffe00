#include "platform/settings_store.h"

#include "platform/ini_file.h"

namespace kavrel {

SettingsStore::SettingsStore(const FileSystem& file_system, std::u16string path,
                             std::u16string section)
    : file_system_(file_system), path_(std::move(path)), section_(std::move(section)) {}

std::optional<std::u16string> SettingsStore::Get(std::u16string_view name) const {
  return ReadIniValue(file_system_, path_, section_, name, error_);
}

bool SettingsStore::Set(std::u16string_view name, std::u16string_view value) {
  return WriteIniValue(file_system_, path_, section_, name, value);
}

}  // namespace kavrel
