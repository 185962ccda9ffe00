#include "files/patient_sync.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace kavrel {

namespace {

/// Shared, for the caller may be gone before a disk that does not answer.
struct Work {
  kavrel::File File;
  std::mutex Mutex;
  std::condition_variable Changed;
  bool Done = false;
  ErrorCode Error = 0;

  void Run() {
    const ErrorCode error = File.Sync();
    const std::lock_guard lock(Mutex);
    Error = error;
    Done = true;
    Changed.notify_all();
  }
};

}  // namespace

ErrorCode SyncPatiently(File file, const std::function<bool()>& go_on) {
  constexpr std::chrono::milliseconds kSlice(50);
  const auto work = std::make_shared<Work>();
  work->File = std::move(file);
  try {
    std::thread([work] { work->Run(); }).detach();
  } catch (const std::system_error&) {
    work->Run();  // Out of threads.
  }
  for (;;) {
    {
      std::unique_lock lock(work->Mutex);
      if (work->Changed.wait_for(lock, kSlice, [&] { return work->Done; })) return work->Error;
    }
    if (!go_on()) return kSyncGivenUp;
  }
}

}  // namespace kavrel
