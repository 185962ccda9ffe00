// Which entries of the source a state was made from, and where each came to lie in it: what was
// moved or has changed names since is found by that. One file for a job, in the program folder
// (docs/formats.md); its loss costs no more than that.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/date_time.h"
#include "platform/files.h"

namespace kavrel {

/// What tells one entry of a source from all others that were there before and after it.
struct EntryIdentity {
  std::uint64_t Id = 0;
  std::uint64_t Mark = 0;  ///< when its disk made it; where that is not known, its device

  auto operator<=>(const EntryIdentity&) const = default;
};
EntryIdentity IdentityInRecord(const FileStatus& status);
/// When the system last recorded a change of an entry; 0 where that is not known, or may not tell
/// the next change from it. Who writes may put size and time back, but not that.
std::uint64_t ChangeInRecord(const FileStatus& status);

/// The state that a record is about: the chance number of its mark, and the time in it.
struct RecordedState {
  std::u16string Number;
  DateTime Begun = kZeroDate;

  bool operator==(const RecordedState&) const = default;
};

/// The path of a job's record.
std::u16string StateRecordPath(const FileSystem& files, std::u16string_view job_id);

/// Writes one while a run goes on. For the run's own thread. A failure ends the record, not the
/// run.
class StateRecordWriter {
 public:
  /// Makes the file beside `path`, where it takes its place in the end.
  StateRecordWriter(const FileSystem& files, std::u16string path);
  /// Removes what has not taken its place.
  ~StateRecordWriter();
  StateRecordWriter(const StateRecordWriter&) = delete;
  StateRecordWriter& operator=(const StateRecordWriter&) = delete;

  /// Notes a folder in another one, which is what this gave for it; 0 and an empty name for the
  /// root.
  std::uint64_t AddFolder(std::uint64_t parent, std::u16string_view name, const FileStatus& source);
  void AddFile(std::uint64_t folder, std::u16string_view name, const FileStatus& source);
  /// The state is whole: the record takes its place, on the disk.
  void Finish(const RecordedState& state);

 private:
  struct Entry {
    EntryIdentity Identity;
    std::uint64_t Node, Changed;
  };
  struct Part {
    std::uint64_t At, Count;
  };
  friend class StateRecord;
  /// Entries that are sorted at once; they take 16 MiB.
  static constexpr std::size_t kPartEntries = std::size_t{1} << 19;
  /// Of so many entries in a row the first is repeated behind the part.
  static constexpr std::size_t kBlockEntries = 128;

  std::uint64_t Add(std::uint64_t folder, std::u16string_view name, const FileStatus& source);
  void WritePart();
  void Append(std::string_view bytes);
  void Flush();

  const FileSystem& files_;
  const std::u16string path_, half_;
  File file_;
  std::string buffer_;
  std::uint64_t size_ = 0;  ///< of what is written or in the buffer
  std::vector<Entry> entries_;
  std::vector<Part> parts_;
  bool good_ = false;
};

/// One that is there. Several threads may ask.
class StateRecord {
 public:
  /// Null where there is none of this state, or none that can be read.
  static std::unique_ptr<StateRecord> Open(const FileSystem& files, std::u16string_view path,
                                           const RecordedState& state);

  /// Where an entry lies: the folder that holds it, 0 for the root itself, and its name there.
  struct Place {
    std::uint64_t Node = 0, Folder = 0;
    std::u16string Name;
    std::uint64_t Changed = 0;  ///< ChangeInRecord of the entry then
  };
  /// All places that an entry of the source had, as many as it had names.
  std::vector<Place> Find(const FileStatus& source) const;
  bool Knows(const FileStatus& source) const { return !Find(source).empty(); }
  /// The names that lead from the root to a folder.
  std::optional<std::vector<std::u16string>> PathOf(std::uint64_t folder) const;

 private:
  struct Part {
    std::uint64_t At, Count;
    std::vector<EntryIdentity> Firsts;  ///< of each block
  };
  StateRecord() = default;
  bool Load(const RecordedState& state);
  bool ReadAt(std::uint64_t at, std::size_t length, std::string& bytes) const;
  std::optional<Place> ReadNode(std::uint64_t node) const;
  bool FindIn(const Part& part, const EntryIdentity& wanted, std::vector<Place>& places) const;

  mutable std::mutex mutex_;
  mutable File file_;
  std::uint64_t size_ = 0;
  std::vector<Part> parts_;
};

}  // namespace kavrel
