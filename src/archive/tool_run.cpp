#include "archive/tool_run.h"

#include <cstdint>

namespace kavrel {

namespace {

// Milliseconds. How long the program may do nothing at all: it may wait on a network, but a pipe
// that took a file's place keeps it for ever.
constexpr std::uint32_t kPumpSlice = 50, kLookAtWork = 1000, kLongestIdle = 300'000;

/// How long the program has done nothing, told by the slices that were waited for it.
class Idleness {
 public:
  /// After another slice; true when it is to be waited no longer.
  bool TooLong(ChildProcess& child, std::size_t output_size) {
    idle_ = output_size == seen_ ? idle_ + kPumpSlice : 0;
    seen_ = output_size;
    if (idle_ > 0 && idle_ % kLookAtWork == 0 && child.Worked()) idle_ = 0;
    return idle_ >= kLongestIdle;
  }

 private:
  std::uint32_t idle_ = 0;
  std::size_t seen_ = 0;
};

}  // namespace

ToolEnd FollowTool(ChildProcess& child, std::string& output, const std::function<bool()>& goes_on) {
  Idleness idleness;
  while (child.Read(output, kPumpSlice)) {
    if (!goes_on()) {
      child.Kill();
      return ToolEnd::Cancelled;
    }
    if (idleness.TooLong(child, output.size())) {
      child.Kill();
      return ToolEnd::Hung;
    }
  }
  return ToolEnd::Ended;
}

}  // namespace kavrel
