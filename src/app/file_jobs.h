// From a file of the user's to the jobs that back it up.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/run_context.h"

namespace kavrel {

/// A file as a job's backups name it.
struct FileOfJob {
  std::int32_t Job = 0;  ///< position in the store
  std::u16string Path;   ///< relative, with "/"
};

/// The jobs whose source holds the file or folder of this absolute path, whatever links lead there,
/// and that have states (engine/states.h); the longest source first. The file need not be there.
std::vector<FileOfJob> JobsWithStatesOf(const RunContext& context,
                                        const std::vector<BackupJob>& jobs,
                                        std::u16string_view path);

}  // namespace kavrel
