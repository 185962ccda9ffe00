// The checksum that archives keep of each entry.
#pragma once

#include <cstdint>
#include <string_view>

namespace kavrel {

/// CRC-32 of the bytes (polynomial 0xEDB88320, as in ISO 3309 and ZIP), going on from `crc`, which
/// is what the bytes before gave, 0 for none.
std::uint32_t Crc32(std::string_view bytes, std::uint32_t crc = 0);

}  // namespace kavrel
