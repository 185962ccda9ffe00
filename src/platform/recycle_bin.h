// The user's recycle bin. What lies in it shows on the desktop with its original path and can be
// put back from there.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/files.h"

namespace kavrel {

/// Remembers the bins it has opened: a run that removes many files asks for each disk's once.
class RecycleBin {
 public:
  explicit RecycleBin(Clock& clock);
  ~RecycleBin();
  RecycleBin(const RecycleBin&) = delete;
  RecycleBin& operator=(const RecycleBin&) = delete;

  /// Moves a file, a link or a folder with all it holds from `folder` to the bin. On failure (there
  /// is no bin for that disk, say) the entry is where it was and the system's error is returned.
  ErrorCode Recycle(const Folder& folder, std::u16string_view name);

 private:
  struct Bin;
  Bin* BinFor(int folder, const std::string& path, ErrorCode& error);

  Clock& clock_;
  std::map<std::uint64_t, std::unique_ptr<Bin>> bins_;  ///< by the mount they serve
};

}  // namespace kavrel
