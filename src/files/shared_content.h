// How a copy gets its content from another one on the same disk, without that being copied: by
// sharing its blocks, or by becoming one more name of it. The file system's answers decide.
#pragma once

#include <atomic>
#include <cstdint>

#include "files/file_copy.h"

namespace kavrel {

/// Several threads may use one.
class SharedContent {
 public:
  /// What is tried.
  struct Ways {
    bool Clone = false, Link = false;
  };
  explicit SharedContent(Ways ways) : clones_(ways.Clone), links_(ways.Link) {}

  /// Whether there is a way left.
  bool Possible() const { return clones_ || links_; }
  /// Whether copies may share blocks and yet differ beside their content.
  bool MayClone() const { return clones_; }

  /// Makes a copy of the source with the content of `like`, up to its commit. `same`: they are the
  /// same beside it, too, so that it may be one more name. Where this fails nothing is left.
  ErrorCode Stage(TempNames& names, const CopySide& source, const CopySide& like,
                  const CopySide& dest, bool same, StagedFile& staged);

  /// A file had as many names as it may have.
  bool MetFullFile() const { return full_; }

 private:
  /// What the file system says before it has done a thing once is said of all files.
  std::atomic<bool> clones_, links_, cloned_ = false, linked_ = false, full_ = false;
};

}  // namespace kavrel
