#include "support/tree.h"

#include <map>

namespace fs = std::filesystem;

namespace kavrel {

namespace {

void Compare(const fs::path& a, const fs::path& b, std::string& differences) {
  const auto report = [&](const char* what) { differences += b.string() + ": " + what + "\n"; };
  if (!CompareEntries(a, b, report)) return;
  std::map<fs::path, int> names;
  for (const auto& entry : fs::directory_iterator(a)) {
    if (IsKept(entry)) names[entry.path().filename()] |= 1;
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
