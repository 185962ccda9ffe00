#include "files/late_release.h"

#include <algorithm>
#include <system_error>

#include "platform/wake.h"

namespace kavrel {

namespace {
// With the number of files that may wait, 64 MiB at the most are still taken.
constexpr std::uint64_t kLargest = std::uint64_t{1} << 18;
/// A thread for which fewer wait than these needs no other beside it.
constexpr std::uint32_t kKeepsUp = 16;
}  // namespace

LateRelease::Lane::~Lane() {
  if (!thread_.joinable()) return;
  stopping_ = true;
  ++signal_;
  Wake(signal_);
  thread_.join();
}

void LateRelease::Take(File held) {
  const Result<FileStatus> status = held.Status();
  if (!status || status->Allocated > kLargest) return;
  const auto keeps_up = [](const Lane& lane) { return lane.Waiting() < kKeepsUp; };
  const auto has_room = [](const Lane& lane) { return lane.Waiting() < Lane::kMost; };
  auto lane = std::find_if(lanes_.begin(), lanes_.end(), keeps_up);
  if (lane == lanes_.end()) lane = std::find_if(lanes_.begin(), lanes_.end(), has_room);
  if (lane != lanes_.end()) lane->Take(std::move(held));
}

void LateRelease::Drain() {
  for (Lane& lane : lanes_) lane.Drain();
}

void LateRelease::Lane::Take(File held) {
  if (!thread_.joinable()) {
    try {
      thread_ = std::thread([this] { Loop(); });
    } catch (const std::exception&) {
      return;  // Out of threads or memory.
    }
  }
  held_[given_ % kMost] = std::move(held);
  ++given_;
  ++signal_;
  Wake(signal_);
}

void LateRelease::Lane::Drain() {
  for (std::uint32_t done = released_; done != given_; done = released_) {
    SleepWhile(released_, done);
  }
}

void LateRelease::Lane::Loop() {
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
