// Values as JSON holds them.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "base/date_time.h"

namespace kavrel {

/// UTF-8 for JSON; bytes that are no text are left for PrintJson to replace.
std::string JsonText(std::u16string_view text);

/// "2026-11-24T01:00:00", local time; null for the zero date.
nlohmann::json JsonTime(DateTime time);

/// Prints indented JSON; what is no valid UTF-8 becomes U+FFFD.
void PrintJson(const nlohmann::json& value);

}  // namespace kavrel
