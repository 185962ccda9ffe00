// How much a run has before it: the files of its source tree, counted a little at a time while the
// run is at work.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/file_choice.h"
#include "engine/folder_pair.h"
#include "files/path_set.h"
#include "platform/files.h"
#include "rules/exclusion_rules.h"

namespace kavrel {

/// Goes where the run's own walk goes and counts what that counts as SourceFiles and SourceBytes,
/// but for what changes meanwhile. Opens one folder a level, writes nothing and reports no failure.
class TreeCount {
 public:
  /// `to` is where the run puts its copies: it is left out when it lies inside `from`. With `job`,
  /// the job's file types, size limit and the exclusion rules count, as they do in a backup. All
  /// of the arguments outlive the count.
  TreeCount(const FileSystem& files, std::u16string_view from, std::u16string_view to,
            bool subfolders, const BackupJob* job, const ExclusionSet* exclusions);

  /// Counts only what this set holds, by paths relative to `from`. It outlives the count.
  void CountOnly(const PathSet& only) { only_ = &only; }

  /// Counts on, over at most so many entries. True when the whole tree is counted.
  bool Advance(std::size_t entries);
  bool Done() const { return done_; }
  std::uint64_t Files() const { return files_counted_; }
  std::uint64_t Bytes() const { return bytes_; }

 private:
  struct Level {
    kavrel::Folder Folder;
    std::vector<std::u16string> Subfolders;
    std::size_t Next = 0;  ///< of the subfolders
    std::size_t PathLength = 0;
  };

  void Enter(Result<Folder> folder, std::size_t path_length);
  void EnterNext();
  std::u16string Relative(std::u16string_view path) const;
  void Take(const FolderEntry& entry);

  const FileSystem& file_system_;
  const std::u16string to_;
  const ExclusionSet* exclusions_;
  FolderExclusions excluded_here_;
  const bool subfolders_;
  const PathSet* only_ = nullptr;
  std::optional<FileChoice> choice_;  ///< none: every file
  std::u16string path_;               ///< of the folder at work, with its trailing separator
  const std::size_t root_length_;
  FolderIdentity dest_root_;
  std::vector<Level> levels_;
  std::unique_ptr<FolderReader> reader_;  ///< over the last level's folder
  std::uint64_t files_counted_ = 0, bytes_ = 0;
  bool started_ = false, done_ = false;
};

}  // namespace kavrel
