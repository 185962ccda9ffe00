// The temporary names of one run's copies, no two of them alike.
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "files/staging_journal.h"
#include "platform/clock.h"

namespace kavrel {

/// Next may be called by any thread, the others by the run's own.
class TempNames {
 public:
  /// For copies below `root`. The journal, which outlives this, gets its record with the first
  /// name; null: nothing is written down.
  TempNames(Clock& clock, StagingJournal* journal, std::u16string_view root);
  /// Ends the record, unless something was left.
  ~TempNames();
  TempNames(const TempNames&) = delete;
  TempNames& operator=(const TempNames&) = delete;

  /// The next name: FirstTempNumber of when this was made, counted on from there.
  std::u16string Next();
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

/// A number to begin with: second + 100 * minute + 10,000 * hour + 1,000,000 * day of the month,
/// and nine digits of chance behind that. So nobody else's name is met, nor taken for one of ours
/// after a crash.
std::uint64_t FirstTempNumber(DateTime now);

}  // namespace kavrel
