// The disks and shares that are mounted on this machine.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

/// Whether an absolute POSIX path is that of a folder or lies in it. Neither ends with "/" but that
/// of the root.
inline bool IsAtOrBelow(std::u16string_view path, std::u16string_view folder) {
  return folder == u"/" || (path.starts_with(folder) &&
                            (path.size() == folder.size() || path[folder.size()] == u'/'));
}

/// What the path of something in a folder has behind the folder's; empty for the folder itself.
inline std::u16string_view PartBelow(std::u16string_view path, std::u16string_view folder) {
  const std::size_t begin = folder == u"/" ? 1 : folder.size() + 1;
  return begin < path.size() ? path.substr(begin) : std::u16string_view();
}

struct MountLine;

/// Load is for the run's own thread, while no other reads; the rest may be called by several.
class MountTable {
 public:
  /// Reads the table anew; the file systems that hold no user's files are left out, and so is what
  /// no path leads to, because something else is mounted over it.
  void Load();

  /// The mount point that holds an absolute POSIX path, without a trailing separator; empty for
  /// the root file system.
  std::u16string PointOf(std::u16string_view path) const;
  /// All mount points but the root's, longest first.
  const std::vector<std::u16string>& Points() const { return points_; }

  /// The mount points of the user's disks and shares, those of the system left out, in order.
  std::vector<std::u16string> Volumes() const;
  /// All that is mounted below an absolute path, outer ones first; over a file, too. What programs
  /// mount for themselves in the system's own folders, where it comes and goes, is left out unless
  /// the path lies there, too; the files that a container is given there always are.
  std::vector<std::u16string> DisksBelow(std::u16string_view path) const;
  /// True when the path lies on a file system of the network, or of a program that answers for it,
  /// which may keep a caller waiting for ever.
  bool OnNetwork(std::u16string_view path) const;
  /// The mount point of such a file system that a path leads to, or passes, by links in it, too;
  /// empty when there is none. Enters none.
  std::u16string WaitingPoint(std::u16string_view path) const;
  /// The mount point that should hold the path, by the system's own table or by where removable
  /// disks appear, but on which nothing is mounted; empty when all is well.
  std::u16string MissingPoint(std::u16string_view path) const;

  /// What lies at an absolute path, mounted there or not, so that it is known again after a restart
  /// and wherever else its disk is mounted: the mark of the disk, ":", and the folder inside it.
  /// Empty for what has no lasting mark: the network, memory, layers of a container. As it was
  /// when the table was loaded, or empty where that has gone since; one that never was loaded tells
  /// how it is now.
  std::u16string MarkOf(std::u16string_view path) const;
  /// Whether the same is mounted at the same points.
  bool IsSame(const MountTable& other) const;

 private:
  std::shared_ptr<const std::vector<MountLine>> lines_;  ///< null: not loaded
  std::vector<std::u16string> points_;
  std::vector<std::u16string> volumes_, network_;  ///< of points_
  std::set<std::u16string> systems_;               ///< of points_: come and go by themselves
  std::vector<std::u16string> expected_;           ///< what is to be mounted
};

/// The part of a MarkOf that stands for the disk alone.
std::u16string_view DiskOfMark(std::u16string_view mark);

/// True when both devices (FileStatus::Device) are on the same disk, as far as the system tells.
bool OnSameDisk(std::uint64_t device, std::uint64_t other_device);

}  // namespace kavrel
