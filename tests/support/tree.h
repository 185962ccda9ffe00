// Real folder trees: making them and comparing them.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace kavrel {

/// Copies a tree with what its entries have beside their content, where there is such a thing.
void CopyExactly(const std::filesystem::path& from, const std::filesystem::path& to);

/// Differences between two trees as lines of text, empty when there are none: entries, kinds,
/// content, link targets, permissions, modification times to the nanosecond (of folders, too).
/// The file of a backup's mark at its top is none.
/// Pipes, sockets and devices of the first tree must be missing from the second.
std::string TreeDifferences(const std::filesystem::path& a, const std::filesystem::path& b);

/// What the comparison needs of the system: compares two entries themselves, telling `report` what
/// differs; true for two folders, whose content is to be compared.
bool CompareEntries(const std::filesystem::path& a, const std::filesystem::path& b,
                    const std::function<void(const char*)>& report);
/// Whether a backup keeps it.
bool IsKept(const std::filesystem::directory_entry& entry);

}  // namespace kavrel
