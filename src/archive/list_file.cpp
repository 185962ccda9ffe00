#include "archive/list_file.h"

#include "archive/archiver.h"
#include "base/text.h"
#include "files/owner_mark.h"
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

namespace {
std::u16string WriteAs(const FileSystem& files, std::u16string_view name, std::string_view lines) {
  const Result<Folder> folder = files.OpenFolder(files.ProgramFolder());
  if (!folder) return {};
  FileStatus own;
  own.Mode = 0600;
  Result<File> list = folder->MakeFile(name, own);
  if (!list || list->Write(lines) != 0 || list->Close() != 0) return {};
  return JoinPath(files.ProgramFolder(), name);
}
}  // namespace

std::u16string WriteListFile(const FileSystem& files, std::string_view lines, ListKind kind) {
  RemoveListFile(files, kind);
  return WriteAs(files, NameOf(kind), lines);
}

void RemoveListFile(const FileSystem& files, ListKind kind) {
  files.RemoveFile(JoinPath(files.ProgramFolder(), NameOf(kind)));
}

LookList::LookList(const FileSystem& files, std::string_view lines)
    : files_(files), path_(WriteAs(files, u"~looklist" + NewOwnerId() + u".lst", lines)) {}

LookList::~LookList() {
  if (!path_.empty()) files_.RemoveFile(path_);
}

}  // namespace kavrel
