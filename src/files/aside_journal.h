// What is being replaced at this moment, written down so that the run after one that was killed can
// put it right. Before the copy sets an old file aside, its place, its temporary name and its marks
// go into a slot of "Aside.jnl" in the program folder; the slot is free again when nothing is aside
// any more. Nothing is synced: a killed process loses no written bytes. docs/reliability.md tells
// the format and the rules.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace kavrel {

/// One file that is being replaced, a large new one that is being written, or a folder that is to
/// go with all that is in it.
struct AsideRecord {
  std::u16string_view Folder;  ///< with its final separator
  std::u16string_view Aside;   ///< the old file's temporary name; empty when there is no old file
  std::u16string_view Name;
  const FileStatus* Old;  ///< null when there is no old file
  const FileStatus* New;  ///< the source: what a complete copy looks like
};

enum class Healing {
  PutBack,       ///< the old file bears its name again
  AsideRemoved,  ///< the new file is complete, the old one is gone
  PartRemoved,   ///< half of a new file is gone
  Unknown,       ///< something else bears the name: both stay as they are
  Failed,        ///< left for the next run
};

/// Begin, NoteMade and End may be called from several threads.
class AsideJournal {
 public:
  static constexpr int kNoSlot = -1;
  /// Called with what was done and the path it was done to.
  using Report = std::function<void(Healing, std::u16string_view)>;

  explicit AsideJournal(const FileSystem& files);

  /// Settles what earlier runs, or this one, have left open. What cannot be reached now (a disk
  /// that is not there) stays in the journal.
  void Heal(const Report& report);

  /// To be called before anything is done. kNoSlot when it cannot be written down; the copy goes
  /// on all the same.
  int Begin(const AsideRecord& record);
  /// The new file exists: `made` tells which it is.
  void NoteMade(int slot, const Result<FileStatus>& made);
  /// Neither an old file aside nor half of a new one is left.
  void End(int slot);

 private:
  enum class Outcome { Settled, Open };
  Outcome Settle(std::string_view slot, const Report& report) const;

  const FileSystem& files_;
  const std::u16string path_;
  std::mutex mutex_;
  File file_;
  std::vector<bool> taken_;  ///< slots in use
  bool failed_ = false;
};

}  // namespace kavrel
