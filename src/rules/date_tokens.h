// Date tags in destination paths: D:\Backup\<yy>-<mm>-<dd>\ names the moment of the run.
#pragma once

#include <string>
#include <string_view>

namespace kavrel {

class Clock;

/// The path with every tag pair expanded; each pair reads the clock afresh.
std::u16string ExpandDateTokens(std::u16string_view path, Clock& clock);

}  // namespace kavrel
