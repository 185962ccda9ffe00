#include "archive/list_file.h"

#include "archive/archiver.h"
#include "base/text.h"
#include "files/path.h"

namespace kavrel {

namespace {
std::u16string_view NameOf(ListKind kind) {
  return kind == ListKind::Entries ? u"~complist.lst" : u"~droplist.lst";
}
}  // namespace

std::string ListLine(std::u16string_view path) {
  if (path.find_first_of(u"\n\r") != path.npos || !IsWellFormed(path)) return {};
  if (path.find(u'"') == path.npos) return ToUtf8(QuotePath(path));
  const bool bare = path.front() != u'"' && path.front() != u' ' && path.back() != u' ';
  return bare ? ToUtf8(path) : std::string();
}

std::u16string WriteListFile(const FileSystem& files, std::string_view lines, ListKind kind) {
  RemoveListFile(files, kind);
  const Result<Folder> folder = files.OpenFolder(files.ProgramFolder());
  if (!folder) return {};
  FileStatus own;
  own.Mode = 0600;
  Result<File> list = folder->MakeFile(NameOf(kind), own);
  if (!list || list->Write(lines) != 0 || list->Close() != 0) return {};
  return JoinPath(files.ProgramFolder(), NameOf(kind));
}

void RemoveListFile(const FileSystem& files, ListKind kind) {
  files.RemoveFile(JoinPath(files.ProgramFolder(), NameOf(kind)));
}

}  // namespace kavrel
