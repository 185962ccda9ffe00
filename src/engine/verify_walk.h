// The walk of a verification: every file that the job takes beside its copy.
#pragma once

#include "engine/verify.h"

namespace kavrel {

/// Compares Source.WorkPath with Destination.WorkPath of the job, both set. Each difference is
/// counted in the report and written to the context's log.
void VerifyFolders(RunContext& context, const BackupJob& job, VerifyReport& report);

}  // namespace kavrel
