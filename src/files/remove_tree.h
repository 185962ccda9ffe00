// Removing a folder with all that is in it.
#pragma once

#include <string_view>

#include "platform/files.h"

namespace kavrel {

/// Removes a folder of `parent` and its content, following no link and entering no other mount. The
/// first error; what could not be removed stays. `last`: an entry of the folder that goes when
/// nothing else is left in it.
ErrorCode RemoveTree(const Folder& parent, std::u16string_view name, std::u16string_view last = {});

}  // namespace kavrel
