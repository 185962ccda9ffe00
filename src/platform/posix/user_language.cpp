#include "platform/user_language.h"

namespace kavrel {

std::vector<std::string> SystemLanguages() {
  return {};
}

}  // namespace kavrel
