#include "files/file_sum.h"

#include "base/crc32.h"

namespace kavrel {

Result<std::uint32_t> FileSum::Crc(File& file, const std::function<bool()>& go_on) {
  file.HintSequential();
  std::uint32_t crc = 0;
  for (;;) {
    const Result<std::size_t> got = file.Read(block_);
    if (!got) return Result<std::uint32_t>::Fail(got.Error);
    crc = Crc32({block_.data(), *got}, crc);
    if (*got < block_.size()) return {crc, 0};
    if (go_on && !go_on()) return Result<std::uint32_t>::Fail(-1);
  }
}

}  // namespace kavrel
