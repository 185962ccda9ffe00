// The sum of a file's content: XXH3 of 128 bits, written as xxh128sum writes it. It finds what a
// disk has spoilt; it is no proof against somebody who forges.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <thread>

#include "platform/files.h"

namespace kavrel {

/// In the order of the digits.
using ContentSum = std::array<unsigned char, 16>;

/// Of a whole content at hand.
ContentSum SumOf(std::string_view bytes);

/// The sum of what is added piece by piece.
class Summing {
 public:
  Summing();
  ~Summing();
  Summing(Summing&&) noexcept;
  Summing& operator=(Summing&&) noexcept;

  void Add(std::span<const char> bytes);
  /// What a hole reads as.
  void AddZeros(std::uint64_t count);
  ContentSum End() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// Sums a file that is being copied without passing through the program's memory: a thread of its
/// own reads behind the copying what memory still holds.
class SumBehind {
 public:
  /// The file outlives this. Where there is no thread to be had, Finish reads it all.
  explicit SumBehind(const File& file);
  /// Stops where it is.
  ~SumBehind();
  SumBehind(const SumBehind&) = delete;
  SumBehind& operator=(const SumBehind&) = delete;

  /// What lies before this position has been copied.
  void Reach(std::uint64_t position);
  /// Waits until all is read. Nothing where the file could not be read, or ended before `size`.
  std::optional<ContentSum> Finish(std::uint64_t size);

 private:
  void Work();
  void Stop();
  /// Reads up to there; false at a failure.
  bool ReadTo(std::uint64_t position);

  const File& file_;
  Summing sum_;
  std::unique_ptr<char[]> block_;
  std::uint64_t at_ = 0;
  std::mutex mutex_;
  std::condition_variable moved_;
  std::uint64_t reached_ = 0;
  bool stopping_ = false, ending_ = false, failed_ = false;
  std::thread thread_;
};

}  // namespace kavrel
