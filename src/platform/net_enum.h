// The disks and the network's shares that a rule may name.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace kavrel {

class FileSystem;
class MountTable;

/// The mapped drives ("C:"), then the mounted disks by their mount points; none with a trailing
/// separator. `mounts` is loaded.
std::vector<std::u16string> LocalDrives(const FileSystem& files, const MountTable& mounts);

/// One thing that a search of the network found, or could not look into.
struct NetEntry {
  std::u16string Name;     ///< "\\server" or "\\server\share"
  bool Share = false;      ///< a share's name
  std::u16string Failure;  ///< why a computer's shares are not known; else empty
};

/// A search of the network for computers and their shares. It goes on by itself, in other
/// processes; it is ended when this object is.
class NetEnum {
 public:
  enum class Step { Found, Waiting, Done };

  virtual ~NetEnum() = default;
  /// The next entry, when there is one. Never waits.
  virtual Step Next(NetEntry& entry) = 0;
};

/// Begins a search: the shares that are mounted or mapped here, then what the computers of the
/// local network offer to everybody, as far as the system has the programs that ask them.
std::unique_ptr<NetEnum> BrowseNetwork(const FileSystem& files);

}  // namespace kavrel
