#include "base/mo_file.h"

#include <cstdint>

namespace kavrel {

namespace {

constexpr std::uint32_t kMagic = 0x950412DE, kMagicOfOthers = 0xDE120495;
constexpr std::size_t kHeader = 20, kPlace = 8;

class Words {
 public:
  explicit Words(std::string_view bytes) : bytes_(bytes) {
    others_ = bytes.size() >= kHeader && At(0) == kMagicOfOthers;
    valid_ = others_ || (bytes.size() >= kHeader && At(0) == kMagic);
  }

  bool Valid() const { return valid_; }

  /// The word at an offset that lies inside.
  std::uint32_t At(std::size_t offset) const {
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      const auto byte = static_cast<unsigned char>(bytes_[offset + (others_ ? i : 3 - i)]);
      word = word << 8 | byte;
    }
    return word;
  }

  /// Whether so many bytes from there are inside.
  bool Holds(std::uint64_t offset, std::uint64_t size) const {
    return offset + size <= bytes_.size();
  }

  /// The text whose length and offset stand at `place`; false when it is not inside, or does not
  /// end with NUL.
  bool Text(std::size_t place, std::string_view& text) const {
    const std::uint64_t size = At(place), offset = At(place + 4);
    if (!Holds(offset, size + 1) || bytes_[offset + size] != '\0') return false;
    text = bytes_.substr(offset, size);
    return true;
  }

 private:
  std::string_view bytes_;
  bool others_ = false, valid_ = false;
};

}  // namespace

std::vector<std::pair<std::string_view, std::string_view>> ReadMoFile(std::string_view bytes) {
  const Words words(bytes);
  if (!words.Valid()) return {};
  const std::uint64_t count = words.At(8), originals = words.At(12), translations = words.At(16);
  if (!words.Holds(originals, count * kPlace) || !words.Holds(translations, count * kPlace)) {
    return {};
  }
  std::vector<std::pair<std::string_view, std::string_view>> pairs(count);
  for (std::size_t i = 0; i < count; ++i) {
    if (!words.Text(originals + i * kPlace, pairs[i].first) ||
        !words.Text(translations + i * kPlace, pairs[i].second)) {
      return {};
    }
  }
  return pairs;
}

}  // namespace kavrel
