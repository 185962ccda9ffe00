// Which of a source's files a job takes, as far as their names and sizes tell.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/backup_job.h"
#include "platform/files.h"

namespace kavrel {

class FileChoice {
 public:
  /// The job outlives the choice.
  explicit FileChoice(const BackupJob& job);

  /// How often a run comes to a file of that name: once for each pattern that finds it, 0 when
  /// the job's file types leave it out.
  std::uint64_t TimesTaken(std::u16string_view name) const;
  /// Links and folders have no size that counts.
  bool WithinSizeLimit(const FileStatus& file) const;

 private:
  const BackupJob& job_;
  std::vector<std::u16string> patterns_;
};

}  // namespace kavrel
