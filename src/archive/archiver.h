// The archiver as the program uses it: cls7zip binds the library's functions and walks an archive's
// entries; ClsArc composes commands and keeps what they gave.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/seven_zip.h"
#include "base/secret.h"

namespace kavrel {

/// Kinds of archives, as CheckFile tells them. kEncryptedZip is kZip with kEncryptedKind added.
inline constexpr int kSevenZipKind = 15, kZipKind = 16, kEncryptedKind = 512,
                     kEncryptedZipKind = kZipKind + kEncryptedKind;

class cls7zip {
 public:
  explicit cls7zip(const SevenZipLibrary& library) : library_(library) {}

  /// Sends a command and hands its output back, cut to the buffer's size. While it works, the
  /// Process fields follow it and OnProcessing is raised.
  int SendDLLCommand(const ArchiveCommand& command, std::u16string& output);
  int GetArchiveType(std::u16string_view path, ArchiveMonitor* monitor = nullptr) const;
  int GetFileCount(std::u16string_view path) const;
  /// The text before the first NUL.
  static std::u16string DelNullChr(std::u16string_view text);
  /// Lists the archive: OnOpenArchive once, OnFindArchive for each entry with the fields below
  /// filled, OnCloseArchive once. False, with no event, when it cannot be read.
  bool OpenArchive(std::u16string_view path, ArchiveMonitor* monitor = nullptr);
  /// True when the first `count` entries all lie below one and the same top folder.
  bool IsDoubleFolder(std::u16string_view path, int count) const;

  std::u16string FileName, FileSize, FileCompSize, FileRatio, FileCRC, FileType, FileAttr;
  std::uint16_t FILETIME = 0, FileDate = 0;  ///< DOS words
  std::u16string ProcessArcName, ProcessSourceName, ProcessDestName;
  std::uint32_t ProcessWriteSize = 0, ProcessFileSize = 0;  ///< hundredths done, of a hundred
  std::function<void()> OnOpenArchive, OnCloseArchive, OnProcessing;
  std::function<void(std::int32_t index)> OnFindArchive;

 private:
  void Fill(const IndividualInfo& info);
  const SevenZipLibrary& library_;
};

/// The texts of one entry.
struct ArchiveEntry {
  std::u16string FileName, FileSize, FileDateTime, FileCompSize, FileRatio, FileType, FileCRC,
      FileAttr;
};

class ClsArc {
 public:
  /// Both outlive the archiver.
  ClsArc(const SevenZipLibrary& library, const FileSystem& file_system);

  std::u16string Command, param1, param2, Param3;
  std::u16string Dropped, Outdated;  ///< as an ArchiveCommand's
  Secret Switch;                     ///< may hold a password
  std::size_t BufferSize = 256;
  ArchiveMonitor* Monitor = nullptr;
  /// For extraction; a command that packs takes it from behind the "-p" of its Switch.
  Secret Password;

  std::u16string ResultBuffer;  ///< what the last command wrote
  std::u16string DebugCommand;  ///< the last command line, its password masked
  std::vector<ArchiveEntry> Entries;

  /// How the command at work gets on.
  std::u16string ArcName, SourceName, DestName;
  std::uint32_t pWriteSize = 0, pFileSize = 0;

  /// Composes and sends the command: the library's result, kNoArchiver without a library, 0 for
  /// any kind but the two.
  int DoCommand(int archiver_kind);
  /// The kind of a file; -1 when it is no archive or the library is missing, -2 when the file
  /// cannot be opened, -3 when it cannot be read.
  int CheckFile(std::u16string_view path) const;
  /// Collects the entry list.
  void OpenArchive(std::u16string_view path);
  /// Index of the last collected entry, -1 when there is none.
  std::int32_t ArrayCount() const { return static_cast<std::int32_t>(Entries.size()) - 1; }
  int GetFileCount(std::u16string_view path) const { return zip_.GetFileCount(path); }
  bool IsDoubleFolder(std::u16string_view path, int count) const {
    return zip_.IsDoubleFolder(path, count);
  }

 private:
  const SevenZipLibrary& library_;
  const FileSystem& file_system_;
  cls7zip zip_;
};

/// In double quotes when it contains a comma or a space.
std::u16string QuotePath(std::u16string_view text);

/// DOS words as "2009/09/23 15:04:05".
std::u16string DosTimeText(std::uint16_t date, std::uint16_t time);

}  // namespace kavrel
