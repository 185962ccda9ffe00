// Which languages the user reads.
#pragma once

#include <string>
#include <vector>

namespace kavrel {

/// Names of locales or languages ("de_AT.UTF-8", "fr"), the best first: what LANGUAGE, LC_ALL,
/// LC_MESSAGES and LANG name, in the order in which gettext asks them; where no locale is named so,
/// SystemLanguages. Empty in the C locale.
std::vector<std::string> UserLanguages();

/// What the system itself knows about that: on Windows the display languages; elsewhere nothing.
std::vector<std::string> SystemLanguages();

}  // namespace kavrel
