#include "support/tree.h"

#include <gtest/gtest.h>

#include <map>

#include "base/text.h"
#include "files/owner_mark.h"
#include "support/command.h"

namespace fs = std::filesystem;

namespace kavrel {

namespace {

void Compare(const fs::path& a, const fs::path& b, std::string& differences, bool top = false) {
  const auto report = [&](const char* what) { differences += b.string() + ": " + what + "\n"; };
  if (!CompareEntries(a, b, report)) return;
  std::map<fs::path, int> names;
  for (const auto& entry : fs::directory_iterator(a)) {
    if (IsKept(entry)) names[entry.path().filename()] |= 1;
  }
  for (const auto& entry : fs::directory_iterator(b)) names[entry.path().filename()] |= 2;
  // The file of a backup's mark, where the disk has no place for a remark.
  if (top)
    std::erase_if(names,
                  [](const auto& name) { return IsBackupsOwn(FromUtf8(name.first.string())); });
  for (const auto& [name, sides] : names) {
    if (sides == 3) {
      Compare(a / name, b / name, differences);
    } else {
      differences += (b / name).string() + (sides == 1 ? ": missing\n" : ": too many\n");
    }
  }
}

}  // namespace

void CopyExactly(const fs::path& from, const fs::path& to) {
#ifdef _WIN32
  fs::copy(from, to, fs::copy_options::recursive);
#else
  ASSERT_EQ(RunCommand({"/bin/cp", "-a", from, to}).ExitCode, 0);
#endif
}

std::string TreeDifferences(const fs::path& a, const fs::path& b) {
  std::string differences;
  Compare(a, b, differences, true);
  return differences;
}

}  // namespace kavrel
