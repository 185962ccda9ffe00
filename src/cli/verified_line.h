// The line of a file that was verified, for -v.
#pragma once

#include <string_view>

namespace kavrel {

void PrintVerified(std::u16string_view path);

}  // namespace kavrel
