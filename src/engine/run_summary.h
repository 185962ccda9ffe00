// The block that ends a run's log, and the run's row in the log list.
#pragma once

#include <string>
#include <string_view>

#include "engine/run_context.h"

namespace kavrel {

/// One line of a summary: label, number with thousands separators, line end.
std::u16string SummaryLine(std::u16string_view label, std::uint64_t count);

/// Writes the block around a summary's own lines: separators, and the job's source and destination.
/// "&" is doubled in the text.
void WriteSummaryBlock(RunContext& context, const BackupJob& job, std::u16string_view backup,
                       std::u16string_view summary);

/// The row for the log list, from the job's LastRunResult and times.
LogRow RowOf(const RunContext& context, const BackupJob& job, LogKind kind);

void WriteRunSummary(RunContext& context, const BackupJob& job, std::u16string_view elapsed);
/// Of a restore that began then.
void WriteRestoreSummary(RunContext& context, const BackupJob& job, DateTime started);

}  // namespace kavrel
