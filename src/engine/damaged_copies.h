// Where copies go that were damaged and have been made anew.
#pragma once

#include <string>
#include <string_view>

#include "platform/files.h"

namespace kavrel {

/// The folder in a backup's folder `root` for a damaged copy of this name, made where it is
/// missing, and the copy's path from `root` on, its parts joined by "/". No copy there has the
/// name.
Result<Folder> PlaceForDamaged(const Folder& root, std::u16string_view name, std::u16string& path);

}  // namespace kavrel
