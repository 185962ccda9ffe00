// The mark that tells whose a backup is: a remark on the folder that runs write into, or on the
// archive; where the file system has no place for one, a small hidden file inside the folder or
// beside the archive. It goes where the backup goes, so an exact copy of the disk still tells.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/date_time.h"
#include "platform/files.h"

namespace kavrel {

struct OwnerMark {
  struct Owner {
    std::u16string Id;            ///< of the job, as NewOwnerId gives it
    std::u16string Name, Source;  ///< of the job when it wrote this
  };
  std::u16string Place;  ///< the path that the job wrote to
  /// Given by chance when the place was marked for the first time: a copy bears the same one,
  /// another backup of the same job does not. Empty in marks of former versions.
  std::u16string Number;
  /// There was something before the first of the owners came.
  bool Found = false;
  /// All of it is what a whole mirror run of the owner has left.
  bool Mirrored = false;
  std::u16string Archive;  ///< of an archive: its fingerprint
  /// Of a dated folder or an archive: when the last run into it began; the zero date in marks of
  /// former versions.
  DateTime Begun = kZeroDate;
  /// What a run has put into a dated folder or an archive.
  struct RunFigures {
    std::uint64_t Files = 0, Bytes = 0;            ///< that it holds of the source
    std::uint64_t AddedFiles = 0, AddedBytes = 0;  ///< of these, those that were copied or packed
    std::uint64_t Failed = 0;                      ///< files that could not be read or written

    bool operator==(const RunFigures&) const = default;
  };
  /// Of that run, once it has come to its end.
  std::optional<RunFigures> Figures;
  bool Pinned = false;        ///< a dated folder or an archive that never goes by itself
  std::vector<Owner> Owners;  ///< whose runs have written there

  bool Names(std::u16string_view id) const;
  /// Some owner backed up this source.
  bool IsOf(std::u16string_view source) const;
  /// The owner is this one alone.
  bool IsAlone(std::u16string_view id) const { return Owners.size() == 1 && Names(id); }
};

/// What the name of a dated folder ends with until it is whole.
inline constexpr std::u16string_view kUnfinished = u".unfinished";
/// The path of a dated folder, both with their final separators, until it is whole.
std::u16string UnfinishedPath(std::u16string_view unit);
/// The path that it gets; empty for one that is no such path.
std::u16string FinishedPath(std::u16string_view path);

/// 128 bits of chance as 32 digits.
std::u16string NewOwnerId();

inline constexpr std::u16string_view kOwnerMark = u".kavrel-owner";
/// Whether an entry is the file of a backup's mark, of a folder or of an archive, or half of one
/// that a killed run has left.
bool IsOwnerMark(std::u16string_view name);
/// The folder of a backup for copies that were damaged and have been made anew.
inline constexpr std::u16string_view kDamagedFolder = u".kavrel-damaged";
/// Whether it is no part of what was backed up: such a file, the list of sums, or that folder.
bool IsBackupsOwn(std::u16string_view name);
/// The name of the file that is an archive's mark.
std::u16string ArchiveMark(std::u16string_view archive);

/// The archive that a mark of this name lies beside.
std::u16string_view MarkedArchive(std::u16string_view mark);

/// The mark of the folder, or of an archive in it. IsNotFound when there is none; anything else
/// that is not a mark is an error like one that cannot be read. The mark of what was in an
/// archive's place before is none.
Result<OwnerMark> ReadOwnerMark(const Folder& folder, std::u16string_view archive = {});
/// Writes it at once or not at all; it is on the disk then. A file that is no mark is not written
/// over.
ErrorCode WriteOwnerMark(const Folder& folder, const OwnerMark& mark,
                         std::u16string_view archive = {});
/// Makes room for what else the folder is to hold: a mark that is a remark on it becomes a file in
/// it. IsNotFound when there is none.
ErrorCode MoveMarkToFile(const Folder& folder);
/// Milliseconds for a place that a mark names: it may be on a server that is of no use to the run.
inline constexpr std::uint32_t kMarkPatience = 3000;
/// The folder at such a place. A server that does not answer is not there.
Result<Folder> OpenMarked(const FileSystem& files, std::u16string_view place);

/// Removes half a file that a killed run has left.
void DropHalfMark(const Folder& folder, std::u16string_view archive = {});

/// Size and first bytes of an archive, which hold the checksum of its whole listing: no two
/// archives of different content have the same.
Result<std::u16string> ArchiveFingerprint(const Folder& folder, std::u16string_view archive);

/// Whether a text that was kept for a job is the same path: letter case counts where paths are the
/// host's own.
bool IsSamePath(std::u16string_view a, std::u16string_view b);

}  // namespace kavrel
