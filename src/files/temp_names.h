// The temporary names of one run's copies, no two of them alike.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "files/staging_journal.h"
#include "platform/clock.h"

namespace kavrel {

class TempNames {
 public:
  /// For copies below `root`. The journal, which outlives this, gets its record with the first
  /// name; null: nothing is written down.
  TempNames(Clock& clock, StagingJournal* journal, std::u16string_view root);
  /// Ends the record, unless something was left.
  ~TempNames();
  TempNames(const TempNames&) = delete;
  TempNames& operator=(const TempNames&) = delete;

  /// The next name: its number is made of day, hour, minute and second of when this was made, and
  /// counted on from there. Whoever finds the name taken asks again. Any thread may.
  std::u16string Next();
  /// To be told of each file that gets its name, before it does: one that looks like a temporary
  /// name must not be taken for one after a crash.
  void NoteOwn(std::u16string_view folder, std::u16string_view name);
  void NoteChanges(std::span<const NameChange> changes);
  /// A temporary file could not be removed: it is left to the journal.
  void NoteLeft() { left_ = true; }

 private:
  StagingJournal* const journal_;
  const std::u16string root_;
  std::mutex mutex_;
  std::uint64_t first_ = 0, next_ = 0;
  int record_ = StagingJournal::kNoRecord;
  bool begun_ = false, left_ = false;
};

/// The number that temporary names of this moment begin with: second + 100 * minute + 10,000 * hour
/// + 1,000,000 * day of the month.
std::uint64_t TempNumberOf(DateTime now);

}  // namespace kavrel
