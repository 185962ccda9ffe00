#include "engine/folder_pair.h"

#include <algorithm>

#include "base/text.h"
#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// Names that disks have at their top: bins, what a repair has found, Windows' own.
bool BelongsToDisk(std::u16string_view name) {
  const std::u16string lower = ToLower(name);
  return lower == u".trash" || lower.starts_with(u".trash-") || lower == u"lost+found" ||
         lower == u"$recycle.bin" || lower == u"system volume information";
}

bool IsTopOfDisk(const Folder& folder) {
  const Result<std::vector<FileStatus>> lineage = folder.Lineage();
  return !lineage || lineage->size() < 2 || (*lineage)[0].Device != (*lineage)[1].Device ||
         (*lineage)[0].Mount != (*lineage)[1].Mount;
}

}  // namespace

bool MayBeLeftOver(const FileStatus& folder, const FileStatus& dest,
                   const std::vector<FileStatus>& source_lineage) {
  return !IsAmong(source_lineage, folder) && folder.Device == dest.Device &&
         folder.Mount == dest.Mount;
}

bool IsKeptByDisk(const Folder& folder, std::u16string_view name) {
  return BelongsToDisk(name) && IsTopOfDisk(folder);
}

WalkPaths::WalkPaths(std::u16string_view source, std::u16string_view dest,
                     std::u16string_view dest_place)
    : source_(AddBackslash(source)),
      dest_(AddBackslash(dest)),
      dest_place_(dest_place.empty() ? dest_ : AddBackslash(dest_place)),
      root_length_(source_.size()) {}

std::u16string_view WalkPaths::SourceOf(std::u16string_view name) {
  scratch_.assign(source_);
  scratch_ += name;
  return scratch_;
}

WalkPaths::Step::Step(WalkPaths& paths, std::u16string_view name)
    : paths_(paths), source_length_(paths.source_.size()), dest_length_(paths.dest_.size()) {
  paths.source_ += name;
  paths.source_ += PathSeparator(paths.source_);
  paths.dest_ += name;
  paths.dest_ += PathSeparator(paths.dest_);
}

WalkPaths::Step::~Step() {
  paths_.source_.resize(source_length_);
  paths_.dest_.resize(dest_length_);
}

namespace {

void OpenSource(const FileSystem& files, const FolderPair* parent, std::u16string_view name,
                const WalkPaths& paths, FolderPair& pair) {
  Result<Folder> source =
      parent ? parent->Source.OpenFolder(name) : files.OpenFolder(paths.Source());
  pair.SourceError = source.Error;
  if (!source) return;
  pair.Source = std::move(*source);
  const Result<FileStatus> status = pair.Source.Status();
  pair.SourceStatus = *status;
  pair.SourceError = status.Error;
}

}  // namespace

FolderPair OpenPair(const FileSystem& files, const FolderPair* parent, std::u16string_view name,
                    const WalkPaths& paths, CopyAhead::Listed* listed) {
  FolderPair pair;
  if (listed) {
    pair.Source = std::move(listed->Opened);
    pair.SourceStatus = listed->Status;
  } else {
    OpenSource(files, parent, name, paths, pair);
  }
  OpenDest(files, parent, name, paths, pair);
  return pair;
}

void OpenDest(const FileSystem& files, const FolderPair* parent, std::u16string_view name,
              const WalkPaths& paths, FolderPair& pair) {
  if (parent && parent->DestIsNew) {
    pair.DestError = kErrNotFound;
    return;
  }
  Result<Folder> dest =
      parent ? parent->Dest.OpenFolder(name) : files.OpenFolder(paths.DestPlace());
  pair.DestError = dest.Error;
  if (dest) pair.Dest = std::move(*dest);
  pair.KeptByDisk = parent && (parent->KeptByDisk || IsKeptByDisk(parent->Dest, name));
}

namespace {

/// A new root is for its owner alone, like all that is made below it, until it gets the permissions
/// of the source's. A source that is the top of a disk gives it none.
Result<Folder> MakeRoot(const FileSystem& files, const WalkPaths& paths) {
  const std::u16string_view path = DropBackslash(paths.DestPlace());
  const std::u16string_view above = PathFolder(path);
  if (IsRootPath(paths.Source()) || above.empty() || above.size() >= path.size()) {
    return files.MakeFolders(paths.DestPlace());
  }
  const Result<Folder> parent = files.MakeFolders(above);
  return parent ? parent->MakeFolder(PathName(path)) : Result<Folder>::Fail(parent.Error);
}

}  // namespace

bool MakeDestination(const FileSystem& files, const FolderPair* parent, std::u16string_view name,
                     const WalkPaths& paths, FolderPair& pair) {
  if (!pair.Dest) {
    Result<Folder> made = parent ? parent->Dest.MakeFolder(name) : MakeRoot(files, paths);
    // That the name is taken would hide why what is there could not be opened.
    pair.DestError = IsTaken(made.Error) ? pair.DestError : made.Error;
    if (!made) return false;
    pair.Dest = std::move(*made);
    pair.DestIsNew = true;
  }
  const std::optional<FileStatus>& found = pair.DestFound;
  const bool may_look = found && (found->Mode & kOwnerMayLook) == kOwnerMayLook;
  if (!parent || !may_look) UnlockDestination(pair);
  const bool one_disk =
      parent && parent->DestFound && found && parent->DestFound->Device == found->Device;
  pair.DestManners = one_disk ? parent->DestManners : pair.Dest.Manners();
  pair.DestPassesAccessOn = pair.Dest.PassesAccessOn();
  return true;
}

void UnlockDestination(const FolderPair& pair) {
  // A copy of a read-only folder must take files, too; it gets its permissions when it is done.
  if (pair.DestUnlocked || (pair.DestFound && OwnerMayAll(*pair.DestFound))) return;
  pair.Dest.MakeWritable();
  pair.DestUnlocked = true;
}

}  // namespace kavrel
