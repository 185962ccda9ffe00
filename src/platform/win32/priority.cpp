#include "platform/priority.h"

#include <iterator>

#include "platform/win32/native.h"

namespace kavrel {

namespace {

constexpr DWORD kClasses[] = {REALTIME_PRIORITY_CLASS,     HIGH_PRIORITY_CLASS,
                              ABOVE_NORMAL_PRIORITY_CLASS, NORMAL_PRIORITY_CLASS,
                              BELOW_NORMAL_PRIORITY_CLASS, IDLE_PRIORITY_CLASS};
constexpr DWORD kMayChange = 0x664, kMayAsk = PROCESS_QUERY_INFORMATION;

/// Sets the class where the process may be opened for it; gives the one then in force.
DWORD SetProcessPriorityClass(DWORD process, DWORD priority) {
  win32::Handle handle(OpenProcess(kMayChange, FALSE, process));
  if (handle) {
    SetPriorityClass(handle.Get(), priority);
  } else {
    handle = win32::Handle(OpenProcess(kMayAsk, FALSE, process));
  }
  return handle ? GetPriorityClass(handle.Get()) : 0;
}

}  // namespace

// "Normal" is a class of its own here, not what the process began with.
PriorityControl::PriorityControl() : normal_nice_(0), normal_io_(0) {}

void PriorityControl::ApplyProcessPriority(std::int32_t index) const {
  if (index < 0 || index >= static_cast<std::int32_t>(std::size(kClasses))) return;
  SetProcessPriorityClass(GetCurrentProcessId(), kClasses[index]);
}

QuietReading::QuietReading()
    : former_(SetThreadPriority(GetCurrentThread(), THREAD_MODE_BACKGROUND_BEGIN) ? 1 : -1) {}

QuietReading::~QuietReading() {
  if (former_ == 1) SetThreadPriority(GetCurrentThread(), THREAD_MODE_BACKGROUND_END);
}

}  // namespace kavrel
