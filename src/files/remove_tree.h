// Removing a folder with all that is in it.
#pragma once

#include <string_view>

#include "platform/files.h"

namespace kavrel {

/// Removes a folder of `parent` and its content, following no link and entering no other mount. The
/// first error; what could not be removed stays.
ErrorCode RemoveTree(const Folder& parent, std::u16string_view name);

}  // namespace kavrel
