#include "files/size_text.h"

#include <string_view>

#include "base/number.h"
#include "base/translation.h"

namespace kavrel {

namespace {

std::u16string Scaled(std::uint64_t bytes) {
  constexpr std::u16string_view kUnits[] = {u" KB", u" MB", u" GB", u" TB",
                                            u" PB", u" EB", u" ZB", u" YB"};
  const auto size = static_cast<double>(bytes);
  double threshold = 1024;
  std::size_t unit = 0;
  while (unit + 1 < std::size(kUnits) && size > threshold * 1024) {
    threshold *= 1024;
    ++unit;
  }
  return GroupedFixed(size / threshold, 2) + std::u16string(kUnits[unit]);
}

}  // namespace

std::u16string FormatSize(std::uint64_t bytes, SizeMode mode) {
  const std::u16string plain = Fill(TrCountLater(u"%1 位元"), {Grouped(bytes)});
  if (mode == SizeMode::Bytes) return plain;
  const std::u16string scaled = bytes > 1024 ? Scaled(bytes) : plain;
  return mode == SizeMode::Scaled ? scaled : Fill(u"%1 (%2)", {scaled, plain});
}

}  // namespace kavrel
