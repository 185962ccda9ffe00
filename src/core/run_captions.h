// The texts that show a run at work, built only when they are drawn.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kavrel {

std::u16string SourceCaption(std::u16string_view folder);
std::u16string DestinationCaption(std::u16string_view folder);
std::u16string FileCaption(std::u16string_view name);

/// " [ 64.00 KB (65,536 位元) / 128.00 KB (131,072 位元) ] 50 %"; an empty file is 100 % done.
std::u16string CopyProgressText(std::uint64_t total_size, std::uint64_t bytes_done);

/// Where a progress bar stands: it counts blocks, and is full when all bytes are done.
struct ProgressBar {
  std::uint64_t Max, Value;
};
ProgressBar CopyProgressBar(std::uint64_t total_size, std::uint64_t bytes_done,
                            std::uint32_t block_size);

}  // namespace kavrel
