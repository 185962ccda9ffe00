// The loop over a source tree: from the root down each folder of a scope is opened once and told
// entry by entry, and then its subfolders are gone into, one after the other.
//
// Counts, the lists of archives and verifications go this way. Two walks have a loop of their own
// and ask the same Scope: that of backups and restores (engine/tree_walk) takes files pattern by
// pattern and has the next folder listed by another thread while those of this one have their turn;
// the mirror guard's look ahead (engine/mirror_guard) lists the destination, not the source, and
// goes on two threads where both sides have a folder.
#pragma once

#include <cstdint>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/run_plan.h"
#include "platform/files.h"
#include "walk/scope.h"

namespace kavrel {

/// The folder that a traversal is in. What it refers to stays until the traversal has left it, but
/// for the path, which is valid during a call.
struct TraversedFolder {
  const Folder& Opened;
  const FileStatus& Status;
  std::u16string_view Name;  ///< in its parent; empty for the root
  std::u16string_view Path;  ///< with its trailing separator
  const Scope& Rules;        ///< of the whole tree
  const FolderScope& Here;

  bool IsRoot() const { return Name.empty(); }
};

/// What is told of a tree. Each folder is entered, its entries are told, it is listed, the
/// subfolders follow, and it is left.
class TreeVisitor {
 public:
  virtual ~TreeVisitor() = default;

  /// Asked before each step; with false the traversal is over, and nothing more is told.
  virtual bool GoesOn() { return true; }
  /// False: the folder is neither listed nor left.
  virtual bool Enter(const TraversedFolder&) { return true; }
  /// Anything but a folder. `times`: how often a run comes to it; 0 when it is none of the job's.
  virtual void TakeFile(const TraversedFolder& in, const FolderEntry& file,
                        std::uint32_t times) = 0;
  /// `taken`: whether it is one of the job's. Gives whether it is to be gone into.
  virtual bool TakeSubfolder(const TraversedFolder&, const FolderEntry&, bool taken) {
    return taken;
  }
  /// All entries have been told, or with an error those before it.
  virtual void Listed(const TraversedFolder&, ErrorCode) {}
  virtual void Leave(const TraversedFolder&) {}
  /// A folder that is left out as a whole. `path` ends with its separator; `name`: as of the
  /// TraversedFolder that it does not become.
  virtual void LeaveOut(std::u16string_view path, std::u16string_view name, PlanReason reason) {
    static_cast<void>(path), static_cast<void>(name), static_cast<void>(reason);
  }
  /// A folder that cannot be looked at; the arguments as before.
  virtual void Fail(std::u16string_view path, std::u16string_view name, ErrorCode error) {
    static_cast<void>(path), static_cast<void>(name), static_cast<void>(error);
  }
};

class Traverse {
 public:
  /// `own`: where a run puts its copies, which is left out when it lies below `root`; empty:
  /// nothing is. The files, the visitor and what the scope refers to outlive the traversal.
  Traverse(const FileSystem& files, std::u16string_view root, std::u16string_view own, Scope scope,
           TreeVisitor& visitor);
  Traverse(const Traverse&) = delete;
  Traverse& operator=(const Traverse&) = delete;

  /// Goes on by at most so many entries and folders. True when it is over.
  bool Advance(std::size_t steps);
  void Run() { Advance(std::numeric_limits<std::size_t>::max()); }

 private:
  struct Level {
    Folder Opened;
    FileStatus Status;
    std::u16string Name;
    FolderScope Here;
    std::size_t PathLength = 0;  ///< of the parent's path
    std::vector<std::u16string> Subfolders{};
    std::size_t Next = 0;  ///< of them
  };

  /// `parent` is null for the root; `path_` is the folder's already.
  void Enter(const Folder* parent, std::u16string name, std::size_t parent_length);
  /// Tells the next entry, or that there is none.
  void ReadOn();
  void EnterNext();
  void End();
  TraversedFolder Told(const Level& level) const {
    return {level.Opened, level.Status, level.Name, path_, scope_, level.Here};
  }

  const FileSystem& files_;
  const std::u16string own_path_;
  TreeVisitor& visitor_;
  Scope scope_;
  Folder own_;           ///< open as long as the traversal lasts
  std::u16string path_;  ///< of the folder at work
  std::deque<Level> levels_;
  std::optional<FolderReader> reader_;  ///< over the last level's folder
  bool begun_ = false, done_ = false;
};

}  // namespace kavrel
