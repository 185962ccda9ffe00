// Lines of a job log as a screen shows them.
#pragma once

#include <string>
#include <string_view>

namespace kavrel {

/// The line in the user's language, its date-time in front included; one that is not known as it
/// stands in the file.
std::u16string ShownLogLine(std::u16string_view line);

}  // namespace kavrel
