#include "walk/source_place.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "files/folder_identity.h"
#include "files/path.h"
#include "platform/trace.h"
#include "walk/same_folder.h"

namespace kavrel {

namespace {

constexpr std::size_t kSamples = 2, kMostRead = 256, kMostCompared = 16, kMostFolders = 4;
constexpr int kMostLevels = 2, kMostTries = 4;

/// The entries with the longest names, which few other folders have.
std::vector<FolderEntry> SamplesOf(const Folder& folder) {
  std::vector<FolderEntry> entries;
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    entries.push_back(*entry);
    if (entries.size() == kMostRead) break;
  }
  const std::size_t count = std::min(entries.size(), kSamples);
  std::partial_sort(
      entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(count), entries.end(),
      [](const FolderEntry& a, const FolderEntry& b) { return a.Name.size() > b.Name.size(); });
  entries.resize(count);
  return entries;
}

bool IsKind(const Folder& folder, std::u16string_view name, FileKind kind) {
  const Result<FileStatus> status = folder.Status(name);
  return status && status->Kind == kind;
}

/// A file system that has no time of the last change gives another for it, which copies may share:
/// not to this fineness.
bool IsFine(const FileTime& time) {
  constexpr std::int32_t kCoarse = 10'000'000;
  return static_cast<std::int32_t>(time.Nanoseconds) % kCoarse != 0;
}

/// Whether a file of the destination is the one that the source shows under its name with the same
/// time of the last change, which both may have by chance: where the one is touched, the other
/// tells so. True where that cannot be tried.
bool IsOneFile(const Folder& source, const Folder& dest, std::u16string_view name) {
  constexpr std::chrono::milliseconds kTick{20}, kRemembers{1100};  // of clocks; of views
  constexpr int kMostTicks = 120;                                   // FAT: two seconds
  const Result<FileStatus> before = dest.Status(name);
  Result<File> file = dest.OpenFile(name);
  if (!before || !file) return true;
  Result<FileStatus> now = before;
  for (int tick = 0; now && now->Changed == before->Changed; ++tick) {
    if (tick > 0) std::this_thread::sleep_for(kTick);
    if (tick == kMostTicks || file->SetTimes(*before) != 0) return true;
    now = dest.Status(name);
  }
  for (const bool again : {false, true}) {
    if (again) std::this_thread::sleep_for(kRemembers);
    const Result<FileStatus> seen = source.Status(name);
    if (!seen || !(seen->Changed == before->Changed)) return true;
  }
  return false;
}

/// Whether all that is in the one folder is in the other, too, with something that no copy has in
/// common with its original. `sure`: on no file system; the destination may be touched.
bool HasAllOf(const Folder& other, const Folder& one, bool sure, bool one_is_source) {
  FolderReader reader(one);
  bool telling = false;
  std::u16string file;
  for (std::size_t count = 0; count < kMostCompared; ++count) {
    const FolderEntry* entry = reader.Next();
    if (!entry) break;
    const Result<FileStatus> a = one.Status(entry->Name), b = other.Status(entry->Name);
    if (!a || !b || a->Kind != b->Kind) return false;
    const bool changed = a->Changed == b->Changed;
    // What joins several folders shows of some of them more than either has.
    if (a->Kind != FileKind::Folder && (a->Size != b->Size || !changed)) return false;
    // Names of one file have all of that in common.
    if (!changed || (a->Kind == FileKind::File && a->Links > 1)) continue;
    const bool tells = sure ? IsFine(a->Changed) && !(a->Changed == a->Written)
                            : IsFine(a->Changed) || a->Id == b->Id;
    if (tells && file.empty() && a->Kind == FileKind::File) file = entry->Name;
    telling = telling || tells;
  }
  const Folder &source = one_is_source ? one : other, &dest = one_is_source ? other : one;
  return telling && (!sure || file.empty() || IsOneFile(source, dest, file));
}

/// Whether some file in the source, or in the first folders in it that the other has, too, is the
/// very file of its name in the destination: on a disk that tells changes a copy has the time of
/// its last change in common with its original by chance alone. `tries`: so many are looked at
/// closely.
bool SharesFile(const Folder& source, const Folder& dest, int levels, int& tries) {
  FolderReader reader(source);
  std::vector<std::u16string> folders;
  for (std::size_t count = 0; count < kMostCompared; ++count) {
    const FolderEntry* entry = reader.Next();
    if (!entry) break;
    if (entry->Kind == FileKind::Folder && folders.size() < kMostFolders) {
      folders.push_back(entry->Name);
    }
    if (entry->Kind != FileKind::File) continue;
    const Result<FileStatus> a = source.Status(entry->Name), b = dest.Status(entry->Name);
    // Names of one file have all of that in common.
    if (a && b && b->Kind == FileKind::File && a->Links == 1 && b->Links == 1 &&
        a->Size == b->Size && a->Changed == b->Changed && tries-- > 0 &&
        IsOneFile(source, dest, entry->Name)) {
      return true;
    }
  }
  return levels > 0 && std::any_of(folders.begin(), folders.end(), [&](const auto& name) {
           const Result<Folder> a = source.OpenFolder(name), b = dest.OpenFolder(name);
           return a && b && SharesFile(*a, *b, levels - 1, tries);
         });
}

}  // namespace

SourcePlace::SourcePlace(const FileSystem& files, std::u16string_view path, const Folder& root,
                         const Folder& dest, TempNames* names)
    : files_(files),
      path_(path),
      root_(root),
      names_(names),
      source_relayed_(root.Manners().Relayed),
      dest_relayed_(dest.Manners().Relayed),
      dest_(IdentityOf(dest)) {}

const SourcePlace::Signs& SourcePlace::Look() const {
  std::call_once(looked_, [this] {
    signs_.Samples = SamplesOf(root_);
    const std::u16string real = RealPlace(files_, path_);
    std::u16string_view below = DropBackslash(real);
    for (;;) {
      const std::u16string_view above = PathFolder(below);
      if (above.empty() || above.size() >= below.size()) return;
      Result<Folder> folder = files_.OpenFolder(above);
      if (folder) signs_.Folders.push_back({std::move(*folder), std::u16string(PathName(below))});
      below = DropBackslash(above);
    }
  });
  return signs_;
}

/// Whether another number may be the same folder's. To ask that of each folder anew takes long.
bool SourcePlace::MayBeSeen(const Folder& folder) const {
  if (source_relayed_) return true;
  const Result<FileStatus> status = folder.Status();
  const bool same_disk = status && dest_.Known && status->Device == dest_.Device;
  return same_disk ? dest_relayed_ : folder.Manners().Relayed;
}

bool SourcePlace::MayShow(const Folder& folder) const {
  const std::vector<FolderEntry>& samples = Look().Samples;
  return std::any_of(samples.begin(), samples.end(), [&](const FolderEntry& entry) {
    const Result<FileStatus> seen = folder.Status(entry.Name);
    if (!seen || seen->Kind != entry.Kind) return false;
    const Result<FileStatus> own = root_.Status(entry.Name);
    return entry.Kind == FileKind::Folder || (own && own->Size == seen->Size);
  });
}

bool SourcePlace::Is(const Folder& folder) const {
  return folder && MayBeSeen(folder) && MayShow(folder) && Tell(folder, {&root_});
}

bool SourcePlace::IsIn(const Folder& folder) const {
  if (!folder || !MayBeSeen(folder)) return false;
  std::vector<const Folder*> others;
  if (MayShow(folder)) others.push_back(&root_);
  for (const Above& above : Look().Folders) {
    if (IsKind(folder, above.Name, FileKind::Folder)) others.push_back(&above.Opened);
  }
  return !others.empty() && Tell(folder, others);
}

/// Whether one of the others is the folder, under another number.
bool SourcePlace::Tell(const Folder& folder, const std::vector<const Folder*>& others) const {
  const MadeFile made = names_ ? MakeFileIn(folder, others, *names_) : MadeFile();
  // What joins several folders may have made it in another one than that.
  const bool sure = made.Made;
  int tries = kMostTries;
  const bool seen =
      made.Shown || std::any_of(others.begin(), others.end(), [&](const Folder* other) {
        return HasAllOf(*other, folder, sure, false) || HasAllOf(folder, *other, sure, true) ||
               (made.TellsChanges && SharesFile(*other, folder, kMostLevels, tries));
      });
  if (seen) Trace("scope", {u"the destination shows the source"});
  return seen;
}

}  // namespace kavrel
