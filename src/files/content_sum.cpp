#include "files/content_sum.h"

#include <algorithm>
#include <iterator>
#include <system_error>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace kavrel {

namespace {

/// What is read at once stays in the processor's own memory until it is summed.
constexpr std::size_t kBlock = std::size_t{256} << 10;

ContentSum InOrder(XXH128_hash_t hash) {
  XXH128_canonical_t digits;
  XXH128_canonicalFromHash(&digits, hash);
  ContentSum sum;
  std::copy(std::begin(digits.digest), std::end(digits.digest), sum.begin());
  return sum;
}

}  // namespace

ContentSum SumOf(std::string_view bytes) {
  return InOrder(XXH3_128bits(bytes.data(), bytes.size()));
}

struct Summing::State {
  XXH3_state_t Inner;
};

Summing::Summing() : state_(std::make_unique<State>()) {
  XXH3_128bits_reset(&state_->Inner);
}
Summing::~Summing() = default;
Summing::Summing(Summing&&) noexcept = default;
Summing& Summing::operator=(Summing&&) noexcept = default;

void Summing::Add(std::span<const char> bytes) {
  XXH3_128bits_update(&state_->Inner, bytes.data(), bytes.size());
}

void Summing::AddZeros(std::uint64_t count) {
  constexpr std::array<char, 4096> kZeros{};
  while (count > 0) {
    const auto some = static_cast<std::size_t>(std::min<std::uint64_t>(count, kZeros.size()));
    Add({kZeros.data(), some});
    count -= some;
  }
}

ContentSum Summing::End() const {
  return InOrder(XXH3_128bits_digest(&state_->Inner));
}

SumBehind::SumBehind(const File& file)
    : file_(file), block_(std::make_unique_for_overwrite<char[]>(kBlock)) {
  try {
    thread_ = std::thread([this] { Work(); });
  } catch (const std::system_error&) {
    // All is read at the end.
  }
}

SumBehind::~SumBehind() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  Stop();
}

void SumBehind::Stop() {
  moved_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void SumBehind::Reach(std::uint64_t position) {
  {
    const std::lock_guard lock(mutex_);
    reached_ = position;
  }
  moved_.notify_one();
}

std::optional<ContentSum> SumBehind::Finish(std::uint64_t size) {
  {
    const std::lock_guard lock(mutex_);
    reached_ = size;
    ending_ = true;
  }
  Stop();
  if (failed_ || !ReadTo(size)) return std::nullopt;
  return sum_.End();
}

void SumBehind::Work() {
  for (;;) {
    std::uint64_t until = 0;
    {
      std::unique_lock lock(mutex_);
      moved_.wait(lock, [&] { return stopping_ || ending_ || reached_ > at_; });
      if (stopping_ || (ending_ && reached_ <= at_)) return;
      until = reached_;
    }
    // One block at a time, so that a cancelled copy need not wait.
    failed_ = !ReadTo(std::min<std::uint64_t>(until, at_ + kBlock));
    if (failed_) return;
  }
}

bool SumBehind::ReadTo(std::uint64_t position) {
  while (at_ < position) {
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(position - at_, kBlock));
    const Result<std::size_t> got = file_.ReadAt(at_, {block_.get(), wanted});
    if (!got || *got < wanted) return false;
    sum_.Add({block_.get(), wanted});
    at_ += wanted;
  }
  return true;
}

}  // namespace kavrel
