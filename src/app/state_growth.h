// What the states of a job take on their disk, and for how many more there is room.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "engine/states.h"

namespace kavrel {

struct StateGrowth {
  /// Of each state, what all up to it have added, and what the oldest holds; bytes, in the order of
  /// the list, the newest first. A state of which that is not known adds nothing.
  std::vector<std::uint64_t> Taken;
  std::uint64_t Free = 0;  ///< on the disk of the newest; 0 where that cannot be told
  /// How many more there is room for when each adds what the last ones did; nothing where they
  /// have added nothing, or where there was but one.
  std::optional<std::uint64_t> RunsLeft;

  std::uint64_t Total() const { return Taken.empty() ? 0 : Taken.front(); }
};

/// `states`: as ListStates gives them. Looks at the disk of the newest.
StateGrowth GrowthOf(const FileSystem& files, const std::vector<JobState>& states);

/// The same in a sentence; empty where nothing is known.
std::u16string GrowthText(const StateGrowth& growth);

}  // namespace kavrel
