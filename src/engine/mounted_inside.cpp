#include "engine/mounted_inside.h"

#include <algorithm>

#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

void MountedInside::Note(const FileSystem& files, const MountTable& table, std::u16string_view root,
                         std::u16string_view place) {
  roots_.push_back({AddBackslash(root), std::u16string(place)});
  NoteOne(files, root);
  if (place.empty()) return;
  const std::vector<std::u16string> disks = table.DisksBelow(place);
  for (const std::u16string& point : disks) {
    NoteOne(files, PathBelow(root, PartBelow(point, place)));
  }
  for (const std::u16string& point : table.Points()) {
    if (!IsAtOrBelow(point, place) || std::ranges::find(disks, point) != disks.end()) continue;
    others_.insert(PathBelow(root, PartBelow(point, place)));
  }
}

void MountedInside::NoteOne(const FileSystem& files, std::u16string_view path) {
  const Result<FileStatus> status = StatusOf(files.OpenFolder(path));
  if (status) {
    mounts_.emplace(AddBackslash(path), status->Mount);
  } else if (const Result<FileStatus> file = files.Status(DropBackslash(path));
             file && file->Kind != FileKind::Folder) {
    mounts_.emplace(DropBackslash(path), file->Mount);
    has_files_ = true;
  }
}

bool MountedInside::IsGone(std::u16string_view path, const FileStatus& now) const {
  const auto found = mounts_.find(path);
  return found != mounts_.end() && found->second != now.Mount;
}

bool MountedInside::IsGone(std::u16string_view path, const Folder& folder) const {
  if (!mounts_.contains(path)) return false;
  const Result<FileStatus> now = folder.Status();
  return !now || IsGone(path, *now);
}

bool MountedInside::HasCome(std::u16string_view path, const FileStatus& above,
                            const FileStatus& now) const {
  if (above.Mount == now.Mount || mounts_.contains(path)) return false;
  const std::u16string point = AddBackslash(path);
  if (others_.contains(point)) return false;
  const auto root = std::find_if(roots_.begin(), roots_.end(),
                                 [&](const Root& one) { return path.starts_with(one.Path); });
  if (root == roots_.end() || root->Place.empty()) return false;
  MountTable table;
  table.Load();
  const std::vector<std::u16string> disks = table.DisksBelow(root->Place);
  return std::any_of(disks.begin(), disks.end(), [&](const std::u16string& disk) {
    return PathBelow(root->Path, PartBelow(disk, root->Place)) == point;
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
