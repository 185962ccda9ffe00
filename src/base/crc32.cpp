#include "base/crc32.h"

#include <array>
#include <cstddef>

namespace kavrel {

namespace {

constexpr std::size_t kAtOnce = 8;
using Table = std::array<std::array<std::uint32_t, 256>, kAtOnce>;

/// The first row takes a byte in; each further one takes it past one more byte of zeros, so that
/// eight bytes need no result of each other.
constexpr Table MakeTable() {
  Table table{};
  for (std::uint32_t i = 0; i < 256; ++i) {
    std::uint32_t crc = i;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
    table[0][i] = crc;
  }
  for (std::size_t row = 1; row < kAtOnce; ++row) {
    for (std::size_t i = 0; i < 256; ++i) {
      const std::uint32_t before = table[row - 1][i];
      table[row][i] = before >> 8 ^ table[0][before & 255];
    }
  }
  return table;
}

constexpr Table kTable = MakeTable();

}  // namespace

std::uint32_t Crc32(std::string_view bytes, std::uint32_t crc) {
  crc = ~crc;
  while (bytes.size() >= kAtOnce) {
    std::uint32_t next = 0;
    for (std::size_t i = 0; i < kAtOnce; ++i) {
      const std::uint32_t mixed = i < 4 ? crc >> (8 * i) & 255 : 0;
      next ^= kTable[kAtOnce - 1 - i][mixed ^ static_cast<unsigned char>(bytes[i])];
    }
    crc = next;
    bytes.remove_prefix(kAtOnce);
  }
  for (const char byte : bytes) {
    crc = crc >> 8 ^ kTable[0][(crc ^ static_cast<unsigned char>(byte)) & 255];
  }
  return ~crc;
}

}  // namespace kavrel
