// Puts right what a killed run, or a failed clean-up, left behind in a backup or a restored folder.
#pragma once

#include "engine/run_context.h"

namespace kavrel {

/// To be called at the start of a run, before anything is read or written, and at its end. What is
/// done goes into the run's log; what cannot be done yet is counted as a warning.
void HealStaged(RunContext& context);

}  // namespace kavrel
