#include "cli/json_text.h"

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "base/text.h"
#include "base/translation.h"
#include "platform/clock.h"

namespace kavrel {

namespace {

void Print(nlohmann::json value, int indent) {
  if (value.is_object()) value["format"] = kJsonFormat;
  constexpr auto kReplace = nlohmann::json::error_handler_t::replace;
  std::printf("%s\n", value.dump(indent, ' ', false, kReplace).c_str());
}

}  // namespace

std::string JsonText(std::u16string_view text) {
  return ToUtf8(text);
}

nlohmann::json JsonTextOrNull(std::string_view text) {
  return text.empty() ? nlohmann::json() : nlohmann::json(text);
}

std::u16string EnglishText(std::u16string_view text) {
  const std::string_view spoken = CurrentLanguage().Code;
  SetLanguage("en");
  std::u16string shown = Shown(text);
  SetLanguage(spoken);
  return shown;
}

nlohmann::json JsonReason(std::u16string_view text) {
  return JsonTextOrNull(JsonText(EnglishText(text)));
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

void PrintJson(nlohmann::json value) {
  Print(std::move(value), 2);
}

void PrintJsonLine(nlohmann::json value) {
  Print(std::move(value), -1);
  std::fflush(stdout);
}

}  // namespace kavrel
