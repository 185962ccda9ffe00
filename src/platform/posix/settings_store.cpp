#include "platform/settings_store.h"

#include "platform/ini_file.h"

namespace kavrel {

SettingsStore::SettingsStore(const FileSystem& file_system, std::u16string path,
                             std::u16string section)
    : path_(std::move(path)),
      section_(std::move(section)),
      file_(std::make_shared<IniFile>(file_system, path_)) {}

std::optional<std::u16string> SettingsStore::Get(std::u16string_view name) const {
  return file_->Get(section_, name, error_);
}

bool SettingsStore::Set(std::u16string_view name, std::u16string_view value) {
  return file_->Set(section_, name, value);
}

}  // namespace kavrel
