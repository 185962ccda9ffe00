// Real folder trees: making them and comparing them.
#pragma once

#include <filesystem>
#include <string>

namespace kavrel {

/// Differences between two trees as lines of text, empty when there are none: entries, kinds,
/// content, link targets, permissions, modification times to the nanosecond (of folders, too).
/// Pipes, sockets and devices of the first tree must be missing from the second.
std::string TreeDifferences(const std::filesystem::path& a, const std::filesystem::path& b);

}  // namespace kavrel
