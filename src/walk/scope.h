// What of a source tree belongs to a job. Backups, their previews and looks ahead, verifications,
// restores, counts and the lists of archives all ask here, so that none of them sees another tree
// than the others.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/backup_job.h"
#include "core/run_plan.h"
#include "files/folder_identity.h"
#include "files/path.h"
#include "files/path_set.h"
#include "files/temp_names.h"
#include "platform/files.h"
#include "rules/date_tokens.h"
#include "rules/exclusion_rules.h"

namespace kavrel {

/// The beginning of the log's line for a file that stays out for this reason.
std::u16string_view LeftOutText(PlanReason reason);

/// The part of a scope that concerns the entries of one folder. The scope outlives it.
class FolderScope {
 public:
  FolderScope() = default;

  /// How often a run comes to a file of that name: once for each pattern that finds it, 0 when it
  /// is none of the job's.
  std::uint32_t TimesTaken(std::u16string_view name) const;
  /// Why a file that is one of the job's stays out all the same, as far as its name and kind tell.
  std::optional<PlanReason> LeavesOut(const FolderEntry& file) const;
  /// Whether no name keeps a file out, but for what a backup makes for itself.
  bool TakesAllNames() const;
  /// Whether the walk is to go into a subfolder of that name.
  bool TakesFolder(std::u16string_view name) const;

 private:
  friend class Scope;
  std::uint32_t CountTaken(std::u16string_view name) const;
  const class Scope* scope_ = nullptr;
  FolderExclusions exclusions_;
  std::u16string at_;    ///< relative to the root, where the scope is a choice of paths
  std::u16string path_;  ///< for the trace, where one is written
};

/// A walk makes its own; two threads may ask the same one once SetOwn has been called, without
/// names.
class Scope {
 public:
  /// What a plain run of the job copies, and its verification compares. `own` is the destination's
  /// path: no part of the source, should it lie in it. The arguments outlive the scope.
  Scope(const FileSystem& files, const BackupJob& job, const ExclusionSet& rules,
        std::u16string_view own);
  /// What a run of the job packs: its file types and its size limit, no exclusion rules.
  static Scope OfArchive(const BackupJob& job);
  /// What a restore brings back: everything, or without `files` the folders alone. The backup may
  /// lie in what it is restored to.
  static Scope OfRestore(bool subfolders, bool files = true);
  /// What of the tree below `root` was picked. `only` outlives the scope.
  static Scope OfPicked(std::u16string_view root, const PathSet& only);

  /// The destination, once it is open or made, and the root of the source where that is open. The
  /// caller keeps them open as long as the walk lasts, so that nothing else gets their identity.
  /// With `names`, a file that is made there for a moment tells for sure where it is seen in the
  /// source; without them nothing is written, and what the entries look like has to do.
  void SetOwn(const Folder& folder, const Folder* source = nullptr, TempNames* names = nullptr);
  const FolderIdentity& Own() const { return own_; }
  /// Whether it has a destination that must not be its source.
  bool HasOwn() const { return !own_path_.empty(); }

  /// Whether an exclusion rule leaves the folder out with all that is in it. Its path ends with its
  /// separator.
  bool IsExcluded(std::u16string_view folder) const;
  /// Whether the folder is the job's destination or lies in it: by its path as far as that tells,
  /// and where it is open by its identity, and by its mark where it may be seen through something
  /// that gives its folders other numbers; never by letters that two paths share. What the job's
  /// former runs made of a destination with dates is part of it, by whatever way it is seen here.
  bool IsOwn(std::u16string_view path, const Folder& folder, const FileStatus& status) const;
  /// The same of the walk's root, which may lie in the destination under any path.
  bool IsOwnRoot(std::u16string_view path, const Folder& root) const;

  /// Whether the folder is one of those that the job's former runs may have made, or put archives
  /// into, of a destination with dates.
  bool MayHoldStates(std::u16string_view folder) const {
    return !own_states_.empty() && PathStartsWith(folder, own_states_);
  }

  /// `folder`: its path with its trailing separator.
  FolderScope In(std::u16string_view folder) const;
  /// Links and folders have no size that counts.
  bool WithinSizeLimit(const FileStatus& file) const;
  /// The path of a folder below the root, its parts joined by "/". Of a choice of paths alone.
  std::u16string Relative(std::u16string_view folder) const;

  /// The job's patterns in their order; none where each name comes once.
  const std::vector<std::u16string>& Patterns() const { return patterns_; }

 private:
  friend class FolderScope;
  Scope() = default;
  void TakeTypes(const BackupJob& job);
  void TakeStates(const BackupJob& job);
  bool IsOwnPath(std::u16string_view path) const;
  bool IsOwnByMark(std::u16string_view path, const Folder& folder) const;
  /// Whether the one is the other, where that can be made sure of.
  std::optional<bool> IsOneWith(const Folder& folder, const Folder& other) const;
  bool MayBeOwn(const Folder& folder, bool named_so, bool marked) const;
  bool IsNamedAsState(std::u16string_view name) const;

  const FileSystem* system_ = nullptr;    ///< null: no folder is the job's own
  const BackupJob* job_ = nullptr;        ///< null: no file types and no size limit
  const ExclusionSet* rules_ = nullptr;   ///< null: none
  const PathSet* only_ = nullptr;         ///< null: everything
  std::vector<std::u16string> patterns_;  ///< empty: all names, or those that no pattern finds
  std::u16string own_path_;               ///< with its trailing separator; empty: none
  std::u16string own_states_;             ///< what holds all dated ones, likewise
  std::optional<DatedPath> dated_;        ///< the destination, where it has dates
  FolderIdentity own_;
  const Folder* own_folder_ = nullptr;  ///< open, and the caller's
  TempNames* names_ = nullptr;          ///< the caller's
  mutable bool own_marked_ = false;     ///< as far as it was asked, where there are names
  bool own_has_views_ = false;   ///< the destination may be in the source under any name and number
  bool numbers_differ_ = false;  ///< it may be there under any number
  std::size_t root_length_ = 0;
  bool subfolders_ = true, files_ = true;
};

}  // namespace kavrel
