#include "platform/files.h"
#include "support/temp_folder.h"
#include "support/tree.h"

namespace fs = std::filesystem;

namespace kavrel {

bool CompareEntries(const fs::path& a, const fs::path& b,
                    const std::function<void(const char*)>& report) {
  const FileSystem files({});
  const Result<FileStatus> sa = files.Status(TempFolder::Text(a));
  const Result<FileStatus> sb = files.Status(TempFolder::Text(b));
  if (!sa || !sb || sa->Kind != sb->Kind) {
    report(sa && sb ? "kind" : "status");
    return false;
  }
  if (sa->Written != sb->Written) report("time");
  if (sa->Created != sb->Created) report("time of creation");
  if (sa->Attributes != sb->Attributes) report("attributes");
  if (sa->Kind == FileKind::File && ReadTestFile(a) != ReadTestFile(b)) report("content");
  return sa->Kind == FileKind::Folder;
}

bool IsKept(const fs::directory_entry&) {
  return true;
}

}  // namespace kavrel
