// A run that may do harm asks before it goes on, and stops where nobody agrees.
#pragma once

#include <string_view>

#include "engine/run_context.h"
#include "engine/run_driver.h"

namespace kavrel {

/// Asks the host about what is the matter, with `title` before it. What came of it goes into the
/// log. Without agreement the report's Refusal is set, and false is given.
bool AskToGoOn(RunContext& context, const BackupJob& job, RunRefusal refusal,
               std::u16string_view title, std::u16string_view matter);

/// The outcome of a run or a restore that may have stopped so.
RunOutcome OutcomeOf(const RunReport& report);
inline const RunReport& EndRun(RunContext& context, RunOutcome outcome) {
  context.Report.Outcome = outcome;
  return context.Report;
}

}  // namespace kavrel
