// Waiting for a disk, which may take its time or never answer, without freezing.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "base/result.h"

namespace kavrel {

/// One piece of work on a thread of its own. The caller may go before it is done: so the work must
/// own all that it touches, unless it is awaited to its end. All functions are for one thread.
class DiskWait {
 public:
  /// Where there is no thread to be had, returns when the work is done.
  explicit DiskWait(std::function<ErrorCode()> work);

  /// Waits for at most that long; true when the work is done.
  bool Await(std::chrono::milliseconds longest) const;
  /// What the work gave, and how long it took. Only once it is done.
  ErrorCode Error() const;
  std::chrono::duration<double> Took() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace kavrel
