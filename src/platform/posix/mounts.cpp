#include "platform/mounts.h"

#include <mntent.h>
#include <stdio.h>

#include <algorithm>

#include "base/text.h"

namespace kavrel {

namespace {

constexpr std::string_view kSystemTypes[] = {
    "autofs", "binfmt_misc", "bpf",        "cgroup",     "cgroup2",   "configfs", "debugfs",
    "devpts", "devtmpfs",    "efivarfs",   "fusectl",    "hugetlbfs", "mqueue",   "nsfs",
    "proc",   "pstore",      "rpc_pipefs", "securityfs", "sysfs",     "tracefs",
};

}  // namespace

void MountTable::Load() {
  points_.clear();
  FILE* table = setmntent("/proc/self/mounts", "r");
  if (!table) return;
  while (const mntent* mount = getmntent(table)) {
    const bool system = std::find(std::begin(kSystemTypes), std::end(kSystemTypes),
                                  std::string_view(mount->mnt_type)) != std::end(kSystemTypes);
    const std::u16string point = FromUtf8(mount->mnt_dir);
    if (system || point == u"/") continue;
    if (std::find(points_.begin(), points_.end(), point) == points_.end()) points_.push_back(point);
  }
  endmntent(table);
  std::stable_sort(points_.begin(), points_.end(),
                   [](const auto& a, const auto& b) { return a.size() > b.size(); });
}

std::u16string MountTable::PointOf(std::u16string_view path) const {
  for (const std::u16string& point : points_) {
    if (path.starts_with(point) && (path.size() == point.size() || path[point.size()] == u'/')) {
      return point;
    }
  }
  return {};
}

}  // namespace kavrel
