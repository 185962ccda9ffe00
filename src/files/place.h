// Where a path will be, before it is made.
#pragma once

#include <string>
#include <string_view>

#include "platform/files.h"

namespace kavrel {

/// The folder itself, or the nearest one above it that exists; closed when there is none.
struct Place {
  Folder Nearest;
  bool Exists = true;  ///< it is the folder itself
};

Place FindPlace(const FileSystem& files, std::u16string_view path);

/// Why the folder, which is not there, cannot be made, in words; empty when it is there, or nothing
/// is known against it.
std::u16string NoPlaceText(const FileSystem& files, std::u16string_view path);
/// Why nothing can be made in the folder, which is there, in words; empty when nothing is known
/// against it.
std::u16string LockedPlaceText(const FileSystem& files, std::u16string_view path);

}  // namespace kavrel
