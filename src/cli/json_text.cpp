#include "cli/json_text.h"

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "base/text.h"
#include "platform/clock.h"

namespace kavrel {

std::string JsonText(std::u16string_view text) {
  return ToUtf8(text);
}

nlohmann::json JsonTextOrNull(std::string_view text) {
  return text.empty() ? nlohmann::json() : nlohmann::json(text);
}

nlohmann::json JsonTime(DateTime time) {
  if (time == kZeroDate) return nullptr;
  const std::int64_t utc = FileTimeOf(time, 0).Seconds;
  const auto minutes = static_cast<int>((time.time_since_epoch().count() - utc) / 60);
  char offset[8];
  std::snprintf(offset, sizeof offset, "%c%02d:%02d", minutes < 0 ? '-' : '+',
                std::abs(minutes) / 60 % 100, std::abs(minutes) % 60);
  return ToUtf8(IsoText(time, u'T')) + offset;
}

void PrintJson(const nlohmann::json& value) {
  std::printf("%s\n", value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
}

void PrintJsonLine(const nlohmann::json& value) {
  std::printf("%s\n", value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
  std::fflush(stdout);
}

}  // namespace kavrel
