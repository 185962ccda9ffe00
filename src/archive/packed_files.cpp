#include "archive/packed_files.h"

namespace kavrel {

namespace {

constexpr std::uint64_t kFolder = 0;  ///< of what holds a noted file
constexpr std::uint64_t kKinds = 4;   ///< a state's lowest bits tell the kind

std::size_t SumOf(std::u16string_view path) {
  return std::hash<std::u16string_view>()(path);
}

/// Neither the number of the entry, which not every disk keeps, nor what only looking changes.
std::uint64_t StateOf(const FileStatus& status) {
  std::uint64_t sum = 0xCBF29CE484222325;  // FNV-1a, by words.
  for (const std::int64_t part :
       {static_cast<std::int64_t>(status.Size), std::int64_t{status.Written.Seconds},
        std::int64_t{status.Written.Nanoseconds}, std::int64_t{status.Changed.Seconds},
        std::int64_t{status.Changed.Nanoseconds}}) {
    sum = (sum ^ static_cast<std::uint64_t>(part)) * 0x100000001B3;
    sum ^= sum >> 32;
  }
  return sum / kKinds * kKinds + (status.Kind == FileKind::Link ? 2 : 1);
}

}  // namespace

void PackedFiles::Note(std::u16string_view path, const FileStatus& status) {
  states_[SumOf(path)] = StateOf(status);
  for (std::size_t slash = path.rfind(u'/'); slash != path.npos; slash = path.rfind(u'/')) {
    path = path.substr(0, slash);
    if (!states_.emplace(SumOf(path), kFolder).second) return;
  }
}

PackedFiles::Doubts PackedFiles::LookAgain(const Folder& source,
                                           const std::function<bool()>& go_on) const {
  Doubts doubts;
  Walk(source, {}, go_on, doubts);
  return doubts;
}

void PackedFiles::Walk(const Folder& folder, const std::u16string& prefix,
                       const std::function<bool()>& go_on, Doubts& doubts) const {
  std::vector<std::u16string> subfolders;
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (!go_on()) return;
    const std::u16string path = prefix + entry->Name;
    const auto noted = states_.find(SumOf(path));
    if (noted == states_.end()) continue;
    if (entry->Kind == FileKind::Folder || entry->Kind == FileKind::Special) {
      if (entry->Kind == FileKind::Folder && noted->second == kFolder) {
        subfolders.push_back(entry->Name);
      } else {
        doubts.Replaced.push_back(path);
      }
      continue;
    }
    const Result<FileStatus> now = folder.Status(entry->Name);
    if (!now) continue;
    const std::uint64_t state = StateOf(*now);
    if (state % kKinds != noted->second % kKinds) {
      doubts.Replaced.push_back(path);
    } else if (state != noted->second) {
      doubts.Changed.push_back(path);
    }
  }
  for (const std::u16string& name : subfolders) {
    const Result<Folder> subfolder = folder.OpenFolder(name);
    if (subfolder) Walk(*subfolder, prefix + name + u"/", go_on, doubts);
  }
}

}  // namespace kavrel
