#include "support/tree.h"

#include <map>

#include "platform/files.h"
#include "support/temp_folder.h"

namespace fs = std::filesystem;

namespace kavrel {

namespace {

void Compare(const fs::path& a, const fs::path& b, std::string& differences) {
  const FileSystem files({});
  const Result<FileStatus> sa = files.Status(TempFolder::Text(a));
  const Result<FileStatus> sb = files.Status(TempFolder::Text(b));
  const auto report = [&](const char* what) { differences += b.string() + ": " + what + "\n"; };
  if (!sa || !sb) return report("status");
  if (sa->Kind != sb->Kind) return report("kind");
  if (sa->Written != sb->Written) report("time");
  if (sa->Created != sb->Created) report("time of creation");
  if (sa->Attributes != sb->Attributes) report("attributes");
  if (sa->Kind == FileKind::File && ReadTestFile(a) != ReadTestFile(b)) report("content");
  if (sa->Kind != FileKind::Folder) return;
  std::map<fs::path, int> names;
  for (const auto& entry : fs::directory_iterator(a)) names[entry.path().filename()] |= 1;
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
