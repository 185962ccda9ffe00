// The desktop's launcher files.
#pragma once

#include <string>
#include <string_view>

namespace kavrel {

/// One argument as the Exec key of a desktop entry takes it: quoted, and escaped so that the
/// program receives exactly these bytes.
std::string QuoteExecArgument(std::string_view argument);

/// A text as the value of any other key.
std::string EscapeEntryText(std::string_view text);

}  // namespace kavrel
