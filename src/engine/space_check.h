// Whether a run has room for what it copies, found out before it copies anything.
#pragma once

#include "engine/run_context.h"

namespace kavrel {

/// Looks first at what costs nothing: the free space of the destination beside the size that the
/// source had in the last whole run, and what its disks have taken up since. Only where that leaves
/// a doubt is the whole run planned. False when the run is to stop: its copies do not fit, the host
/// was asked and did not agree. The report's Refusal and the log tell why.
bool PassSpaceCheck(RunContext& context, const BackupJob& job);

/// What the plan of a run, its work paths being set, lacks in free space, in words; empty when it
/// fits.
std::u16string SpaceObjection(const RunContext& context, const BackupJob& job, const RunPlan& plan);

/// Keeps what the run has seen of the source's size for the next run's first look.
void NoteSourceSize(const RunContext& context, BackupJob& job);

}  // namespace kavrel
