#include "engine/file_choice.h"

#include <algorithm>

#include "base/wildcard.h"
#include "rules/file_filters.h"

namespace kavrel {

FileChoice::FileChoice(const BackupJob& job) : job_(job) {
  for (std::u16string_view pattern : SplitPatterns(job.FileTypes)) patterns_.emplace_back(pattern);
}

std::uint64_t FileChoice::TimesTaken(std::u16string_view name) const {
  if (job_.ExcludeFileTypes) return MatchesPatternList(name, job_.FileTypes) ? 0 : 1;
  if (patterns_.size() == 1 && patterns_[0] == kAllFiles) return 1;
  return static_cast<std::uint64_t>(
      std::count_if(patterns_.begin(), patterns_.end(),
                    [&](const std::u16string& pattern) { return MatchesFileMask(name, pattern); }));
}

bool FileChoice::WithinSizeLimit(const FileStatus& file) const {
  return !job_.LimitFileSize || file.Kind != FileKind::File ||
         static_cast<std::int64_t>(file.Size) <= std::int64_t{job_.MaxFileSizeKB} * 1024;
}

}  // namespace kavrel
