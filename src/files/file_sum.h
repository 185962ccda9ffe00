// The checksum of a whole file.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "platform/files.h"

namespace kavrel {

/// A room for blocks that serves for many files.
class FileSum {
 public:
  /// The CRC-32 of what the file has from where it is. `go_on` is asked between two blocks; with
  /// false there is no sum, and the error is -1.
  Result<std::uint32_t> Crc(File& file, const std::function<bool()>& go_on = {});

 private:
  std::vector<char> block_ = std::vector<char>(std::size_t{256} << 10);
};

}  // namespace kavrel
