#include "platform/user_language.h"

#include <cstdlib>
#include <string_view>

namespace kavrel {

namespace {

std::string_view Variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

/// The locale of messages: the first of these that is set at all; empty when none is.
std::string_view MessagesLocale() {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (const std::string_view value = Variable(name); !value.empty()) return value;
  }
  return {};
}

}  // namespace

std::vector<std::string> UserLanguages() {
  const std::string_view locale = MessagesLocale();
  if (locale.empty()) return SystemLanguages();
  // LANGUAGE only chooses among translations; the C locale wants none.
  if (locale == "C" || locale == "POSIX") return {};
  std::vector<std::string> languages;
  std::string_view rest = Variable("LANGUAGE");
  while (!rest.empty()) {
    const std::size_t end = rest.find(':');
    if (end != 0) languages.emplace_back(rest.substr(0, end));
    rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
  }
  languages.emplace_back(locale);
  return languages;
}

}  // namespace kavrel
