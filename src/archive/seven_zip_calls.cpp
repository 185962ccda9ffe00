// What is the same whether the library is a program or a DLL.
#include "archive/seven_zip.h"

#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

std::vector<std::u16string> SplitCommand(std::u16string_view line) {
  std::vector<std::u16string> words;
  bool quoted = false, inside = false;
  for (const char16_t c : line) {
    if (c == u' ' && !quoted) {
      inside = false;
      continue;
    }
    if (!inside) words.emplace_back();
    inside = true;
    if (c == u'"') {
      quoted = !quoted;
    } else {
      words.back() += c;
    }
  }
  return words;
}

SevenZipLibrary::SevenZipLibrary(const FileSystem& file_system) : file_system_(file_system) {}

ErrorCode SevenZipLibrary::RemoveOutdated(const ArchiveCommand& command) const {
  if (command.Outdated.empty() || IsNotFound(file_system_.Status(command.Outdated).Error)) return 0;
  if (const ErrorCode error = file_system_.RemoveFile(command.Outdated)) return error;
  const Result<Folder> folder = file_system_.OpenFolder(PathFolder(command.Outdated));
  return folder ? folder->Sync() : folder.Error;
}

int SevenZipLibrary::SevenZipFindFirst(Archive& archive, IndividualInfo& info) const {
  archive.Next = 0;
  return SevenZipFindNext(archive, info);
}

int SevenZipLibrary::SevenZipFindNext(Archive& archive, IndividualInfo& info) const {
  if (archive.Next >= archive.Entries.size()) return -1;
  info = archive.Entries[archive.Next++];
  return 0;
}

int SevenZipLibrary::SevenZipGetFileCount(std::u16string_view path) const {
  const std::shared_ptr<Archive> archive = SevenZipOpenArchive(path);
  return archive ? static_cast<int>(archive->Entries.size()) : -1;
}

int SevenZipLibrary::SevenZipGetArchiveType(std::u16string_view path,
                                            ArchiveMonitor* monitor) const {
  const std::shared_ptr<Archive> archive = SevenZipOpenArchive(path, monitor);
  return archive ? archive->Type : -1;
}

}  // namespace kavrel
