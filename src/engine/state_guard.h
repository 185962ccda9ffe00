// A dated folder or archive that holds far less than the last one does not take its place: what is
// old would go for it, one run after the other, until no backup holds what the source has lost.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "engine/run_context.h"

namespace kavrel {

/// Why a unit (SetRunPaths) with so many files should not follow the last one, in words; empty
/// when it may, and for a job without units. What is far less is what the mirror guard calls much.
std::u16string StateObjection(const BackupJob& job, std::u16string_view unit, std::uint64_t files);

/// To be asked before the run's first change, its work paths being set: counts what the unit would
/// hold. False when the run is to stop: the host was asked and did not agree. The report's Refusal
/// and the log tell why.
bool PassStateCheck(RunContext& context, const BackupJob& job, std::u16string_view unit);

}  // namespace kavrel
