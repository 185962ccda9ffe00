// Values as JSON holds them.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "base/date_time.h"

namespace kavrel {

/// UTF-8 for JSON; bytes that are no text are left for PrintJson to replace.
std::string JsonText(std::u16string_view text);

/// The text; null for an empty one.
nlohmann::json JsonTextOrNull(std::string_view text);

/// Grows when a key changes its meaning or goes; what is only added leaves it alone.
inline constexpr int kJsonFormat = 1;

/// "2026-11-24T01:00:00+08:00", local time with its distance from UTC; null for the zero date.
nlohmann::json JsonTime(DateTime time);

/// Prints indented JSON; what is no valid UTF-8 becomes U+FFFD.
void PrintJson(const nlohmann::json& value);
/// The same in one line, which goes out at once.
void PrintJsonLine(const nlohmann::json& value);

}  // namespace kavrel
