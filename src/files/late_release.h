// Removing or replacing many small files: an entry goes at once, while the blocks that it held are
// given back to the disk by another thread, which is where most of the time goes.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <thread>

#include "platform/files.h"

namespace kavrel {

class LateRelease {
 public:
  LateRelease() = default;
  /// Returns when all is given back.
  ~LateRelease();
  LateRelease(const LateRelease&) = delete;
  LateRelease& operator=(const LateRelease&) = delete;

  /// Takes a hold on an entry that is gone by now (Folder::HoldEntry), and lets go of it. What a
  /// large file held is given back at once.
  void Take(File held);
  /// Waits until all is given back: a copy that found the disk full may try again.
  void Drain();

 private:
  void Loop();

  static constexpr std::size_t kMost = 256;
  std::array<File, kMost> held_;
  /// Counted on for ever: files handed over, and those of them that are given back.
  std::atomic<std::uint32_t> given_ = 0, released_ = 0;
  std::atomic<std::uint32_t> signal_ = 0;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace kavrel
