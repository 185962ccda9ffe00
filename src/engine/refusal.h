// A run that had better not go on asks, and stops where nobody agrees.
#pragma once

#include <string_view>

#include "engine/run_context.h"

namespace kavrel {

/// Asks the host about what is the matter, with `title` before it. What came of it goes into the
/// log. Without agreement the context's Refusal and the cancel flag are set, and false is given.
bool AskToGoOn(RunContext& context, const BackupJob& job, RunRefusal refusal,
               std::u16string_view title, std::u16string_view matter);

}  // namespace kavrel
