// What a user wants back of a backup, and where to.
#pragma once

#include <string>

#include "files/path_set.h"

namespace kavrel {

struct RestorePick {
  PathSet Paths;          ///< relative to the backup's root
  std::u16string Target;  ///< folder that receives them with their folders; empty: their place
  /// Files that were written after the one in the backup are replaced, too; else they stay.
  bool ReplaceNewer = false;
};

}  // namespace kavrel
