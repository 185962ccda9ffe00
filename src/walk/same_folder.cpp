#include "walk/same_folder.h"

#include <algorithm>
#include <cstdlib>

#include "files/owner_mark.h"

namespace kavrel {

namespace {

constexpr std::size_t kMostCompared = 16;
/// Seconds from the last write to the end of what belongs to it: a sync, a new name.
constexpr std::int64_t kSettles = 60;

/// A server that has no time of the last change to tell gives the one of the last write for it.
bool TellsNoChange(const FileStatus& status) {
  return status.Changed == status.Written && status.Written.Nanoseconds == 0;
}

/// Whether both were written last in the same second, as far as one of the looks tells at all.
bool LooksSameCoarsely(const FileStatus& one, const FileStatus& other) {
  return one.Kind == other.Kind && one.Size == other.Size &&
         one.Written.Seconds == other.Written.Seconds && TellsNoChange(one) != TellsNoChange(other);
}

bool IsAsWritten(const FileStatus& status) {
  return std::abs(status.Changed.Seconds - status.Written.Seconds) <= kSettles;
}

/// What is made anew with each backup and never gets older times than its own.
bool HasSameMark(const Folder& one, const Folder& other) {
  const Result<FileStatus> a = one.Status(kOwnerMark), b = other.Status(kOwnerMark);
  return a && b && LooksSame(*a, *b);
}

/// Whether a few entries of the one are in the other; `telling` where a file's times say so.
bool HasSome(const Folder& other, const Folder& one, bool& empty, bool& telling) {
  FolderReader reader(one);
  for (std::size_t count = 0; count < kMostCompared; ++count) {
    const FolderEntry* entry = reader.Next();
    if (!entry) break;
    empty = false;
    const Result<FileStatus> a = one.Status(entry->Name), b = other.Status(entry->Name);
    if (!a || !b || a->Kind != b->Kind) return false;
    if (a->Kind == FileKind::Folder) continue;
    if (!LooksSame(*a, *b) && !LooksSameCoarsely(*a, *b)) return false;
    telling = true;
  }
  return true;
}

}  // namespace

bool LooksSame(const FileStatus& one, const FileStatus& other, bool exactly) {
  if (one.Size != other.Size) return false;
  return one.Id == other.Id || one.Changed == other.Changed ||
         (!exactly && LooksSameCoarsely(one, other) && IsAsWritten(one) && IsAsWritten(other));
}

MadeFile MakeFileIn(const Folder& folder, const std::vector<const Folder*>& others,
                    TempNames& names) {
  constexpr std::int64_t kLongAgo = 1'000'000'000;
  const std::u16string name = names.Next();
  const Result<FileStatus> before = folder.Status();
  FileStatus like;
  like.Mode = 0600;
  Result<File> file = folder.MakeFile(name, like);
  MadeFile made;
  if (!file) return made;
  made.Made = true;
  made.Shown = std::any_of(others.begin(), others.end(),
                           [&](const Folder* other) { return bool(other->Status(name)); });
  like.Written = like.Accessed = {kLongAgo, 0};
  if (!made.Shown && file->SetTimes(like) == 0) {
    const Result<FileStatus> status = folder.Status(name);
    made.TellsChanges = status && status->Changed.Seconds > kLongAgo + kSettles;
  }
  if (folder.RemoveFile(name)) names.NoteLeft();
  if (before) folder.SetTimes(*before);
  return made;
}

bool IsSeenTwice(const Folder& one, const Folder& other, bool settled, bool exactly) {
  // Many views pass the numbers on, and tell of changes a second late.
  const Result<FileStatus> first = one.Status(), second = other.Status();
  if (first && second && first->Id == second->Id) return true;
  if (settled && first && second && first->Changed == second->Changed) return true;
  if (!exactly && HasSameMark(one, other)) return true;
  FolderReader reader(one);
  bool empty = true;
  while (const FolderEntry* entry = reader.Next()) {
    if (entry->Kind == FileKind::Folder) continue;
    empty = false;
    const Result<FileStatus> a = one.Status(entry->Name), b = other.Status(entry->Name);
    if (a && b && LooksSame(*a, *b, exactly)) return true;
  }
  return empty && !settled;
}

bool LooksAlike(const Folder& one, const Folder& other, bool if_empty) {
  bool empty = true, telling = false;
  return HasSome(other, one, empty, telling) && HasSome(one, other, empty, telling) &&
         (telling || (empty && if_empty));
}

bool HasEntryOf(const Folder& other, const Folder& one) {
  FolderReader reader(one);
  bool empty = true;
  for (std::size_t count = 0; count < kMostCompared; ++count) {
    const FolderEntry* entry = reader.Next();
    if (!entry) break;
    empty = false;
    if (other.Status(entry->Name)) return true;
  }
  return empty && !FolderReader(other).Next();
}

}  // namespace kavrel
