#include "app/file_jobs.h"

#include <algorithm>

#include "base/text.h"
#include "engine/states.h"
#include "files/folder_identity.h"
#include "files/path.h"

namespace kavrel {

std::vector<FileOfJob> JobsWithStatesOf(const RunContext& context,
                                        const std::vector<BackupJob>& jobs,
                                        std::u16string_view path) {
  struct Found {
    std::size_t SourceLength;
    FileOfJob File;
  };
  std::vector<Found> found;
  // A link is meant itself, not what it leads to.
  path = DropBackslash(path);
  const std::u16string folder = RealPlace(context.Files, PathFolder(path));
  const std::u16string place = folder.empty() ? folder : JoinPath(folder, PathName(path));
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    const std::u16string root = RealPlace(context.Files, jobs[i].Source.Path);
    if (root.empty()) continue;
    const std::u16string source = AddBackslash(root);
    if (place.size() <= source.size() || !PathStartsWith(place, source)) continue;
    if (ListStates(context, jobs[i]).empty()) continue;
    const std::u16string below = place.substr(source.size());
    found.push_back({source.size(),
                     {static_cast<std::int32_t>(i),
                      IsPosixPath(source) ? below : ReplaceAll(below, u"\\", u"/")}});
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const Found& a, const Found& b) { return a.SourceLength > b.SourceLength; });
  std::vector<FileOfJob> files;
  for (Found& one : found) files.push_back(std::move(one.File));
  return files;
}

}  // namespace kavrel
