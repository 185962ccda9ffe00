// The walk of a verification: every file that the job takes beside its copy.
#pragma once

#include "engine/verify.h"

namespace kavrel {

/// Compares Source.WorkPath with Destination.WorkPath of the job, both set. Each difference is
/// counted in the report and written to the context's log.
/// With `mend` what its sum convicts is copied anew.
void VerifyFolders(RunContext& context, const BackupJob& job, VerifyReport& report, bool mend);

}  // namespace kavrel
