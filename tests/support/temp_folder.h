// A temporary program folder with drives c and d, removed with everything in it; and plain file
// helpers on host paths.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "platform/files.h"

namespace kavrel {

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  /// The temporary folder itself, an absolute host path.
  const std::filesystem::path& Root() const { return root_; }
  /// The program folder inside it ("home"), with drives/c and drives/d.
  std::filesystem::path Home() const { return root_ / "home"; }
  std::filesystem::path DriveC() const { return Home() / "drives" / "c"; }
  std::filesystem::path DriveD() const { return Home() / "drives" / "d"; }
  /// The file system with that program folder.
  const FileSystem& Files() const { return file_system_; }
  /// A host path as program text.
  static std::u16string Text(const std::filesystem::path& path);

 private:
  std::filesystem::path root_;
  FileSystem file_system_;
};

/// Writes a file, making its folders. Fails the test when it cannot.
void WriteTestFile(const std::filesystem::path& path, std::string_view content);
/// A file's bytes; "<missing>" when it cannot be read.
std::string ReadTestFile(const std::filesystem::path& path);
/// Sets an entry's modification time (the link's own for a link).
void SetWritten(const std::filesystem::path& path, FileTime time);
/// When a file was written last, to the nanosecond.
FileTime WrittenOf(const std::filesystem::path& path);
/// Rewrites a file with its time kept, as a disk does that spoils it.
void SpoilTestFile(const std::filesystem::path& path, std::string_view content);
/// As if a copy had been made only now, with all that it holds: no disk records what it has spoilt,
/// so a source that a test has spoilt is to be the older of the two.
void MakeLater(const std::filesystem::path& copy);

}  // namespace kavrel
