// Waiting for the disk to take one large file, without freezing.
#pragma once

#include <functional>

#include "platform/files.h"

namespace kavrel {

/// What SyncPatiently gives when it was not to go on.
inline constexpr ErrorCode kSyncGivenUp = -1;

/// Syncs the file on a thread of its own and calls `go_on` meanwhile, some twenty times a second,
/// until that is done or `go_on` gives false. The disk may be at work behind that.
ErrorCode SyncPatiently(File file, const std::function<bool()>& go_on);

}  // namespace kavrel
