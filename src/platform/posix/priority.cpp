#include "platform/priority.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace kavrel {

namespace {

// The C library has no names for these calls. Class and level of ioprio_set, as ioprio_set(2) gives
// them: the class in the bits above 13; 0 lets the level follow the nice value.
constexpr int kIoOfProcess = 1;
constexpr int kIoBestEffort = 2 << 13;
constexpr int kIoIdle = 3 << 13;

struct Share {
  int Nice, Io;
};
constexpr Share kShares[] = {{-20, kIoBestEffort | 0}, {-10, kIoBestEffort | 1},
                             {-5, kIoBestEffort | 2},  {0, 0},
                             {10, kIoBestEffort | 6},  {19, kIoIdle}};
constexpr std::int32_t kNormal = 3;

/// Whether the process could go down to this nice value again: lowering needs a right, raising
/// none.
bool CanReturnTo(int nice_value) {
  rlimit limit{};
  if (geteuid() == 0) return true;
  if (getrlimit(RLIMIT_NICE, &limit) != 0) return false;
  return limit.rlim_cur == RLIM_INFINITY || nice_value >= 20 - static_cast<int>(limit.rlim_cur);
}

}  // namespace

PriorityControl::PriorityControl()
    : normal_nice_(getpriority(PRIO_PROCESS, 0)),
      normal_io_(static_cast<int>(syscall(SYS_ioprio_get, kIoOfProcess, 0))) {}

void PriorityControl::ApplyProcessPriority(std::int32_t index) const {
  if (index < 0 || index >= static_cast<std::int32_t>(std::size(kShares))) return;
  const Share& share = kShares[index];
  if (CanReturnTo(normal_nice_)) {
    setpriority(PRIO_PROCESS, 0, std::clamp(normal_nice_ + share.Nice, -20, 19));
  }
  if (normal_io_ >= 0) {
    syscall(SYS_ioprio_set, kIoOfProcess, 0, index == kNormal ? normal_io_ : share.Io);
  }
}

// The disk's share alone: one who is not root could not raise the processor's again. Of a process
// the call means the calling thread.
QuietReading::QuietReading() : former_(static_cast<int>(syscall(SYS_ioprio_get, kIoOfProcess, 0))) {
  if (former_ >= 0) syscall(SYS_ioprio_set, kIoOfProcess, 0, kIoIdle);
}

QuietReading::~QuietReading() {
  if (former_ >= 0) syscall(SYS_ioprio_set, kIoOfProcess, 0, former_);
}

}  // namespace kavrel
