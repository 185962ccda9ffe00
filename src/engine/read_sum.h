// Reads files for their sums alone.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "engine/run_context.h"
#include "files/content_sum.h"

namespace kavrel {

/// For the run's own thread. The context outlives this.
class SumReader {
 public:
  explicit SumReader(RunContext& context) : context_(context) {}

  /// The sum of a file as it lies on the disk, whatever memory still holds of it. The host's
  /// messages are handled and it is told of each block. Nothing where the file cannot be read, or
  /// when the run is cancelled meanwhile.
  std::optional<ContentSum> Read(const Folder& folder, std::u16string_view name);

 private:
  RunContext& context_;
  std::vector<char> block_;
};

}  // namespace kavrel
