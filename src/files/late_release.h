// Removing or replacing many small files: an entry goes at once, while the blocks that it held are
// given back to the disk by other threads, which is where most of the time goes.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <thread>

#include "platform/files.h"

namespace kavrel {

/// Its end returns when all is given back. All functions are for one thread.
class LateRelease {
 public:
  LateRelease() = default;
  LateRelease(const LateRelease&) = delete;
  LateRelease& operator=(const LateRelease&) = delete;

  /// Takes a hold on an entry that is gone by now (Folder::HoldEntry), and lets go of it. What a
  /// large file held is given back at once.
  void Take(File held);
  /// Waits until all is given back: a copy that found the disk full may try again.
  void Drain();

 private:
  /// A thread and what it is to let go of, in their order.
  class Lane {
   public:
    Lane() = default;
    Lane(const Lane&) = delete;
    Lane& operator=(const Lane&) = delete;
    ~Lane();
    std::uint32_t Waiting() const { return given_ - released_; }
    /// Lets go of it at once where there is no room or no thread.
    void Take(File held);
    void Drain();
    static constexpr std::uint32_t kMost = 64;

   private:
    void Loop();
    std::array<File, kMost> held_;
    /// Counted on for ever: files handed over, and those of them that are given back.
    std::atomic<std::uint32_t> given_ = 0, released_ = 0;
    std::atomic<std::uint32_t> signal_ = 0;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
  };
  /// Where the disk is told of each free block at once, a thread does nothing but wait for it: four
  /// of them wait together. Elsewhere the first keeps up, and no other is started.
  std::array<Lane, 4> lanes_;
};

}  // namespace kavrel
