// Which of an entry's metadata its copy can hold, as the destination's file system and the rights
// of the user tell beforehand. A run asks it for every file that it leaves alone, so it answers
// from what the looks at both sides have told and calls nothing.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/files.h"

namespace kavrel {

class MetadataPlace {
 public:
  MetadataPlace(const Folder& source, const Folder& dest);

  /// Whether permissions or owner of a copy differ from those of its source as far as the copy
  /// could have them. Any thread may ask.
  bool Differs(const FileStatus& source, const FileStatus& copy) const;
  /// Whether their extended attributes may differ. They do not where nothing about the source has
  /// changed since the copy was made; that can be told where one clock has set both times. Any
  /// thread may ask.
  bool AttributesMayDiffer(const FileStatus& source, const FileStatus& copy) const;
  /// False where only trying shows what the file system holds: what it refuses there is no failure.
  bool IsKnown() const { return known_; }

 private:
  bool known_ = true;  ///< the file system is one that is known to hold these things, or not to
  bool only_locks_ = false;  ///< of permissions it holds no more than whether one may write
  bool any_owner_ = false;   ///< the user may give files away
  bool attributes_ = false;  ///< it holds extended attributes
  bool one_clock_ = false;
  std::uint64_t source_device_ = 0, dest_device_ = 0;
  std::uint32_t user_ = 0;
  std::vector<std::uint32_t> groups_;  ///< that the user may give files to
};

}  // namespace kavrel
