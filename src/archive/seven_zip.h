// The archive library's functions, as the program calls them. They drive the installed 7-Zip
// program as a child process or, on Windows, 7-Zip.dll; a command is one line, as its users write
// it. The build takes seven_zip.cpp or seven_zip_dll.cpp, as it takes one port of the platform.
// They do not lie there, because they speak of commands, listings and passwords, which the platform
// knows nothing of; what they ask of the system is its ChildProcess or its SharedLibrary.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/secret.h"
#include "platform/files.h"

namespace kavrel {

/// What the library tells of one entry. Wider than the record of the published interface: sizes
/// have 64 bits, since an entry may be larger than 4 GiB, and names any length.
struct IndividualInfo {
  std::uint64_t OriginalSize = 0, CompressedSize = 0;
  std::uint32_t Crc = 0, Flag = 0, OsType = 0;
  bool HasCrc = false;  ///< empty entries have none, nor have those of some encrypted ZIP archives
  std::uint16_t Ratio = 0;           ///< tenths of a percent
  std::uint16_t Date = 0, Time = 0;  ///< DOS words, local time
  FileTime Modified;                 ///< the same moment as exactly as the archive has it
  std::u16string FileName;           ///< with the host's separators
  std::u16string Attribute;          ///< letters of the DOS attributes
  std::u16string Mode;               ///< method
  std::uint32_t Permissions = 0;     ///< of a POSIX system, nine bits; 0 where there are none
  bool IsFolder = false, IsLink = false, Encrypted = false;
};

/// Hears how a command gets on.
class ArchiveMonitor {
 public:
  virtual ~ArchiveMonitor() = default;
  /// Called many times a second; `percent` is 0-100, the view is valid during the call. False ends
  /// the command.
  virtual bool Working(int percent, std::u16string_view current) = 0;
};

/// One command. A password never stands on the child's command line, which other users can list:
/// the child reads it from its standard input.
struct ArchiveCommand {
  std::u16string Line;
  Secret Password;  ///< when empty, what follows a "-p" of the line
  ArchiveMonitor* Monitor = nullptr;
  std::size_t BufferSize = 256;  ///< characters of output that are kept
  /// For a command that packs into an archive that is there: a list file (a program path) of the
  /// entries that leave it first, each with all below it.
  std::u16string Dropped;
  /// Of a command that packs: a file beside the archive that tells of what was in its place before
  /// (a program path). It goes when the new one is whole, before that gets its name.
  std::u16string Outdated;
};

/// Beside the program's own exit codes.
inline constexpr int kNoArchiver = -1, kCommandCancelled = 256;
/// The program's code for a command line that it cannot make sense of.
inline constexpr int kBadCommand = 7;
/// What an archive that is not finished has behind its name.
inline constexpr std::u16string_view kHalfEnding = u".tmp";

class SevenZipLibrary {
 public:
  /// `file_system` must outlive the library.
  explicit SevenZipLibrary(const FileSystem& file_system);

  /// False when no 7zz, 7z or 7za is in the program folder, beside the executable or on the search
  /// path (on Windows: no 7-Zip.dll in the program folder or beside the executable). It is looked
  /// for each time: one may be installed or removed while the program runs.
  bool Present() const;

  /// Runs a command: 0 on success, else the program's exit code (1 warnings, 2 errors), or
  /// kCommandCancelled. The program's text goes to `output`. An archive that was there before is
  /// as it was unless the command succeeds, and a new one takes its name only when it is whole;
  /// what a killed run leaves ends in kHalfEnding, once or twice. Packing into an archive that
  /// would cost it entries which could not be read this time fails with 2.
  int SevenZip(const ArchiveCommand& command, std::u16string& output) const;

  /// Opens an archive for the calls below; null when it cannot be read. Here as below, a monitor
  /// keeps a window alive while the program works, and may end it.
  struct Archive;
  std::shared_ptr<Archive> SevenZipOpenArchive(std::u16string_view path,
                                               ArchiveMonitor* monitor = nullptr) const;
  /// 0 when an entry was found, -1 at the end.
  int SevenZipFindFirst(Archive& archive, IndividualInfo& info) const;
  int SevenZipFindNext(Archive& archive, IndividualInfo& info) const;
  /// The content of the entries that the list file (a program path) names, one after the other in
  /// the archive's order.
  Result<std::string> ReadEntries(std::u16string_view path, std::u16string_view list,
                                  std::u16string_view password,
                                  ArchiveMonitor* monitor = nullptr) const;
  /// Reads the entries that the list file names and keeps nothing of them: 0 when they are whole
  /// and the password fits, else the program's exit code.
  int TestEntries(std::u16string_view path, std::u16string_view list, std::u16string_view password,
                  ArchiveMonitor* monitor = nullptr) const;
  /// The same for the whole archive; what the program says of it goes to `output`.
  int TestArchive(std::u16string_view path, std::u16string_view password, std::u16string& output,
                  ArchiveMonitor* monitor = nullptr) const;
  /// Entries of the archive, negative on error.
  int SevenZipGetFileCount(std::u16string_view path) const;
  /// 1 for ZIP, 2 for 7z, 0 for anything else, -1 on error.
  int SevenZipGetArchiveType(std::u16string_view path, ArchiveMonitor* monitor = nullptr) const;

 private:
  int RunProgram(const std::vector<std::string>& arguments, const std::string& folder,
                 const ArchiveCommand& command, std::string& output,
                 const std::vector<std::string>& environment = {}) const;
  /// Writes the archive without the entries that a command drops to `rest`; as SevenZip.
  int DropEntries(const ArchiveCommand& command, const std::string& archive,
                  const std::string& rest, std::string& output) const;
  /// Whether the new archive has all entries of the old one.
  bool HoldsAllOf(std::u16string_view old_archive, std::u16string_view new_archive) const;
  /// Gives a whole archive its name when it is on the disk; -1 when the monitor says stop.
  ErrorCode PutInPlace(std::u16string_view half, std::u16string_view archive,
                       const ArchiveCommand& command) const;
  /// Takes away what a command makes untrue; that is on the disk before what comes next.
  ErrorCode RemoveOutdated(const ArchiveCommand& command) const;
  const FileSystem& file_system_;
};

struct SevenZipLibrary::Archive {
  int Type = 0;
  std::vector<IndividualInfo> Entries;
  std::size_t Next = 0;
};

/// The words of a command line: blanks part them but inside double quotes, which are dropped.
std::vector<std::u16string> SplitCommand(std::u16string_view line);

/// Reads the technical listing that the 7-Zip program prints in the time zone UTC.
SevenZipLibrary::Archive ReadTechnicalListing(std::string_view text);

}  // namespace kavrel
