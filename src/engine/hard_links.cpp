#include "engine/hard_links.h"

#include <vector>

#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// What the table, the heap and the place of a folder take beside an entry itself.
constexpr std::size_t kNode = 192;

/// A number of the source may come to mean another file while the run goes on. When a file was made
/// nobody can set; where the disk does not tell that, nothing about it may have changed.
FileTime MarkOf(const FileStatus& source) {
  return source.Made == FileTime{} ? source.Changed : source.Made;
}

/// Opens a folder that may bear its temporary name still.
Result<Folder> OpenBelow(const Folder& above, DestPlace& place) {
  if (!place.TempName.empty()) {
    Result<Folder> folder = above.OpenFolder(place.TempName);
    if (folder || !IsNotFound(folder.Error)) return folder;
    place.TempName.clear();
  }
  return above.OpenFolder(place.Name);
}

}  // namespace

std::size_t HardLinks::BytesOf(const FirstCopy& first) {
  return sizeof first + kNode + (first.Name.size() + first.TempName.capacity()) * sizeof(char16_t);
}

HardLinks::FirstCopy* HardLinks::Find(const FileStatus& source, bool again) {
  const auto found = first_.find(KeyOf(source));
  if (found == first_.end()) return nullptr;
  FirstCopy& first = found->second;
  if (!again && first.Left > 0) --first.Left;
  const bool same =
      first.Size == source.Size && first.Written == source.Written && first.Made == MarkOf(source);
  return same ? &first : nullptr;
}

void HardLinks::Forget(const FileStatus& source) {
  const auto found = first_.find(KeyOf(source));
  if (found == first_.end() || found->second.Left > 0) return;
  bytes_ -= BytesOf(found->second);
  first_.erase(found);
}

std::shared_ptr<DestPlace> HardLinks::PlaceOf(const FolderPair& pair) {
  std::vector<const FolderPair*> missing;
  const FolderPair* at = &pair;
  for (; at && !at->Place; at = at->Above) missing.push_back(at);
  for (; !missing.empty(); missing.pop_back()) {
    const FolderPair& one = *missing.back();
    one.Place = std::make_shared<DestPlace>();
    if (one.Above) one.Place->Above = one.Above->Place;
    one.Place->Name = one.Name;
    one.Place->TempName = one.MadeAs;
  }
  return pair.Place;
}

void HardLinks::NoteFirst(const FolderPair& pair, std::u16string_view name,
                          std::u16string_view temp_name, const FileStatus& source,
                          const FileStatus* dest) {
  std::uint64_t left = source.Links - 1;
  const auto known = first_.find(KeyOf(source));
  if (known != first_.end()) {
    left = known->second.Left;
    bytes_ -= BytesOf(known->second);
    first_.erase(known);
  }
  if (left == 0 || (dest && dest->Size != source.Size)) return;
  FirstCopy first;
  first.Size = source.Size;
  first.Written = source.Written;
  first.Made = MarkOf(source);
  first.Name = name;
  first.TempName = temp_name;
  first.Left = left;
  const std::size_t bytes = BytesOf(first);
  full_ = full_ || bytes_ + bytes > most_bytes_;
  if (bytes_ + bytes > most_bytes_) return;
  if (dest) {
    first.DestDevice = dest->Device;
    first.DestId = dest->Id;
    first.DestWritten = dest->Written;
    first.Folder = PlaceOf(pair);
  }
  bytes_ += bytes;
  first_.emplace(KeyOf(source), std::move(first));
}

const Folder* HardLinks::Open(const FolderPair& at, const std::shared_ptr<DestPlace>& place,
                              ErrorCode& error) {
  if (place == last_place_ && last_) return &last_;
  // Up to the nearest folder that the walk has open; the root is one.
  std::vector<DestPlace*> missing;
  const Folder* folder = nullptr;
  for (DestPlace* one = place.get(); one && !folder; one = one->Above.get()) {
    for (const FolderPair* pair = &at; pair && !folder; pair = pair->Above) {
      if (pair->Place.get() == one) folder = &pair->Dest;
    }
    if (!folder) missing.push_back(one);
  }
  error = folder ? 0 : kErrNotFound;
  if (!folder || missing.empty()) return folder;
  Folder opened;
  for (; !missing.empty(); missing.pop_back()) {
    Result<Folder> next = OpenBelow(opened ? opened : *folder, *missing.back());
    error = next.Error;
    if (!next) return nullptr;
    opened = std::move(*next);
  }
  last_ = std::move(opened);
  last_place_ = place;
  return &last_;
}

ErrorCode HardLinks::Stage(FirstCopy& first, const FolderPair& pair, std::u16string_view name,
                           const FileStatus* dest, TempNames& names, StagedFile& staged) {
  ErrorCode error = 0;
  const Folder* folder = Open(pair, first.Folder, error);
  if (!folder) return error;
  CopySide to{pair.Dest, {}, name, dest};
  to.UnderOwnName = pair.Unnamed != nullptr;
  const auto link = [&](std::u16string_view from) {
    return error = StageLink(names, *folder, from, to, staged);
  };
  if (first.TempName.empty() || IsNotFound(link(first.TempName))) {
    // It has got its name meanwhile.
    first.TempName.clear();
    link(first.Name);
  }
  if (error) return error;
  const std::u16string temp = staged.TempName;
  const Result<FileStatus> made = pair.Dest.Status(temp);
  const bool is_it = made && first.Is(*made) && made->Kind == FileKind::File &&
                     made->Size == first.Size && made->Written == first.DestWritten;
  if (!is_it) {
    staged = {};
    if (pair.Dest.RemoveFile(temp)) names.NoteLeft();
    if (!made) return made.Error;
    // A disk that numbers each name by itself: what it has linked cannot be told from a copy.
    const bool by_name = made->Links > 1 && made->Size == first.Size &&
                         made->Written == first.DestWritten && !first.Is(*made);
    return by_name ? kErrNotSupported : kErrNotFound;
  }
  return 0;
}

bool HardLinks::IsAnothers(const FileStatus& source, const FileStatus& dest) const {
  const auto found = owners_.find(KeyOf(dest));
  return found != owners_.end() && found->second.Source != KeyOf(source);
}

void HardLinks::NoteOwner(const FileStatus& source, const FileStatus& dest) {
  const auto found = owners_.find(KeyOf(dest));
  if (found == owners_.end()) {
    if (dest.Links < 2 || owners_.size() >= kMostOwners) return;
    owners_.emplace(KeyOf(dest), Owner{KeyOf(source), dest.Links - 1});
  } else if (--found->second.Left == 0) {
    owners_.erase(found);
  }
}

}  // namespace kavrel
