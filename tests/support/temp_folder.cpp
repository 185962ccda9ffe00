#include "support/temp_folder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "base/text.h"

namespace kavrel {

namespace {

std::filesystem::path MakeRoot() {
  std::string name = (std::filesystem::temp_directory_path() / "kavrel-test-XXXXXX").string();
  if (!mkdtemp(name.data())) abort();
  return name;
}

}  // namespace

TempFolder::TempFolder() : root_(MakeRoot()), file_system_(Text(Home())) {
  std::filesystem::create_directories(DriveC());
  std::filesystem::create_directories(DriveD());
}

TempFolder::~TempFolder() {
  // Folders that a test made unreadable must be opened again before they can be removed.
  std::error_code error;
  std::filesystem::remove_all(root_, error);
  if (error) {
    for (int round = 0; error && round < 100; ++round) {
      for (auto it = std::filesystem::recursive_directory_iterator(
               root_, std::filesystem::directory_options::skip_permission_denied, error);
           !error && it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
        std::error_code ignored;
        if (it->is_directory(ignored) && !it->is_symlink(ignored)) {
          std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all, ignored);
        }
      }
      std::filesystem::remove_all(root_, error);
    }
  }
}

std::u16string TempFolder::Text(const std::filesystem::path& path) {
  return FromUtf8(path.string());
}

void WriteTestFile(const std::filesystem::path& path, std::string_view content) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  out.close();
  ASSERT_TRUE(out) << path;
}

FileTime WrittenOf(const std::filesystem::path& path) {
  return FileSystem(u"").Status(TempFolder::Text(path))->Written;
}

void SpoilTestFile(const std::filesystem::path& path, std::string_view content) {
  const FileTime written = WrittenOf(path);
  WriteTestFile(path, content);
  SetWritten(path, written);
}

void MakeLater(const std::filesystem::path& copy) {
  const FileTime written = WrittenOf(copy);
  const std::string content = ReadTestFile(copy);
  const std::filesystem::path later = copy.native() + std::filesystem::path(".later").native();
  WriteTestFile(later, content);
  // The clock of file systems goes in steps.
  for (const FileTime now = WrittenOf(later); WrittenOf(later) == now;) {
    std::filesystem::remove(later);
    WriteTestFile(later, content);
  }
  SetWritten(later, written);
  std::filesystem::rename(later, copy);
}

std::string ReadTestFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return "<missing>";
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return std::move(bytes).str();
}

void SetWritten(const std::filesystem::path& path, FileTime time) {
  const timespec times[2] = {{time.Seconds, time.Nanoseconds}, {time.Seconds, time.Nanoseconds}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

}  // namespace kavrel
