// Reads a backup again and compares every file with the sum that the backup's list has of it
// (files/sum_list.h). That needs no source, so it tells of old states, too. Nothing is changed.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "engine/report.h"
#include "engine/run_context.h"

namespace kavrel {

/// A folder with a list of sums.
struct ScrubPlace {
  std::u16string Folder;  ///< with its final separator
  /// Of archives, which are the job's: their names. Empty: all that the list has is.
  std::set<std::string> Archives;
};

/// Where the backup that `unit` names has its sums, or all of the job's, the oldest first. A state
/// that was never finished, and what another program's job has made, are none. Looks at the disk.
std::vector<ScrubPlace> ScrubPlaces(const RunContext& context, const BackupJob& job,
                                    std::u16string_view unit = {});
bool HasSums(const FileSystem& files, std::u16string_view folder);
/// Whether it has, or holds no file that could have one.
bool NeedsNoSums(const FileSystem& files, std::u16string_view folder);

/// A part is read a day, all of it within a month.
inline constexpr std::uint32_t kScrubParts = 30;

/// A reading that takes a part of the backup at a time: what has not been read for longest.
struct ScrubTurn {
  /// Begins there: behind so many lines of this folder's list. Then the same for the next part. One
  /// that is gone was the oldest: the next begins at the oldest that is left.
  std::u16string Folder;
  std::uint64_t Line = 0;
  std::uint32_t Parts = 1;  ///< how many parts the whole has
};

/// A turn as the job's second file keeps it.
std::u16string ScrubTurnText(const ScrubTurn& turn);
ScrubTurn ParseScrubTurn(std::u16string_view text);

/// Reads all of it, or a turn. What differs is told as by a verification, with the copy's path; a
/// file that several states share is read once. A cancel leaves the turn as it is.
void ReadAgain(RunContext& context, const std::vector<ScrubPlace>& places, VerifyReport& report,
               ScrubTurn* turn = nullptr);

}  // namespace kavrel
