// Where temporary files of ours may lie, written down so that the run after one that was killed, or
// after a power cut, can clear them away. A run's record is on the disk before its first temporary
// file is made: it tells the folder below which all of them are, and which numbers they bear. So
// nothing has to be written down for each file. docs/reliability.md tells the format and the rules.
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace kavrel {

/// "pt" + number + ".tmp", the name that a copy has until it is complete and on the disk.
std::u16string TempName(std::uint64_t number);
/// The number in such a name.
std::optional<std::uint64_t> TempNumber(std::u16string_view name);

/// A complete copy that is about to be given its name.
struct NameChange {
  std::u16string Folder;  ///< with its final separator
  std::u16string Temp, Name;
};

enum class Healing {
  Completed,    ///< a complete file that bore no name any more bears its own
  PartRemoved,  ///< a temporary file or folder is gone
  Failed,       ///< left for the next run
};

/// All but Heal may be called from several threads.
class StagingJournal {
 public:
  static constexpr int kNoRecord = -1;
  /// How many numbers a record covers at first, and how many more each time these are used up.
  static constexpr std::uint64_t kNumbers = 1'000'000;
  /// Called with what was done and the path it was done to.
  using Report = std::function<void(Healing, std::u16string_view)>;

  explicit StagingJournal(const FileSystem& files);

  /// Clears away what earlier runs, or this one, have left. What cannot be reached now (a disk that
  /// is not there) stays in the journal. Nothing is removed that no record covers: its numbers are
  /// nobody else's.
  void Heal(const Report& report);

  /// Notes that temporary files will be made below `root`, with numbers from `first` on; returns
  /// when that is on the disk. kNoRecord when it cannot be written down; the run goes on all the
  /// same.
  int BeginFiles(std::u16string_view root, std::uint64_t first);
  /// The same for one temporary folder in `root`, which goes with all that is in it.
  int BeginFolder(std::u16string_view root, std::uint64_t number);
  /// As many more numbers as at first.
  void Extend(int record);
  /// These names are changed next, on a disk where a power cut may take both names of a file. They
  /// take the place of those noted before.
  void NoteChanges(int record, std::span<const NameChange> changes);
  /// Nothing temporary is left.
  void End(int record);

 private:
  struct Record {
    bool IsFolder = false;
    std::u16string Root;  ///< with its final separator
    std::u16string Disk;  ///< its DiskOfMark, where it has one: another may be there by now
    std::uint64_t First = 0, Count = 0;
    std::vector<NameChange> Changes;
    bool Ended = false;
  };
  static std::string Write(const std::vector<Record>& records);
  static std::vector<Record> Read(std::string_view text);
  class Healer;

  /// The mark of the disk that a folder lies on, or will; empty where it has none.
  std::u16string DiskOf(std::u16string_view folder) const;
  int Begin(Record record);
  /// Whether the journal is on the disk as it is here.
  bool Save();

  const FileSystem& files_;
  const std::u16string path_;
  std::mutex mutex_;
  std::vector<Record> records_;
  bool unreadable_ = false;  ///< records that cannot be read now must not be written over
  bool loaded_ = false;
};

}  // namespace kavrel
