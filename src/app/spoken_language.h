// Which language the program speaks.
#pragma once

#include <string_view>

namespace kavrel {

/// The code of the language that was chosen; with an empty one that of the system's which there is
/// a translation for, else Traditional Chinese.
std::string_view SpokenLanguage(std::string_view chosen);

/// The code that the settings of this program folder have ("" = the usual one), read before
/// anything else is; empty where they have none.
std::string_view StoredLanguage(std::u16string_view home);

}  // namespace kavrel
