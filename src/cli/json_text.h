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

/// A text that the core has composed, in English whatever the user speaks: what scripts read is the
/// same for all. For the command line's one thread.
std::u16string EnglishText(std::u16string_view text);
/// The same for JSON; null for an empty one.
nlohmann::json JsonReason(std::u16string_view text);

/// Grows when a key changes its meaning or goes; what is only added leaves it alone.
inline constexpr int kJsonFormat = 1;

/// "2026-11-24T01:00:00+08:00", local time with its distance from UTC; null for the zero date.
nlohmann::json JsonTime(DateTime time);

/// Prints indented JSON; what is no valid UTF-8 becomes U+FFFD. An object also tells the format.
void PrintJson(nlohmann::json value);
/// The same in one line, which goes out at once.
void PrintJsonLine(nlohmann::json value);

}  // namespace kavrel
