// What the dated folders of a job cost, as far as those that are there tell.
#pragma once

#include <string>
#include <string_view>

#include "core/backup_job.h"

namespace kavrel {

class Program;

/// The choices of LinkStates as both faces show them.
std::u16string_view LinkStatesText(LinkStates how);

/// What each state of the job takes where it shares files with the one before, and where it does
/// not, in words; or why there is nothing to share. Empty for a job that makes no dated folders.
/// Looks at the destination's disk.
std::u16string StateForecast(const Program& program, const BackupJob& job);

}  // namespace kavrel
