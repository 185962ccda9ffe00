#include "cli/json_text.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "base/text.h"

namespace kavrel {

std::string JsonText(std::u16string_view text) {
  return ToUtf8(text);
}

nlohmann::json JsonTime(DateTime time) {
  if (time == kZeroDate) return nullptr;
  return ToUtf8(IsoText(time, u'T'));
}

void PrintJson(const nlohmann::json& value) {
  std::printf("%s\n", value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

}  // namespace kavrel
