// How a job log tells of everything that went wrong: written, and read again by those who have the
// log alone.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/run_failures.h"
#include "platform/error_codes.h"

namespace kavrel {

class JobLog;

/// Writes a timed line of the text and what it is about, and one that tells why, where that is
/// known; notes all that.
void LogFailure(JobLog& log, RunFailures& failures, std::u16string_view text,
                std::u16string_view what, std::u16string_view why = {});
/// The same of a disk that could not take what was written to it.
void LogSyncFailure(JobLog& log, RunFailures& failures, std::u16string_view path, ErrorCode error);

/// Of these lines, in their order: what failed, what stopped the run, and what a verification found
/// to differ. At most `most`; 0 = all.
std::vector<RunFailure> ReadTroubles(std::u16string_view log, std::size_t most = 0);

/// Whether a line is one that ReadTroubles finds, and whether it tells why of the line before.
bool TellsTrouble(std::u16string_view line);
bool TellsReason(std::u16string_view line);
/// Takes the next line, without its end, away from the front of a log that is not empty.
std::u16string_view TakeLine(std::u16string_view& log);

}  // namespace kavrel
