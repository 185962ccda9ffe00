// What keeps a mirror run from emptying a destination by mistake: a source that is not mounted or
// has lost its files, a destination that is somebody else's.
#pragma once

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/run_context.h"
#include "files/twin_names.h"

namespace kavrel {

/// What a look ahead has seen of destination folders: which of their entries the source does not
/// have. Two folders of one number do no harm, for whatever is removed is looked up in the source
/// once more.
class ForeseenFolders {
 public:
  struct Folder {
    std::vector<FolderEntry> Gone;
    NameManners Manners;
  };
  /// A folder for whose names there is no more room stays unknown.
  void Insert(const FileStatus& folder, Folder seen) {
    names_ += seen.Gone.size();
    if (names_ <= kMostNames) folders_.insert_or_assign(NumberOf(folder), std::move(seen));
  }
  void Add(ForeseenFolders others) {
    names_ += others.names_;
    if (names_ <= kMostNames) folders_.merge(others.folders_);
  }
  /// Null for a folder that is not known.
  const Folder* Find(const FileStatus& folder) const {
    const auto found = folders_.find(NumberOf(folder));
    return found == folders_.end() ? nullptr : &found->second;
  }

 private:
  static constexpr std::size_t kMostNames = 100'000;
  static std::uint64_t NumberOf(const FileStatus& folder) {
    return folder.Device * 0x9E3779B97F4A7C15 ^ folder.Id;
  }
  std::unordered_map<std::uint64_t, Folder> folders_;
  std::size_t names_ = 0;
};

/// To be asked before the run's first removal. Looks ahead over all that the run would remove, by
/// the code that removes it; what it has seen is put into `foreseen`, so that the run need not list
/// the folders again. False when the run is to stop: the host was asked and did not
/// agree. The report's Refusal and the log tell why.
bool PassMirrorGuard(RunContext& context, const BackupJob& job, ForeseenFolders& foreseen);

/// Why the guard would stop the run, in words; empty when it would not.
std::u16string MirrorObjection(const RunContext& context, const BackupJob& job);

}  // namespace kavrel
