// Names of one folder that some disks take for the same: they differ in letter case, or in dots and
// blanks at their end. On such a disk one of them would land in the other's place, and what the run
// has just written there would be lost.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace kavrel {

class TwinNames {
 public:
  /// Notes a name. Gives the first one that a disk may take for it, empty when there was none;
  /// valid until the next call.
  std::u16string_view Note(std::u16string_view name);

 private:
  /// A place in a table that is never more than half full: each key lies at its own place or at
  /// the next free one. A map would take longer than looking at a file's status does.
  struct Slot {
    std::uint64_t Key = 0;
    std::size_t End = 0;  ///< where in `names_` the name with this key ends; 0: free
  };
  Slot& Find(std::uint64_t key);

  std::u16string names_;  ///< one after the other, each with a NUL in front
  std::vector<Slot> slots_;
  std::size_t used_ = 0;
};

/// True when both are what is told of one entry that goes by two names, without having two.
bool IsOneEntry(const Result<FileStatus>& a, const Result<FileStatus>& b);
/// True when the folder holds one entry that both names mean.
inline bool MeanTheSame(const Folder& folder, std::u16string_view a, std::u16string_view b) {
  return IsOneEntry(folder.Status(a), folder.Status(b));
}

}  // namespace kavrel
