// How much a run has before it: the files of its source tree, counted a little at a time while the
// run is at work.
#pragma once

#include <cstdint>
#include <string_view>

#include "walk/traverse.h"

namespace kavrel {

/// Goes where the run's own walk goes and counts what that counts as SourceFiles and SourceBytes,
/// but for what changes meanwhile. Opens one folder a level, writes nothing and reports no failure.
class TreeCount final : private TreeVisitor {
 public:
  /// `to` is where the run puts its copies: it is left out when it lies inside `from`. The files
  /// and what the scope refers to outlive the count.
  TreeCount(const FileSystem& files, std::u16string_view from, std::u16string_view to, Scope scope)
      : traverse_(files, from, to, std::move(scope), *this) {}

  /// Counts on, over at most so many entries. True when the whole tree is counted.
  bool Advance(std::size_t entries) { return done_ = traverse_.Advance(entries); }
  bool Done() const { return done_; }
  std::uint64_t Files() const { return files_; }
  std::uint64_t Bytes() const { return bytes_; }

 private:
  void TakeFile(const TraversedFolder& in, const FolderEntry& file, std::uint32_t times) override;

  Traverse traverse_;
  std::uint64_t files_ = 0, bytes_ = 0;
  bool done_ = false;
};

}  // namespace kavrel
