// The catalogues of po/, which the build has put into the program.
#pragma once

#include <string_view>

namespace kavrel {

/// The compiled catalogue of a language; empty where there is none.
std::string_view EmbeddedTranslation(std::string_view code);

}  // namespace kavrel
