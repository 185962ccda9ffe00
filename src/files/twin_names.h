// Names of one folder that some disks take for the same: they differ in letter case, or in dots and
// blanks at their end. On such a disk one of them would land in the other's place, and what the run
// has just written there would be lost.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/files.h"

namespace kavrel {

class TwinNames {
 public:
  /// Notes a name of a folder, which is the same one in all calls. Gives all other names before it
  /// in the folder's listing that a disk may take for it; seldom any. They may be many, of which a
  /// disk takes but one for it: 'k', 'K' and the sign for kelvin.
  std::vector<std::u16string> Note(const Folder& folder, std::u16string_view name);
  /// The name has no place of its own on the other side, so nothing can be taken for it.
  void Forget(std::u16string_view name);

 private:
  bool Insert(std::uint64_t key);

  /// The keys of what was noted, 0 where there is none, in a table that is never more than half
  /// full: each lies at its own place or at the next free one. A set would take longer than looking
  /// at a file's status does, and the names themselves several times the room.
  std::vector<std::uint64_t> keys_;
  std::size_t used_ = 0;
  /// All names of the folder by their keys, in its order, listed once a key was met twice.
  std::unordered_map<std::uint64_t, std::vector<std::u16string>> names_;
};

/// The same number for all names that a disk may take for one; others seldom share it.
std::uint64_t FoldedKey(std::u16string_view name);

/// How one folder tells names apart, asked once and not for each name.
class NameManners {
 public:
  /// True when the folder finds one of its entries by the name in other letter case.
  bool FoldsCase(const Folder& folder, std::u16string_view name);
  /// False when the folder is certain to find this entry by no other spelling of its name.
  bool MayFold(const Folder& folder, std::u16string_view name);

 private:
  /// The folder has not found an entry of its own by another letter case, by a dot behind its name.
  bool tells_case_ = false, tells_ends_ = false;
};

/// True when both are what is told of one entry that goes by two names, without having two. Some
/// disks make their numbers up, another one for each spelling, so false proves nothing.
bool IsOneEntry(const Result<FileStatus>& a, const Result<FileStatus>& b);
/// True when the folder holds one entry that the name and one of its twins mean, or is too odd a
/// folder to tell.
bool MeansATwin(const Folder& folder, const std::vector<std::u16string>& twins,
                std::u16string_view name);

}  // namespace kavrel
