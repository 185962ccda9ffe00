#include "support/tree.h"

#include <sys/stat.h>

#include <map>

#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {

namespace {

void Compare(const fs::path& a, const fs::path& b, std::string& differences) {
  struct stat sa {
  }, sb{};
  lstat(a.c_str(), &sa);
  lstat(b.c_str(), &sb);
  const auto report = [&](const char* what) { differences += b.string() + ": " + what + "\n"; };
  if ((sa.st_mode & S_IFMT) != (sb.st_mode & S_IFMT)) return report("kind");
  if (sa.st_mtim.tv_sec != sb.st_mtim.tv_sec || sa.st_mtim.tv_nsec != sb.st_mtim.tv_nsec) {
    report("time");
  }
  if (S_ISLNK(sa.st_mode)) {
    if (fs::read_symlink(a) != fs::read_symlink(b)) report("target");
    return;
  }
  if (sa.st_mode != sb.st_mode) report("permissions");
  if (S_ISREG(sa.st_mode) && ReadTestFile(a) != ReadTestFile(b)) report("content");
  if (!S_ISDIR(sa.st_mode)) return;
  std::map<std::string, int> names;
  for (const auto& entry : fs::directory_iterator(a)) {
    const auto type = entry.symlink_status().type();
    const bool kept = type == fs::file_type::regular || type == fs::file_type::directory ||
                      type == fs::file_type::symlink;
    if (kept) names[entry.path().filename()] |= 1;
  }
  for (const auto& entry : fs::directory_iterator(b)) names[entry.path().filename()] |= 2;
  for (const auto& [name, sides] : names) {
    if (sides == 3) {
      Compare(a / name, b / name, differences);
    } else {
      differences += (b / name).string() + (sides == 1 ? ": missing\n" : ": too many\n");
    }
  }
}

}  // namespace

std::string TreeDifferences(const fs::path& a, const fs::path& b) {
  std::string differences;
  Compare(a, b, differences);
  return differences;
}

}  // namespace kavrel
