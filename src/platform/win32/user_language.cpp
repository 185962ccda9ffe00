#include "platform/user_language.h"

#include "base/text.h"
#include "platform/win32/native.h"

namespace kavrel {

std::vector<std::string> SystemLanguages() {
  ULONG count = 0, size = 0;
  if (!GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, nullptr, &size)) return {};
  std::wstring names(size, L'\0');
  if (!GetUserPreferredUILanguages(MUI_LANGUAGE_NAME, &count, names.data(), &size)) return {};
  // Each ends with a null character, the list with another one.
  std::vector<std::string> languages;
  for (std::size_t from = 0; from < names.size() && names[from] != L'\0';) {
    const std::wstring name(names.c_str() + from);
    languages.push_back(ToUtf8(win32::Narrow(name)));
    from += name.size() + 1;
  }
  return languages;
}

}  // namespace kavrel
