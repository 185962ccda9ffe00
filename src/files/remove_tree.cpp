#include "files/remove_tree.h"

#include "platform/error_codes.h"

namespace kavrel {

namespace {

ErrorCode Empty(const Folder& folder, std::uint64_t mount, std::u16string_view last) {
  const Result<FileStatus> status = folder.Status();
  if (!status) return status.Error;
  if (status->Mount != mount) return kErrAccess;
  folder.MakeWritable();
  ErrorCode first = 0;
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    ErrorCode error = 0;
    if (!last.empty() && entry->Name == last) continue;
    if (entry->Kind == FileKind::Folder) {
      const Result<Folder> inner = folder.OpenFolder(entry->Name);
      error = inner ? Empty(*inner, mount, {}) : inner.Error;
      if (!error) error = folder.RemoveFolder(entry->Name);
    } else {
      error = folder.RemoveFile(entry->Name);
    }
    if (!first) first = error;
  }
  return first ? first : reader.Error();
}

}  // namespace

ErrorCode RemoveTree(const Folder& parent, std::u16string_view name, std::u16string_view last) {
  const Result<FileStatus> here = parent.Status();
  const Result<Folder> folder = parent.OpenFolder(name);
  if (!here || !folder) return here ? folder.Error : here.Error;
  ErrorCode error = Empty(*folder, here->Mount, last);
  if (!error && !last.empty()) error = folder->RemoveFile(last);
  if (error && !IsNotFound(error)) return error;
  return parent.RemoveFolder(name);
}

}  // namespace kavrel
