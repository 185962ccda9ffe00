// What a job would do, shown while the user still enters it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/job_form.h"

namespace kavrel {

class Program;

struct JobPreview {
  /// Where the next run writes, for a compressed job the archive's file; empty without a
  /// destination.
  std::u16string Destination;
  /// The next three times that it is due, as if it were switched on; fewer when it never is.
  std::vector<DateTime> Due;
  /// StateForecast; empty as well on the network.
  std::u16string States;
  /// What the user may not have meant, in words.
  std::vector<std::u16string> Warnings;
};

/// Looks at disks, at those of the network where they answer within `patience` milliseconds: none
/// of them must keep a window waiting. `mounts` of the program should be fresh. `job`: the one that
/// the form is to change, null for a new one.
JobPreview PreviewJob(const Program& program, const JobForm& form, const BackupJob* job = nullptr,
                      std::uint32_t patience = 0);

}  // namespace kavrel
