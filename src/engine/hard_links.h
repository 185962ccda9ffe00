// Files of several names stay files of several names: which file of the source was met first under
// which name, and how its copy gets further ones. Kept in memory as far as names are still to come,
// up to a bound; where a link cannot be made, the file is copied once more.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/folder_pair.h"
#include "files/file_copy.h"
#include "files/temp_names.h"
#include "platform/files.h"

namespace kavrel {

/// All functions are for the thread that owns the run.
class HardLinks {
 public:
  /// What files with names still to come may take: room for some 100,000 of them. Beside that some
  /// 15 MiB for copies of several names that stay.
  static constexpr std::size_t kMostBytes = std::size_t{48} << 20;
  static constexpr std::size_t kMostOwners = 150'000;

  explicit HardLinks(std::size_t most_bytes = kMostBytes) : most_bytes_(most_bytes) {}

  /// The copy of the first name that was met of a source file.
  struct FirstCopy {
    std::uint64_t Size = 0;  ///< of the source, like the next two
    FileTime Written, Made;
    /// The copy itself; all zero where it is only planned.
    std::uint64_t DestDevice = 0, DestId = 0;
    FileTime DestWritten;
    std::shared_ptr<DestPlace> Folder;
    std::u16string Name;
    std::u16string TempName;        ///< as long as it may bear that
    std::uint64_t Left = 0;         ///< names of the source that are still to come
    std::optional<ContentSum> Sum;  ///< where it is known
    std::u16string FormerPath;      ///< of the file in the former state that it shares, if any
    bool Unproved = false;          ///< it was left as it is: size and time alone speak for it

    bool Is(const FileStatus& dest) const {
      return DestId == dest.Id && DestDevice == dest.Device && DestId != 0;
    }
  };

  /// From now on only these of the source's files have several names in it. A file of a state may
  /// have others in other states. `ids`: FileStatus::Id, in order.
  void Only(std::vector<std::uint64_t> ids) { only_ = std::move(ids); }
  /// Whether a file of the source may have several names in it. Any thread may ask.
  bool HasSeveral(const FileStatus& source) const {
    return source.Links > 1 &&
           (!only_ || std::binary_search(only_->begin(), only_->end(), source.Id));
  }

  /// One more name of a source file has been met. Gives the copy that it may become a name of; null
  /// when this is the first, or the file has been changed since. Valid until the next call of a
  /// function that is not const. `again`: this name has been met before.
  FirstCopy* Find(const FileStatus& source, bool again);
  /// The name was met, and Find's copy, if any, is needed no longer: entries go with their last
  /// name.
  void Forget(const FileStatus& source);
  /// From now on `name` is the first copy of the file. `dest` is what the copy is: under
  /// `temp_name` where that is not empty; null where it is only planned.
  void NoteFirst(const FolderPair& pair, std::u16string_view name, std::u16string_view temp_name,
                 const FileStatus& source, const FileStatus* dest);

  /// The sum of the first copy that was noted for it.
  void NoteSum(const FileStatus& source, const ContentSum& sum) {
    const auto known = first_.find(KeyOf(source));
    if (known != first_.end()) known->second.Sum = sum;
  }

  /// It shares the content of a file of the former state.
  void NoteFormer(const FileStatus& source, std::u16string_view path) {
    const auto known = first_.find(KeyOf(source));
    if (known != first_.end()) known->second.FormerPath = path;
  }

  /// The first copy that was noted for it is an Unproved one.
  void NoteUnproved(const FileStatus& source) {
    const auto known = first_.find(KeyOf(source));
    if (known != first_.end()) known->second.Unproved = true;
  }
  /// The folder that holds the copy, up to the next call; null where it is not there any more.
  const Folder* FolderOf(const FirstCopy& first, const FolderPair& at) {
    ErrorCode error = 0;
    return Open(at, first.Folder, error);
  }

  /// Gives the copy one more name, up to its commit. What was found under the copy's name is the
  /// copy, or nothing is left. `dest` is what bears the name now.
  ErrorCode Stage(FirstCopy& first, const FolderPair& pair, std::u16string_view name,
                  const FileStatus* dest, TempNames& names, StagedFile& staged);

  /// Whether this destination file, of several names, is the copy of another source file as well.
  bool IsAnothers(const FileStatus& source, const FileStatus& dest) const;
  /// It stays as the copy of this source file.
  void NoteOwner(const FileStatus& source, const FileStatus& dest);

  /// A first copy had no room.
  bool IsFull() const { return full_; }

 private:
  struct Key {
    std::uint64_t Device, Id;
    bool operator==(const Key&) const = default;
  };
  struct KeyHash {
    std::size_t operator()(const Key& key) const {
      return static_cast<std::size_t>((key.Id ^ key.Device << 40) * 0x9E3779B97F4A7C15U >> 7);
    }
  };
  struct Owner {
    Key Source;
    std::uint64_t Left;  ///< names of the copy that have not been met
  };

  static Key KeyOf(const FileStatus& status) { return {status.Device, status.Id}; }
  static std::size_t BytesOf(const FirstCopy& first);
  std::shared_ptr<DestPlace> PlaceOf(const FolderPair& pair);
  /// The folder of the copy: the walk's own handle where it is in it, else opened anew.
  const Folder* Open(const FolderPair& at, const std::shared_ptr<DestPlace>& place,
                     ErrorCode& error);

  const std::size_t most_bytes_;
  std::size_t bytes_ = 0;
  bool full_ = false;
  std::optional<std::vector<std::uint64_t>> only_;
  std::unordered_map<Key, FirstCopy, KeyHash> first_;
  std::unordered_map<Key, Owner, KeyHash> owners_;  ///< of destination files
  /// The folder that was opened last: names that belong together often come in a row.
  std::shared_ptr<DestPlace> last_place_;
  Folder last_;
};

}  // namespace kavrel
