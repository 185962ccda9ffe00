// What a user wants back of a backup, and where to.
#pragma once

#include <string>

#include "files/path_set.h"

namespace kavrel {

struct RestorePick {
  PathSet Paths;          ///< relative to the backup's root
  std::u16string Target;  ///< folder that receives them with their folders; empty: their place
  /// Whatever is there is replaced; else files that were written after the one in the backup, or
  /// have its size and time, stay.
  bool ReplaceNewer = false;
};

}  // namespace kavrel
