#include "engine/mounted_inside.h"

#include <algorithm>

#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// What follows a folder's path, which need not end with a separator, in that of something in it.
std::u16string_view Below(std::u16string_view path, std::u16string_view folder) {
  path.remove_prefix(std::min(folder.size(), path.size()));
  if (path.starts_with(u'/')) path.remove_prefix(1);
  return path;
}

}  // namespace

void MountedInside::Note(const FileSystem& files, const MountTable& table, std::u16string_view root,
                         std::u16string_view place) {
  roots_.push_back({AddBackslash(root), std::u16string(place)});
  NoteOne(files, root);
  if (place.empty()) return;
  for (const std::u16string& point : table.DisksBelow(place)) {
    NoteOne(files, PathBelow(root, Below(point, place)));
  }
}

void MountedInside::NoteOne(const FileSystem& files, std::u16string_view path) {
  const Result<Folder> folder = files.OpenFolder(path);
  const Result<FileStatus> status = folder ? folder->Status() : Result<FileStatus>();
  if (folder && status) mounts_.emplace(AddBackslash(path), status->Mount);
}

bool MountedInside::IsGone(std::u16string_view path, const FileStatus& now) const {
  const auto found = mounts_.find(path);
  return found != mounts_.end() && found->second != now.Mount;
}

bool MountedInside::HasCome(std::u16string_view path, const FileStatus& above,
                            const FileStatus& now) const {
  if (above.Mount == now.Mount || mounts_.contains(path)) return false;
  const auto root = std::find_if(roots_.begin(), roots_.end(),
                                 [&](const Root& one) { return path.starts_with(one.Path); });
  if (root == roots_.end() || root->Place.empty()) return false;
  MountTable table;
  table.Load();
  const std::vector<std::u16string> disks = table.DisksBelow(root->Place);
  return std::any_of(disks.begin(), disks.end(), [&](const std::u16string& disk) {
    return PathBelow(root->Path, Below(disk, root->Place)) == path;
  });
}

bool MountedInside::HeldMount(std::u16string_view path) const {
  const auto found = mounts_.lower_bound(path);
  return found != mounts_.end() && found->first.starts_with(path);
}

void CheckMounts(const MountedInside& mounted, const FolderPair* parent, const WalkPaths& paths,
                 FolderPair& pair) {
  if (!pair.Source) return;
  if (!mounted.IsGone(paths.Source(), pair.SourceStatus)) {
    if (!parent || !mounted.HasCome(paths.Source(), parent->SourceStatus, pair.SourceStatus)) {
      return;
    }
    // Over what no backup knows of anything may be mounted.
    if (!pair.Dest || !FolderReader(pair.Dest).Next()) return;
  }
  pair.Source = Folder();
  pair.SourceError = kErrNoDevice;
}

}  // namespace kavrel
