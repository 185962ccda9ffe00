#include "files/late_release.h"

#include "platform/wake.h"

namespace kavrel {

namespace {
// With the number of files that may wait, 64 MiB at the most are still taken.
constexpr std::uint64_t kLargest = std::uint64_t{1} << 20;
}  // namespace

LateRelease::~LateRelease() {
  if (!thread_.joinable()) return;
  stopping_ = true;
  ++signal_;
  Wake(signal_);
  thread_.join();
}

ErrorCode LateRelease::Remove(const Folder& folder, std::u16string_view name) {
  // An entry that is held open stays on the disk, without a name, until it is closed.
  Result<File> held = folder.HoldEntry(name);
  const Result<FileStatus> status = held ? held->Status() : Result<FileStatus>::Fail(held.Error);
  const ErrorCode error = folder.RemoveFile(name);
  if (error || !status || status->Allocated > kLargest || given_ - released_ == kMost) return error;
  held_[given_ % kMost] = std::move(*held);
  if (!thread_.joinable()) thread_ = std::thread([this] { Loop(); });
  ++given_;
  ++signal_;
  Wake(signal_);
  return 0;
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
