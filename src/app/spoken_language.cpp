#include "app/spoken_language.h"

#include "base/translation.h"
#include "core/settings.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/user_language.h"

namespace kavrel {

std::string_view SpokenLanguage(std::string_view chosen) {
  if (const Language* language = FindLanguage(chosen)) return language->Code;
  for (const std::string& wanted : UserLanguages()) {
    if (const Language* language = FindLanguage(wanted)) return language->Code;
  }
  return Languages().front().Code;
}

std::string_view StoredLanguage(std::u16string_view home) {
  const FileSystem files{std::u16string()};
  return Settings(SettingsStore(files, SettingsFile(home))).Language();
}

}  // namespace kavrel
