#include "base/crc32.h"

#include <gtest/gtest.h>

#include <string>

namespace kavrel {
namespace {

TEST(Crc32, GivesThePublishedCheckValuesWholeAndInPieces) {
  const std::string digits = "123456789";
  EXPECT_EQ(Crc32(digits), 0xCBF43926U);
  EXPECT_EQ(Crc32(""), 0U);
  EXPECT_EQ(Crc32("The quick brown fox jumps over the lazy dog"), 0x414FA339U);
  for (std::size_t cut = 0; cut <= digits.size(); ++cut) {
    EXPECT_EQ(Crc32(digits.substr(cut), Crc32(digits.substr(0, cut))), 0xCBF43926U);
  }
}

}  // namespace
}  // namespace kavrel
