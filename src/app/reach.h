// Which places answer. A server that hangs keeps whoever looks at it waiting for ever, so what can
// be done without a look at a job's places is done, and told, all the same.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "core/backup_job.h"

namespace kavrel {

class Program;

class Reach {
 public:
  /// The program outlives this, its mounts are loaded. How long each server may take.
  Reach(const Program& program, std::uint32_t milliseconds)
      : program_(program), milliseconds_(milliseconds) {}

  /// False when somebody would have to answer for the path who does not, each being asked once.
  bool Answers(std::u16string_view path);
  /// For forms: whether the folder is there, or does not answer, which is no reason to refuse it.
  bool MayExist(std::u16string_view path);
  /// Why the job's disks cannot be looked at: those that do not answer, in words; empty when all
  /// do.
  std::u16string SilentPlaces(const BackupJob& job, std::u16string_view destination);

  static constexpr std::uint32_t kCommand = 2000, kWindow = 80;

 private:
  const Program& program_;
  const std::uint32_t milliseconds_;
  std::map<std::u16string, bool> asked_;  ///< by mount point
};

}  // namespace kavrel
