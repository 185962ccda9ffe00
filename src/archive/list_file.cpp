#include "archive/list_file.h"

#include "archive/archiver.h"
#include "base/text.h"
#include "files/path.h"

namespace kavrel {

namespace {
constexpr std::u16string_view kListName = u"~complist.lst";
}

std::string ListLine(std::u16string_view path) {
  if (path.find_first_of(u"\n\r") != path.npos || !IsWellFormed(path)) return {};
  if (path.find(u'"') == path.npos) return ToUtf8(QuotePath(path));
  const bool bare = path.front() != u'"' && path.front() != u' ' && path.back() != u' ';
  return bare ? ToUtf8(path) : std::string();
}

std::u16string WriteListFile(const FileSystem& files, std::string_view lines) {
  RemoveListFile(files);
  const Result<Folder> folder = files.OpenFolder(files.ProgramFolder());
  if (!folder) return {};
  FileStatus own;
  own.Mode = 0600;
  Result<File> list = folder->MakeFile(kListName, own);
  if (!list || list->Write(lines) != 0 || list->Close() != 0) return {};
  return JoinPath(files.ProgramFolder(), kListName);
}

void RemoveListFile(const FileSystem& files) {
  files.RemoveFile(JoinPath(files.ProgramFolder(), kListName));
}

}  // namespace kavrel
