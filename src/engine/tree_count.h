// How much a run has before it: the files of its source tree, counted a little at a time while the
// run is at work.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/files.h"
#include "walk/scope.h"

namespace kavrel {

/// Goes where the run's own walk goes and counts what that counts as SourceFiles and SourceBytes,
/// but for what changes meanwhile. Opens one folder a level, writes nothing and reports no failure.
class TreeCount {
 public:
  /// `to` is where the run puts its copies: it is left out when it lies inside `from`. The files
  /// and what the scope refers to outlive the count.
  TreeCount(const FileSystem& files, std::u16string_view from, std::u16string_view to, Scope scope);

  /// Counts on, over at most so many entries. True when the whole tree is counted.
  bool Advance(std::size_t entries);
  bool Done() const { return done_; }
  std::uint64_t Files() const { return files_counted_; }
  std::uint64_t Bytes() const { return bytes_; }

 private:
  struct Level {
    kavrel::Folder Folder;
    std::vector<std::u16string> Subfolders;
    FolderScope Here;
    std::size_t Next = 0;  ///< of the subfolders
    std::size_t PathLength = 0;
  };

  void Enter(Result<Folder> folder, std::size_t path_length);
  void EnterNext();
  void Take(const FolderEntry& entry);

  const FileSystem& file_system_;
  const std::u16string to_;
  Folder dest_;  ///< open while it is counted
  Scope scope_;
  std::u16string path_;  ///< of the folder at work, with its trailing separator
  std::vector<Level> levels_;
  std::unique_ptr<FolderReader> reader_;  ///< over the last level's folder
  std::uint64_t files_counted_ = 0, bytes_ = 0;
  bool started_ = false, done_ = false;
};

}  // namespace kavrel
