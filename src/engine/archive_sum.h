// The sum of an archive, kept in the list beside it (engine/content_sums.h).
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/run_context.h"

namespace kavrel {

/// Reads an archive that is whole, or its recovery data, and notes its sum where the job keeps sums
/// and the list does not have it; else a line of what was in its place before goes.
void SumArchive(RunContext& context, const BackupJob& job, std::u16string_view archive);

enum class ArchiveSum : std::uint8_t {
  Unknown,  ///< the list has none, or the archive cannot be opened
  Same,     ///< the archive is what a run wrote
  Differs   ///< or is gone, or cannot be read to its end
};
/// Reads an archive, or its recovery data, and looks for its sum in the list beside it.
ArchiveSum LookUpArchiveSum(RunContext& context, std::u16string_view archive);

}  // namespace kavrel
