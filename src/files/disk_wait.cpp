#include "files/disk_wait.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace kavrel {

struct DiskWait::State {
  using Clock = std::chrono::steady_clock;
  std::function<ErrorCode()> Work;
  std::mutex Mutex;
  std::condition_variable Changed;
  bool Done = false;
  ErrorCode Error = 0;
  Clock::time_point Begun = Clock::now(), Ended;

  void Run() {
    const ErrorCode error = Work();
    const std::lock_guard lock(Mutex);
    Error = error;
    Ended = Clock::now();
    Done = true;
    Changed.notify_all();
  }
};

DiskWait::DiskWait(std::function<ErrorCode()> work) : state_(std::make_shared<State>()) {
  state_->Work = std::move(work);
  try {
    std::thread([state = state_] { state->Run(); }).detach();
  } catch (const std::exception&) {
    state_->Run();  // Out of threads or memory.
  }
}

bool DiskWait::Await(std::chrono::milliseconds longest) const {
  std::unique_lock lock(state_->Mutex);
  if (longest.count() == 0) return state_->Done;  // Asked for each file of a run.
  return state_->Changed.wait_for(lock, longest, [this] { return state_->Done; });
}

ErrorCode DiskWait::Error() const {
  return state_->Error;
}

std::chrono::duration<double> DiskWait::Took() const {
  return state_->Ended - state_->Begun;
}

}  // namespace kavrel
