// The marks of what is mounted, as they were when somebody relied on them first. One disk may take
// the place of another at any moment, with the same device and the same number of its mount.
#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <string_view>

#include "platform/mounts.h"

namespace kavrel {

class DiskMarks {
 public:
  /// Of a loaded table that outlives this.
  explicit DiskMarks(const MountTable& table) : table_(table) {}

  /// MountTable::MarkOf, as it was when this was asked of the path first.
  const std::u16string& Of(const std::u16string& path) {
    const auto found = marks_.find(path);
    return found != marks_.end() ? found->second
                                 : marks_.emplace(path, table_.MarkOf(path)).first->second;
  }
  /// Whether a table that is loaded by now has the same mounts, with all the marks that were told.
  bool AreSameIn(const MountTable& now) const {
    return now.IsSame(table_) && std::ranges::all_of(marks_, [&](const auto& told) {
             return now.MarkOf(told.first) == told.second;
           });
  }

 private:
  const MountTable& table_;
  std::map<std::u16string, std::u16string> marks_;  ///< by path
};

}  // namespace kavrel
