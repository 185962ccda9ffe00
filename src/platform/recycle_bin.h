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

  /// A place in the bin that an entry's description lies beside already, so that it can reach the
  /// disk before the entry goes there.
  struct Place {
    std::string Name, Description;
    std::uint64_t Mount = 0;
  };
  /// Finds a place for an entry of `folder`. Fails where there is no bin for that disk, say.
  Result<Place> Announce(const Folder& folder, std::u16string_view name);
  /// The place is not needed any more.
  void Withdraw(const Place& place);
  /// Moves a file, a link or a folder with all it holds from `folder` to its place. On failure the
  /// entry is where it was, the place is withdrawn, and the system's error is returned.
  ErrorCode Move(const Folder& folder, std::u16string_view name, const Place& place);
  /// Announces, with the description on the disk, and moves.
  ErrorCode Recycle(const Folder& folder, std::u16string_view name);

 private:
  struct Bin;
  Result<Place> Announce(const Folder& folder, std::u16string_view name, bool sync);
  /// The bin of a mount, `path` being a folder on it.
  Bin* BinFor(std::uint64_t mount, const std::string& path, ErrorCode& error);

  Clock& clock_;
  std::map<std::uint64_t, std::unique_ptr<Bin>> bins_;  ///< by the mount they serve
};

}  // namespace kavrel
