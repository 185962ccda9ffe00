// The command line: names of jobs to run, separated by blanks, in double quotes where a name holds
// blanks. Two double quotes in a row inside a name stand for one.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

/// The name that begins at `position`, which is moved to the next one or to the end.
std::u16string NextArgument(std::u16string_view command_line, std::size_t& position);

/// All names; an empty command line gives one empty name.
std::vector<std::u16string> SplitArguments(std::u16string_view command_line);

/// The command line that SplitArguments takes apart into these names.
std::u16string JoinArguments(std::span<const std::u16string> names);

}  // namespace kavrel
