// Files and folders of the operating system. Work below an engine's root goes through open
// folders: a Folder is opened once, and its entries are named, never reached by a path, so paths
// may be of any length and nothing is touched outside a folder that was opened. Links are never
// followed inside a Folder. Failures are system error codes, 0 is success.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "platform/clock.h"
#include "platform/handle.h"

namespace kavrel {

/// Attribute bits, with Windows' values on every platform.
inline constexpr std::uint32_t kAttrReadOnly = 0x01, kAttrHidden = 0x02, kAttrSystem = 0x04,
                               kAttrDirectory = 0x10, kAttrArchive = 0x20, kAttrNormal = 0x80;

enum class FileKind : std::uint8_t { File, Folder, Link, Special };

/// What the system tells about one entry, without following a link.
struct FileStatus {
  FileKind Kind = FileKind::File;
  std::uint32_t Attributes = 0;  ///< kAttr bits
  std::uint32_t Mode = 0;        ///< POSIX permission bits (07777); 0 where there are none
  std::uint32_t Owner = 0, Group = 0;
  std::uint64_t Size = 0;       ///< bytes
  std::uint64_t Allocated = 0;  ///< bytes that the file takes on disk; below Size: it has holes
  FileTime Created, Accessed, Written;
  /// The last change of content, metadata or names; zero where the system does not tell.
  FileTime Changed;
  FileTime Made;  ///< when its disk made it, which nobody can set; zero where that is not known
  std::uint64_t Device = 0, Id = 0;  ///< together the identity of the entry
  std::uint64_t Mount = 0;           ///< the mount that it was reached through
  std::uint64_t Links = 1;           ///< names that a file has
};

/// One entry of a listing; "." and ".." are left out.
struct FolderEntry {
  std::u16string Name;
  FileKind Kind = FileKind::File;
};

/// An open file, closed when it goes. A moved-from File is closed. One thread at a time.
class File {
 public:
  File() = default;
  explicit File(SystemHandle handle) : handle_(handle) {}
  File(File&& other) noexcept : handle_(other.handle_) { other.handle_ = kNoHandle; }
  File& operator=(File&& other) noexcept;
  ~File() { Close(); }

  explicit operator bool() const { return handle_ != kNoHandle; }
  /// Closing reports what the system could not write until then (a full network disk, say).
  ErrorCode Close();

  /// Up to the buffer's length from the current position; fewer only at the end of the file.
  Result<std::size_t> Read(std::span<char> buffer);
  /// All from the current position on, about `expected` bytes; more than `limit` of them fail.
  Result<std::string> ReadToEnd(std::size_t expected, std::size_t limit);
  /// The same from a position, which leaves the current one alone. Another thread may do so while
  /// this one is copying inside the system.
  Result<std::size_t> ReadAt(std::uint64_t position, std::span<char> buffer) const;
  ErrorCode Write(std::string_view bytes);
  /// Writes at a position, which leaves the current one alone.
  ErrorCode WriteAt(std::uint64_t position, std::string_view bytes);
  /// Copies up to `length` bytes from the source's current position to this file's, inside the
  /// system where it can (sharing blocks where the file system does); both positions move. Fewer
  /// bytes only at the end of the source. An error may be of either side.
  Result<std::uint64_t> CopyFrom(File& source, std::uint64_t length);
  /// Gives this file the whole content of the source, whose blocks both share from then on. Nothing
  /// is done where the file system cannot, or the two are not on the same one (IsBeyondClones).
  ErrorCode CloneFrom(const File& source);
  /// The first position not before `position` that holds data; the file's size when only a hole
  /// follows. The current position is lost.
  Result<std::uint64_t> NextData(std::uint64_t position);
  /// The first position not before `position` that lies in a hole; the file's size where only data
  /// follows. The current position is lost.
  Result<std::uint64_t> NextHole(std::uint64_t position);
  ErrorCode Seek(std::uint64_t position);
  ErrorCode SetSize(std::uint64_t size);
  /// Has the system begin to write these bytes, which were written to the file, to the disk. Does
  /// not wait, and promises nothing: Sync has less left to do.
  void BeginWriting(std::uint64_t position, std::uint64_t length);
  Result<FileStatus> Status() const;
  /// Reaches the disk before it returns.
  ErrorCode Sync();

  /// Tells the system that the file will be read from its beginning to its end.
  void HintSequential();
  /// Drops what memory holds of the file's content, as far as the disk has it already, so that
  /// reading it means reading the disk.
  void ForgetCached();

  /// Gives this file the times of `from`.
  ErrorCode SetTimes(const FileStatus& from);
  /// Gives this file the permissions or attributes of `from`, and the owner and the extended
  /// attributes of `source` as far as the system lets us. A file system that keeps no permissions
  /// is no error as long as the read-only attribute comes out right.
  ErrorCode SetAttributes(const FileStatus& from, const File& source);
  /// Gives a new file those flags of `source` that do a copy no harm (not to be dumped, no time of
  /// access, compression), as far as its file system has them. Compression counts for what is
  /// written from then on.
  void CarryFlags(const File& source);
  /// Takes away the access list that a new file has from its folder.
  void DropInheritedAccess();

 private:
  SystemHandle handle_ = kNoHandle;
};

/// What became of an entry's metadata.
struct MetadataUpdate {
  ErrorCode Error = 0;      ///< why something could not be set that the file system does have
  bool Attributes = false;  ///< extended attributes were set or removed
};

/// The room on the file system that a folder is on.
struct DiskSpace {
  std::uint64_t Free = 0;     ///< bytes that this user may still write
  std::uint64_t Used = 0;     ///< bytes in use, by anybody
  bool SharesBlocks = false;  ///< a copy within it may take no room
};

/// What a file system needs so that nothing is lost in a power cut.
struct DiskManners {
  /// Folder::SyncDisk reaches the disk with all that was written. Else each file and folder must be
  /// synced by itself.
  bool SyncsWhole = false;
  /// Changes of names reach the disk in the order they were made in, each of them at once or not at
  /// all. Else half of one may be there: what was replaced must be kept until that has a sync
  /// behind it.
  bool KeepsOrder = false;
  /// Times and owner of a symbolic link are its own. Else setting them may reach what the link
  /// leads to, anywhere on another machine: they are never set there.
  bool LinksAlone = true;
  /// Reached through the network, or through a program that may stand on any other folder: the same
  /// folder can be there by another path with another number.
  bool Relayed = false;
  /// A file can have several names, as far as that is known.
  bool LinksFiles = true;
};

/// An open folder, closed when it goes. Names are single components; a name with a separator in
/// it, "." and ".." are refused as invalid. Several threads may use one at once while none of them
/// moves or closes it.
class Folder {
 public:
  Folder() = default;
  Folder(Folder&& other) noexcept : handle_(other.handle_) { other.handle_ = kNoHandle; }
  Folder& operator=(Folder&& other) noexcept;
  ~Folder();

  explicit operator bool() const { return handle_ != kNoHandle; }

  Result<FileStatus> Status() const;
  Result<FileStatus> Status(std::u16string_view name) const;
  /// kErrTooDeep when so many calls have led here that the stack has no room for much more: every
  /// walk down a tree takes that, as it would a folder that cannot be read.
  Result<Folder> OpenFolder(std::u16string_view name) const;
  /// This folder, opened once more.
  Result<Folder> Reopen() const;
  /// A new, empty folder that only its owner may enter until SetAttributes, opened.
  Result<Folder> MakeFolder(std::u16string_view name) const;
  Result<File> OpenFile(std::u16string_view name) const;
  /// A hold on an entry, whatever it is, that can only be asked for its status and closed.
  Result<File> HoldEntry(std::u16string_view name) const;
  /// A new file for writing, with the permissions of `like` less the user's mask; fails when the
  /// name is taken.
  Result<File> MakeFile(std::u16string_view name, const FileStatus& like) const;
  Result<std::u16string> ReadLink(std::u16string_view name) const;
  ErrorCode MakeLink(std::u16string_view name, std::u16string_view target) const;
  /// Times (and owner where the system lets us) of a link itself.
  ErrorCode SetLinkTimes(std::u16string_view name, const FileStatus& from) const;
  /// Gives a new link the extended attributes of the link `from` in `source`.
  ErrorCode CarryLinkAttributes(std::u16string_view name, const Folder& source,
                                std::u16string_view from) const;
  /// Gives a file of the folder `from` one more name, `to` in this one; fails when that is taken.
  /// The file is no symbolic link.
  ErrorCode LinkFile(const Folder& from, std::u16string_view name, std::u16string_view to) const;
  /// Renames inside this folder; fails when `to` is taken.
  ErrorCode Rename(std::u16string_view from, std::u16string_view to) const;
  /// Renames a file inside this folder over another, at once or not at all.
  ErrorCode Replace(std::u16string_view from, std::u16string_view to) const;
  /// Moves an entry of another folder into this one, over a file of its name, at once or not at
  /// all.
  ErrorCode TakeOver(const Folder& from, std::u16string_view name) const;
  ErrorCode RemoveFile(std::u16string_view name) const;
  /// Removes an empty folder.
  ErrorCode RemoveFolder(std::u16string_view name) const;
  /// Lets the owner enter, list and change this folder, if that is not so yet.
  ErrorCode MakeWritable() const;
  /// As File::SetTimes for this folder itself; no call where the times are right already.
  ErrorCode SetTimes(const FileStatus& from) const;
  /// As File::SetAttributes for this folder itself.
  ErrorCode SetAttributes(const FileStatus& from, const Folder& source) const;
  /// Gives an entry, none of whose content is touched, the permissions, the owner and the extended
  /// attributes of the entry of that name in `source`, and takes from it the attributes which that
  /// one does not have. `from`: the status of that one; where another has taken its name, nothing
  /// is done. With an empty name the folders themselves are meant. `looks_only`: nothing is
  /// changed, and only extended attributes are looked at. `source_name`: the name in `source`,
  /// where it is another one.
  MetadataUpdate UpdateMetadata(std::u16string_view name, const FileStatus& from,
                                const Folder& source, bool looks_only = false,
                                std::u16string_view source_name = {}) const;
  /// True when new files in this folder get an access list from it.
  bool PassesAccessOn() const;
  /// Whether this user may make files here, as far as the system tells without one being made.
  bool MayWrite() const;
  /// True on a disk of this machine whose file system profits from two threads at work. Not on the
  /// network, where their requests only queue up, nor on file systems of cameras and sticks, where
  /// two names may mean the same file.
  bool OnLocalDisk() const;
  /// Fails where the file system does not tell.
  Result<DiskSpace> Space() const;
  /// Waits until everything that was written to this folder's file system has reached its disk. The
  /// error may be of any program's file, and is told once. Where a file
  /// system does not sync as a whole, no more than what memory holds is handed to it.
  ErrorCode SyncDisk() const;
  /// Waits until the names in this folder are on the disk. A file system that cannot sync folders
  /// by themselves is no error.
  ErrorCode Sync() const;
  DiskManners Manners() const;
  /// Waits until what any program has written to this file is on the disk.
  ErrorCode SyncFile(std::u16string_view name) const;

  /// The program's own remark on a file, or with an empty name on the folder itself, which lies
  /// beside the content where the file system has a place for such things, and which no copy takes
  /// along. IsNotFound when there is none or no place for one.
  Result<std::string> ReadRemark(std::u16string_view name) const;
  /// An empty text removes it. IsNotFound where there is no place for it.
  ErrorCode WriteRemark(std::u16string_view name, const std::string& text) const;
  /// What this folder and every folder above it are, from here up to the root.
  Result<std::vector<FileStatus>> Lineage() const;

 private:
  friend class FileSystem;
  friend class RecycleBin;
  friend class FolderReader;
  friend class MetadataPlace;
  explicit Folder(SystemHandle handle) : handle_(handle) {}
  SystemHandle handle_ = kNoHandle;
};

/// Walks the entries of a folder in the system's order. The Folder must outlive it. Entries removed
/// while it walks are no trouble, nor are other readers of the same Folder: each has a position of
/// its own. One thread at a time.
class FolderReader {
 public:
  explicit FolderReader(const Folder& folder);
  FolderReader(const FolderReader&) = delete;
  FolderReader& operator=(const FolderReader&) = delete;
  ~FolderReader();

  /// The next entry, valid until the next call; null at the end or when the listing broke off.
  const FolderEntry* Next() { return at_begun_ < begun_.size() ? &begun_[at_begun_++] : Read(); }
  /// Reads up to so many entries already, which Next then finds in memory. Another thread may do so
  /// before this one goes on.
  void Begin(std::size_t most) {
    while (begun_.size() < most) {
      const FolderEntry* const entry = Read();
      if (!entry) return;
      begun_.push_back(*entry);
    }
  }
  /// What Begin has read; any thread may look at them from then on.
  const std::vector<FolderEntry>& Begun() const { return begun_; }
  /// The folder as this has opened it for itself; closed where it could not.
  const Folder& Opened() const { return own_; }
  /// Not 0 when the listing broke off.
  ErrorCode Error() const { return error_; }

 private:
  const FolderEntry* Read();
  /// Gets the entries behind those that there were; false at the end.
  bool Fill();

  Folder own_;
  SystemHandle handle_;
  std::unique_ptr<char[]> buffer_;
  std::size_t used_ = 0, at_ = 0;
  std::int64_t next_ = 0;
  FolderEntry entry_;
  std::vector<FolderEntry> begun_;
  std::size_t at_begun_ = 0;
  ErrorCode error_ = 0;
};

/// Files and folders by program paths. Drive and share paths are mapped to the host: X:\... lies
/// under drives/x in the program folder, \\server\share\... under drives/unc/server/share or on a
/// mounted share; what is not mapped does not exist. FTP addresses do not exist either. Any thread
/// may call.
class FileSystem {
 public:
  explicit FileSystem(std::u16string program_folder);

  const std::u16string& ProgramFolder() const { return program_folder_; }
  /// The host's own path, or nothing where the path is not mapped.
  std::optional<std::string> HostPath(std::u16string_view path) const;

  /// The host's own path of what is there, without links; empty when nothing is.
  std::u16string RealPath(std::u16string_view path) const;

  /// Links in the path itself are followed: this is where a root is opened.
  Result<Folder> OpenFolder(std::u16string_view path) const;
  /// As OpenFolder, after making what is missing of the path.
  Result<Folder> MakeFolders(std::u16string_view path) const;
  bool FolderExists(std::u16string_view path) const;
  /// Whether the system tells within that time what is at the path, or that nothing is: a server
  /// may never do. Another process asks, so that this one can end whatever becomes of it.
  bool Answers(std::u16string_view path, std::uint32_t milliseconds) const;
  /// Does not follow a link in the last component.
  Result<FileStatus> Status(std::u16string_view path) const;

  /// The whole content of a file of at most `limit` bytes (ENOMEM above that).
  Result<std::string> ReadWhole(std::u16string_view path, std::size_t limit = kWholeLimit) const;
  /// Replaces a file's content at once or not at all: a temporary file in the same folder,
  /// written, synced, renamed over it. A new file is for its owner alone; an old file keeps its
  /// permissions; one without write permission is refused.
  ErrorCode ReplaceWhole(std::u16string_view path, std::string_view bytes) const;
  /// Removes the temporary file that a ReplaceWhole of this file has left where its process was
  /// killed. The caller knows that no other process is writing it.
  void DropUnfinished(std::u16string_view path) const;
  /// Opens a file for reading and writing as it is; a new one is empty and for its owner alone.
  Result<File> OpenForUpdate(std::u16string_view path) const;
  ErrorCode RemoveFile(std::u16string_view path) const;
  ErrorCode Rename(std::u16string_view from, std::u16string_view to) const;
  /// Gives a complete file another name in its folder, over a file of that name, at once or not at
  /// all, and returns when content and name are on the disk.
  ErrorCode PutInPlace(std::u16string_view from, std::u16string_view to) const;
  /// Makes the folder the process's current one.
  ErrorCode MakeCurrent(std::u16string_view path) const;

  static constexpr std::size_t kWholeLimit = std::size_t{1} << 30;

 private:
  std::u16string program_folder_;
};

/// The system's message for a code, in its neutral language; empty when it has none.
std::u16string SystemErrorText(ErrorCode code);

}  // namespace kavrel
