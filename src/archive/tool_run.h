// Following another program that works on an archive: it is ended by a cancel, and when it hangs.
#pragma once

#include <functional>
#include <string>

#include "platform/child_process.h"

namespace kavrel {

enum class ToolEnd {
  Ended,      ///< by itself
  Cancelled,  ///< `goes_on` said so
  Hung,       ///< it had done nothing at all for minutes
};

/// Reads what a program that was started writes, errors included, until it writes no more.
/// `goes_on` is asked many times a second; after any end but the first the program has been told to
/// end, too.
ToolEnd FollowTool(ChildProcess& child, std::string& output, const std::function<bool()>& goes_on);

}  // namespace kavrel
