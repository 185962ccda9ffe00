#include "engine/read_sum.h"

#include <algorithm>

namespace kavrel {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 20;

}  // namespace

std::optional<ContentSum> SumReader::Read(const Folder& folder, std::u16string_view name) {
  Result<File> file = folder.OpenFile(name);
  if (!file) return std::nullopt;
  block_.resize(kBlock);
  file->HintSequential();
  file->ForgetCached();
  const Result<FileStatus> status = file->Status();
  Summing sum;
  for (std::uint64_t done = 0;;) {
    context_.Host.PumpMessages();
    if (context_.State.CancelRequested) return std::nullopt;
    const Result<std::size_t> got = file->Read(block_);
    if (!got) return std::nullopt;
    sum.Add({block_.data(), *got});
    if (*got < kBlock) return sum.End();
    done += *got;
    const std::uint64_t size = status ? status->Size : 0;
    context_.Host.ApiFileCopyCallback(std::max(size, done), done, 0, size, done, kBlock);
  }
}

}  // namespace kavrel
