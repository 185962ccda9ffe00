#include "app/state_files.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "files/file_sum.h"
#include "files/open_along.h"
#include "files/path_set.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

bool GoesOn(ArchiveMonitor* monitor, std::u16string_view path) {
  return !monitor || monitor->Working(0, path);
}

void ReadFolder(const Folder& folder, const std::u16string& path, StateListing& found,
                ArchiveMonitor* monitor) {
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (!GoesOn(monitor, path)) return;
    if (entry->Kind == FileKind::Special || (path.empty() && IsBackupsOwn(entry->Name))) continue;
    const std::u16string below = RelativePath(path, entry->Name);
    if (entry->Kind == FileKind::Folder) {
      const Result<Folder> opened = folder.OpenFolder(entry->Name);
      if (opened) {
        ReadFolder(*opened, below, found, monitor);
      } else {
        ++found.Unread;
      }
      continue;
    }
    const Result<FileStatus> status = folder.Status(entry->Name);
    if (!status) {
      ++found.Unread;
      continue;
    }
    const bool link = status->Kind == FileKind::Link;
    found.Files.push_back({below, link, status->Size, status->Written, std::nullopt});
  }
  if (reader.Error()) ++found.Unread;
}

/// The open folder that the relative path lies in; no link is followed.
Result<Folder> FolderOfFile(const FileSystem& files, std::u16string_view root,
                            std::u16string_view path) {
  return OpenBelow(files.OpenFolder(root), RelativeFolder(path));
}

/// Whether something on the way to the path is no folder: then nothing lies at its end.
bool EndsBefore(const FileSystem& files, std::u16string_view root, std::u16string_view path) {
  Result<Folder> folder = files.OpenFolder(root);
  for (const std::u16string_view name : Split(RelativeFolder(path), u'/')) {
    if (!folder || name.empty()) return false;
    const Result<FileStatus> status = folder->Status(name);
    if (!status || status->Kind != FileKind::Folder) return status || IsNotFound(status.Error);
    folder = folder->OpenFolder(name);
  }
  return false;
}

/// The checksum of a file's content; nothing where it cannot be read.
std::optional<std::uint32_t> CrcOf(const FileSystem& files, const JobState& state,
                                   const StateFile& file, ArchiveMonitor* monitor) {
  if (file.Crc || state.IsArchive) return file.Crc;
  const Result<Folder> folder = FolderOfFile(files, state.Unit, file.Path);
  if (!folder) return std::nullopt;
  Result<File> opened = folder->OpenFile(RelativeName(file.Path));
  if (!opened) return std::nullopt;
  const Result<std::uint32_t> crc =
      FileSum().Crc(*opened, [&] { return GoesOn(monitor, file.Path); });
  return crc ? std::optional(*crc) : std::nullopt;
}

bool IsSame(const FileSystem& files, const JobState& from, const StateFile& a, const JobState& to,
            const StateFile& b) {
  if (a.IsLink != b.IsLink) return false;
  if (a.Crc && b.Crc && *a.Crc != *b.Crc) return false;
  if (!a.IsLink) return a.Size == b.Size && IsSameTime(a.Written, b.Written);
  if (from.IsArchive || to.IsArchive) return a.Size == b.Size;
  const auto target = [&](const JobState& state, const StateFile& link) {
    const Result<Folder> folder = FolderOfFile(files, state.Unit, link.Path);
    return folder ? folder->ReadLink(RelativeName(link.Path))
                  : Result<std::u16string>::Fail(folder.Error);
  };
  const Result<std::u16string> one = target(from, a), other = target(to, b);
  return one && other && *one == *other;
}

/// Takes out of `added` and `removed` what was only moved.
class MoveFinder {
 public:
  MoveFinder(const FileSystem& files, const JobState& from, const JobState& to,
             ArchiveMonitor* monitor)
      : files_(files), from_(from), to_(to), monitor_(monitor) {}

  void Find(std::vector<const StateFile*>& removed, std::vector<const StateFile*>& added,
            std::vector<StateDifference>& found) {
    std::multimap<std::uint64_t, const StateFile*> by_size;
    std::set<const StateFile*> moved;
    for (const StateFile* file : removed) {
      if (IsCandidate(*file)) by_size.emplace(file->Size, file);
    }
    std::erase_if(added, [&](const StateFile* file) {
      if (!IsCandidate(*file) || !GoesOn(monitor_, file->Path)) return false;
      const auto [begin, end] = by_size.equal_range(file->Size);
      const auto match =
          std::find_if(begin, end, [&](const auto& one) { return IsMoved(*one.second, *file); });
      if (match == end) return false;
      found.push_back({StateChange::Moved, file->Path, match->second->Path, file->Size});
      moved.insert(match->second);
      by_size.erase(match);
      return true;
    });
    std::erase_if(removed, [&](const StateFile* file) { return moved.contains(file); });
  }

 private:
  /// Empty files are all alike.
  static bool IsCandidate(const StateFile& file) { return !file.IsLink && file.Size > 0; }

  bool IsMoved(const StateFile& before, const StateFile& after) {
    if (!IsSameTime(before.Written, after.Written)) return false;
    const std::optional<std::uint32_t> one = Crc(from_, before);
    return one && one == Crc(to_, after);
  }

  /// Each file is read once.
  std::optional<std::uint32_t> Crc(const JobState& state, const StateFile& file) {
    const auto [known, is_new] = crcs_.try_emplace(&file);
    if (is_new) known->second = CrcOf(files_, state, file, monitor_);
    return known->second;
  }

  const FileSystem& files_;
  const JobState &from_, &to_;
  ArchiveMonitor* const monitor_;
  std::map<const StateFile*, std::optional<std::uint32_t>> crcs_;
};

}  // namespace

bool IsSameTime(FileTime a, FileTime b) {
  return !IsNewer(a, b) && !IsNewer(b, a);
}

std::optional<StateListing> ReadState(const FileSystem& files, const SevenZipLibrary& archiver,
                                      const JobState& state, ArchiveMonitor* monitor) {
  StateListing found;
  if (state.IsArchive) {
    const auto archive = archiver.SevenZipOpenArchive(state.Unit, monitor);
    if (!archive) return std::nullopt;
    for (const IndividualInfo& entry : archive->Entries) {
      if (entry.IsFolder || entry.FileName.empty()) continue;
      found.Files.push_back({entry.FileName, entry.IsLink, entry.OriginalSize, entry.Modified,
                             entry.HasCrc ? std::optional(entry.Crc) : std::nullopt});
    }
  } else {
    const Result<Folder> root = files.OpenFolder(state.Unit);
    if (!root) return std::nullopt;
    ReadFolder(*root, {}, found, monitor);
  }
  std::sort(found.Files.begin(), found.Files.end(),
            [](const StateFile& a, const StateFile& b) { return a.Path < b.Path; });
  return found;
}

FileVersions VersionsOf(const FileSystem& files, const SevenZipLibrary& archiver,
                        const std::vector<JobState>& states, std::u16string_view path,
                        ArchiveMonitor* monitor) {
  FileVersions found;
  const auto add = [&](std::size_t state, std::uint64_t size, FileTime written) {
    const auto same =
        std::find_if(found.Versions.begin(), found.Versions.end(), [&](const FileVersion& version) {
          return version.Size == size && IsSameTime(version.Written, written);
        });
    if (same != found.Versions.end()) {
      same->States.push_back(state);
    } else {
      found.Versions.push_back({size, written, {state}});
    }
  };
  for (std::size_t i = 0; i < states.size(); ++i) {
    if (!GoesOn(monitor, path)) break;
    const JobState& state = states[i];
    if (state.IsArchive) {
      const auto archive = archiver.SevenZipOpenArchive(state.Unit, monitor);
      if (!archive) found.Unread.push_back(i);
      for (const IndividualInfo& entry :
           archive ? archive->Entries : std::vector<IndividualInfo>()) {
        if (!entry.IsFolder && entry.FileName == path) add(i, entry.OriginalSize, entry.Modified);
      }
      continue;
    }
    const Result<Folder> folder = FolderOfFile(files, state.Unit, path);
    const Result<FileStatus> status =
        folder ? folder->Status(RelativeName(path)) : Result<FileStatus>::Fail(folder.Error);
    const bool absent = IsNotFound(status.Error) || EndsBefore(files, state.Unit, path);
    if (!status && (!absent || state.Health == StateHealth::Away)) found.Unread.push_back(i);
    if (status && status->Kind != FileKind::Folder) add(i, status->Size, status->Written);
  }
  return found;
}

std::u16string_view StateChangeText(StateChange change) {
  switch (change) {
    case StateChange::Added:
      return u"新增";
    case StateChange::Removed:
      return u"移除";
    case StateChange::Changed:
      return u"變更";
    case StateChange::Moved:
      return u"移動";
  }
  return {};
}

std::vector<StateDifference> CompareStates(const FileSystem& files, const JobState& from,
                                           const StateListing& from_files, const JobState& to,
                                           const StateListing& to_files, ArchiveMonitor* monitor) {
  std::vector<StateDifference> found;
  std::vector<const StateFile*> removed, added;
  auto before = from_files.Files.begin();
  auto after = to_files.Files.begin();
  while (before != from_files.Files.end() || after != to_files.Files.end()) {
    if (after == to_files.Files.end() ||
        (before != from_files.Files.end() && before->Path < after->Path)) {
      removed.push_back(&*before++);
    } else if (before == from_files.Files.end() || after->Path < before->Path) {
      added.push_back(&*after++);
    } else {
      if (!GoesOn(monitor, after->Path)) break;
      if (!IsSame(files, from, *before, to, *after)) {
        found.push_back({StateChange::Changed, after->Path, {}, after->Size});
      }
      ++before;
      ++after;
    }
  }
  MoveFinder(files, from, to, monitor).Find(removed, added, found);
  for (const StateFile* file : added) {
    found.push_back({StateChange::Added, file->Path, {}, file->Size});
  }
  for (const StateFile* file : removed) {
    found.push_back({StateChange::Removed, file->Path, {}, file->Size});
  }
  std::sort(found.begin(), found.end(), [](const StateDifference& a, const StateDifference& b) {
    return std::tie(a.Path, a.Change) < std::tie(b.Path, b.Change);
  });
  return found;
}

}  // namespace kavrel
