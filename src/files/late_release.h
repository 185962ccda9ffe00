// Removing many small files: an entry goes at once, while the blocks that it held are given back to
// the disk by another thread, which is where most of the time goes.
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

  /// Removes the entry as Folder::RemoveFile does. What a large file held is given back at once.
  ErrorCode Remove(const Folder& folder, std::u16string_view name);
  /// Waits until all is given back: whoever found the disk full may look again.
  void Drain();

 private:
  void Loop();

  static constexpr std::size_t kMost = 64;
  std::array<File, kMost> held_;
  /// Counted on for ever: files handed over, and those of them that are given back.
  std::atomic<std::uint32_t> given_ = 0, released_ = 0;
  std::atomic<std::uint32_t> signal_ = 0;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace kavrel
