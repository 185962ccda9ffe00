// Where an archive is unpacked at first: a folder of its own inside the destination. From there
// each file takes its place at once, so a restore that breaks off has replaced nothing by a part,
// and the archiver never writes where anybody else might have put a link meanwhile.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "files/staging_journal.h"
#include "platform/files.h"

namespace kavrel {

/// The parts of an entry's name, which the archiver writes with slashes.
std::vector<std::u16string_view> EntryParts(std::u16string_view name);

/// Opens the folder below `root` that an entry lies in, following no link.
Result<Folder> OpenParent(const Folder& root, std::u16string_view name);

/// Entries go by their names in the archive.
class Staging {
 public:
  /// Asked of each folder of the destination, with its path, before anything is changed in it: true
  /// for one that must be left alone, because its disk has gone.
  using LeftAlone = std::function<bool(std::u16string_view path, const Folder& folder)>;

  /// Makes the folder in the destination, which exists. The journal, which outlives this, lets the
  /// next run remove what a killed one leaves.
  Staging(const FileSystem& files, Clock& clock, StagingJournal& journal,
          std::u16string_view destination, LeftAlone left_alone = {});
  /// Clear, and the journal's record ends.
  ~Staging();
  Staging(const Staging&) = delete;
  Staging& operator=(const Staging&) = delete;

  explicit operator bool() const { return static_cast<bool>(staged_); }
  const std::u16string& Path() const { return path_; }
  const Folder& Root() const { return root_; }

  /// What was unpacked as this entry.
  Result<FileStatus> Status(std::u16string_view name) const;
  /// The file that was unpacked as this entry, for reading.
  Result<File> Open(std::u16string_view name) const;
  /// Gives it this time.
  ErrorCode SetWritten(std::u16string_view name, FileTime written) const;
  /// Makes a link there with this time.
  ErrorCode MakeLink(std::u16string_view name, std::u16string_view target, FileTime written) const;
  /// Gives an unpacked file these nine bits of its permissions.
  ErrorCode SetPermissions(std::u16string_view name, std::uint32_t bits) const;
  /// Remembers how a folder is to be, before anything leaves it.
  void NoteFolder(std::u16string_view name);
  /// Waits until what was unpacked as this entry is on the disk.
  ErrorCode Sync(std::u16string_view name) const;
  /// Moves a file or link to its place, over a file or link that is there, of which `replaced` gets
  /// a hold.
  ErrorCode Place(std::u16string_view name, File& replaced) const;
  /// Removes the folder with all that is still in it.
  void Clear();
  /// Makes the noted folders and gives them their times and permissions; the first error.
  ErrorCode FinishFolders() const;

 private:
  /// A folder of the destination; a new one is like the unpacked one. That one may be written to
  /// from now on. kErrNoDevice where one on the way is to be left alone.
  Result<Folder> OpenPlace(const std::vector<std::u16string_view>& parts) const;

  StagingJournal& journal_;
  Folder root_, staged_;
  const LeftAlone left_alone_;
  const std::u16string destination_;  ///< with its final separator
  std::u16string name_, path_;
  int record_ = StagingJournal::kNoRecord;
  bool cleared_ = false;
  std::optional<FileStatus> root_before_;  ///< of a root that was read-only
  std::vector<std::pair<std::u16string, FileStatus>> folders_;
};

}  // namespace kavrel
