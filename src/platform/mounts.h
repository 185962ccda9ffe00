// The disks and shares that are mounted on this machine.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

class MountTable {
 public:
  /// Reads the table anew; the file systems that hold no user's files are left out.
  void Load();

  /// The mount point that holds an absolute POSIX path, without a trailing separator; empty for
  /// the root file system.
  std::u16string PointOf(std::u16string_view path) const;
  /// All mount points but the root's, longest first.
  const std::vector<std::u16string>& Points() const { return points_; }

 private:
  std::vector<std::u16string> points_;
};

}  // namespace kavrel
