// The small files that a backup keeps of itself beside what it has copied.
#pragma once

#include <string_view>

#include "platform/files.h"

namespace kavrel {

/// A new file of that mode, hidden also where a leading dot hides nothing, which inherits nothing
/// of the folder's default access list. What is there of the name already is an error.
inline Result<File> MakeHiddenFile(const Folder& folder, std::u16string_view name,
                                   std::uint32_t mode) {
  FileStatus like;
  like.Mode = mode;
  Result<File> file = folder.MakeFile(name, like);
  if (!file) return file;
  if (folder.PassesAccessOn()) file->DropInheritedAccess();
  if (Result<FileStatus> made = file->Status(); made) {
    made->Attributes |= kAttrHidden;
    file->SetAttributes(*made, *file);
  }
  return file;
}

}  // namespace kavrel
