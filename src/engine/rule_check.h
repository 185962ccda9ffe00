// Exclusion rules, or the setting that switches them on, that could not be read when the program
// began.
#pragma once

#include "engine/run_context.h"

namespace kavrel {

/// Whether rules count, as the settings say.
void TakeSwitch(ExclusionSet& rules, const Settings& settings);
/// The same before a later run: where the settings cannot be read now, what was known stays.
void FollowSwitch(ExclusionSet& rules, const Settings& settings);

/// Reads them again where that is so. The error when they still cannot be read.
ErrorCode ReadRules(const RunContext& context);

/// The same, told in the log and in a plan. False when they cannot be read: what follows leaves
/// nothing out and must not pass for good; the caller counts that.
bool MakeSureOfRules(RunContext& context);

}  // namespace kavrel
