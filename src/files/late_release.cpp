#include "files/late_release.h"

#include <system_error>

#include "platform/wake.h"

namespace kavrel {

namespace {
// With the number of files that may wait, 64 MiB at the most are still taken.
constexpr std::uint64_t kLargest = std::uint64_t{1} << 18;
}  // namespace

LateRelease::~LateRelease() {
  if (!thread_.joinable()) return;
  stopping_ = true;
  ++signal_;
  Wake(signal_);
  thread_.join();
}

void LateRelease::Take(File held) {
  const Result<FileStatus> status = held.Status();
  if (!status || status->Allocated > kLargest || given_ - released_ == kMost) return;
  if (!thread_.joinable()) {
    try {
      thread_ = std::thread([this] { Loop(); });
    } catch (const std::exception&) {
      return;  // Out of threads or memory: at once, then.
    }
  }
  held_[given_ % kMost] = std::move(held);
  ++given_;
  ++signal_;
  Wake(signal_);
}

void LateRelease::Drain() {
  for (std::uint32_t done = released_; done != given_; done = released_) {
    SleepWhile(released_, done);
  }
}

void LateRelease::Loop() {
  for (;;) {
    const std::uint32_t seen = signal_;
    if (released_ != given_) {
      held_[released_ % kMost].Close();
      ++released_;
      Wake(released_);
    } else if (stopping_) {
      return;
    } else {
      SleepWhile(signal_, seen);
    }
  }
}

}  // namespace kavrel
