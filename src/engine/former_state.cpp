#include "engine/former_state.h"

#include <algorithm>

#include "engine/copy_reason.h"
#include "files/open_along.h"

namespace kavrel {

namespace {

/// Whether a copy has the time of its source, as its disk keeps times.
bool SameTime(FileTime source, FileTime copy) {
  constexpr std::int32_t kTick = 100;  // nanoseconds, of NTFS and what speaks its protocol
  return source.Seconds == copy.Seconds &&
         (source.Nanoseconds == copy.Nanoseconds ||
          source.Nanoseconds - source.Nanoseconds % kTick == copy.Nanoseconds);
}

/// Whether a copy still has the content of its source. The source itself is no copy: somebody may
/// have linked it out of a backup, or has a job whose source lies in one.
bool SameContent(const FileStatus& source, const FileStatus& copy) {
  if (source.Id == copy.Id && source.Device == copy.Device) return false;
  return source.Kind == FileKind::File && copy.Kind == FileKind::File && source.Size == copy.Size &&
         SameTime(source.Written, copy.Written);
}

/// With a '/' behind each name.
std::u16string PathAlong(const std::vector<std::u16string>& names) {
  std::u16string path;
  for (const std::u16string& name : names) (path += name) += u'/';
  return path;
}

}  // namespace

std::shared_ptr<FormerState> FormerState::Open(const FileSystem& files, std::u16string_view path,
                                               const Folder& source, SharedContent::Ways ways,
                                               std::unique_ptr<StateRecord> record) {
  Result<Folder> root = files.OpenFolder(path);
  if (!root) return nullptr;
  MetadataPlace place(source, *root);
  const Result<FileStatus> status = source.Status();
  if (!status || !source.OnLocalDisk() || (record && !record->Knows(*status))) record = nullptr;
  return std::shared_ptr<FormerState>(new FormerState(std::move(*root), std::move(place), ways,
                                                      std::move(record), LocalDevice(source)));
}

bool FormerState::IsByName(const FolderPair* parent, const FolderPair& pair) const {
  if (!record_) return true;
  const bool one_disk = parent && parent->SourceStatus.Device == pair.SourceStatus.Device;
  return one_disk ? parent->FormerAt == kByName : !pair.Source.OnLocalDisk();
}

void FormerState::OpenFolder(const FolderPair* parent, std::u16string_view name,
                             FolderPair& pair) const {
  if (!pair.Source) return;
  const auto take = [&](Result<Folder> folder, std::u16string path = {}) {
    if (!folder) return;
    pair.Former = std::move(*folder);
    pair.FormerPath = std::move(path);
  };
  const auto below = [&] { return (parent->FormerPath + std::u16string(name)) += u'/'; };
  if (IsByName(parent, pair)) {
    pair.FormerAt = kByName;
    if (!parent) return take(root_.Reopen());
    return parent->Former ? take(parent->Former.OpenFolder(name), below()) : void();
  }
  for (const StateRecord::Place& place : record_->Find(pair.SourceStatus)) {
    pair.FormerAt = place.Node;
    if (place.Folder == 0) return take(root_.Reopen());
    if (parent && parent->Former && place.Folder == parent->FormerAt && place.Name == name) {
      return take(parent->Former.OpenFolder(name), below());
    }
    // It has come from elsewhere, and brought what is in it along.
    if (const auto path = record_->PathOf(place.Node)) {
      return take(OpenAlong(root_.Reopen(), *path), PathAlong(*path));
    }
  }
}

FormerMatch FormerState::Compare(const FileStatus& source, const FileStatus* former) const {
  if (source.Kind != FileKind::File) return FormerMatch::Different;
  if (former && SameContent(source, *former)) {
    // Another file may have taken the name since.
    if (!IsUntouchedSince(source, *former, local_)) return FormerMatch::Unsure;
    if (place_.Differs(source, *former)) return FormerMatch::Unsure;
    if (!place_.AttributesMayDiffer(source, *former)) return FormerMatch::Same;
    return FormerMatch::Unsure;
  }
  return record_ && record_->Knows(source) ? FormerMatch::Unsure : FormerMatch::Different;
}

const Folder* FormerState::OpenPlace(std::uint64_t folder) {
  if (last_ && last_at_ == folder) return &last_;
  const auto path = record_->PathOf(folder);
  if (!path) return nullptr;
  Result<Folder> opened = OpenAlong(root_.Reopen(), *path);
  if (!opened) return nullptr;
  last_ = std::move(*opened);
  last_path_ = PathAlong(*path);
  last_at_ = folder;
  return &last_;
}

std::optional<FormerCopy> FormerState::Find(const FolderPair& pair, std::u16string_view name,
                                            const FileStatus& source) {
  if (source.Kind != FileKind::File) return std::nullopt;
  const auto copy_in = [&](const Folder& folder, const std::u16string& path,
                           std::u16string_view as) -> std::optional<FormerCopy> {
    const Result<FileStatus> status = folder.Status(as);
    if (!status || !SameContent(source, *status)) return std::nullopt;
    return FormerCopy{folder, std::u16string(as), *status, path + std::u16string(as), true};
  };
  const auto untouched_here = [&]() -> std::optional<FormerCopy> {
    auto copy = pair.Former ? copy_in(pair.Former, pair.FormerPath, name) : std::nullopt;
    return copy && IsUntouchedSince(source, copy->Status, local_) ? std::move(copy) : std::nullopt;
  };
  if (!KnowsEntries(pair)) return untouched_here();
  std::vector<StateRecord::Place> places = record_->Find(source);
  // Of several names the one that it still has comes first.
  std::stable_partition(places.begin(), places.end(), [&](const StateRecord::Place& place) {
    return place.Folder == pair.FormerAt && place.Name == name;
  });
  for (const StateRecord::Place& place : places) {
    const bool here = pair.Former && place.Folder == pair.FormerAt;
    const Folder* folder = here ? &pair.Former : OpenPlace(place.Folder);
    if (!folder) continue;
    const std::u16string& path = here ? pair.FormerPath : last_path_;
    if (auto copy = copy_in(*folder, path, place.Name)) {
      // A new name alone is a change of the entry as well.
      copy->Proved = place.Changed != 0 && place.Changed == ChangeInRecord(source);
      return copy;
    }
  }
  // The record knows nothing of what it could not be sure of; Compare takes that by its looks, too.
  return untouched_here();
}

bool FormerState::SameAttributes(const FolderPair& pair, std::u16string_view name,
                                 const FileStatus& source, const FormerCopy& copy) const {
  if (!place_.AttributesMayDiffer(source, copy.Status)) return true;
  return !copy.Opened.UpdateMetadata(copy.Name, source, pair.Source, true, name).Attributes;
}

}  // namespace kavrel
