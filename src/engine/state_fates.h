// Which of a job's dated folders and archives stay after a whole run, and why.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/keep_plan.h"
#include "engine/states.h"

namespace kavrel {

struct StateFate {
  std::u16string Unit;
  KeepVerdict Verdict;
  DateTime By = kZeroDate;  ///< of Superseded: the date of the one that stands for its time
};

struct StateFates {
  /// Of what the job's runs have made, and the unit of this run before all others. Empty where the
  /// job keeps everything.
  std::vector<StateFate> Units;
  std::vector<std::u16string> NotOwn;  ///< said to be made by them, with no mark of this job alone
  std::vector<JobRest> Rests;          ///< JobExtras::Rests, with one that has ended now
  /// More would go at once than a plan lets go by itself: a clock that is years ahead makes
  /// everything old.
  bool TooMany = false;
};

/// `unit`: what a run that began at `now` has made, or will make. What is not there, or cannot be
/// looked at, counts for nothing.
StateFates FatesOf(const RunContext& context, const BackupJob& job, std::u16string_view unit,
                   DateTime now);
/// The same for whoever has listed the states.
StateFates FatesOf(const RunContext& context, const BackupJob& job,
                   const std::vector<JobState>& states, std::u16string_view unit, DateTime now);

/// Why a state stays or goes, in words.
std::u16string FateText(const BackupJob& job, const StateFate& fate);

/// Bytes that the disk gets back with each of the units when they go in this order, as far as names
/// tell: those of a file that several of them have with the last of them, of one that others have,
/// too, none. Blocks that files share are not known.
std::vector<std::uint64_t> RoomOf(const RunContext& context,
                                  const std::vector<std::u16string>& units);

}  // namespace kavrel
