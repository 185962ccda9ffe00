// Byte counts as text.
#pragma once

#include <cstdint>
#include <string>

namespace kavrel {

/// Bytes: "1,572,864 位元". Scaled: "1.50 MB", in the largest unit that the size exceeds; the byte
/// text up to 1,024. Both: "1.50 MB (1,572,864 位元)".
enum class SizeMode { Bytes = 0, Scaled = 1, Both = 2 };

std::u16string FormatSize(std::uint64_t bytes, SizeMode mode);

}  // namespace kavrel
