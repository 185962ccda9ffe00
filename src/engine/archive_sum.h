// The sum of an archive, kept in the list beside it (engine/content_sums.h).
#pragma once

#include <string_view>

#include "engine/run_context.h"

namespace kavrel {

/// Reads an archive that is whole, and notes its sum where the job keeps sums and the list does not
/// have it; else a line of what was in its place before goes.
void SumArchive(RunContext& context, const BackupJob& job, std::u16string_view archive);

}  // namespace kavrel
