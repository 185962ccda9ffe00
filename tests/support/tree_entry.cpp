#include <sys/stat.h>

#include "support/temp_folder.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {

bool CompareEntries(const fs::path& a, const fs::path& b,
                    const std::function<void(const char*)>& report) {
  struct stat sa {
  }, sb{};
  lstat(a.c_str(), &sa);
  lstat(b.c_str(), &sb);
  if ((sa.st_mode & S_IFMT) != (sb.st_mode & S_IFMT)) {
    report("kind");
    return false;
  }
  if (sa.st_mtim.tv_sec != sb.st_mtim.tv_sec || sa.st_mtim.tv_nsec != sb.st_mtim.tv_nsec) {
    report("time");
  }
  if (S_ISLNK(sa.st_mode)) {
    if (fs::read_symlink(a) != fs::read_symlink(b)) report("target");
    return false;
  }
  if (sa.st_mode != sb.st_mode) report("permissions");
  if (S_ISREG(sa.st_mode) && ReadTestFile(a) != ReadTestFile(b)) report("content");
  return S_ISDIR(sa.st_mode);
}

bool IsKept(const fs::directory_entry& entry) {
  const auto type = entry.symlink_status().type();
  return type == fs::file_type::regular || type == fs::file_type::directory ||
         type == fs::file_type::symlink;
}

}  // namespace kavrel
