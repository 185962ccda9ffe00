// What the first bytes of a file look like: its format, as its name tells it, or noise, as
// encryption makes it of anything.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kavrel {

/// So many bytes of a file are looked at; of fewer than the other, noise cannot be told.
inline constexpr std::size_t kContentHead = 4096, kLeastNoise = 256;

enum class ContentKind : std::uint8_t {
  Plain,   ///< anything else
  Format,  ///< what a file of that name should begin with
  Sealed,  ///< encrypted by a program that people use for that, as its first bytes say
  Noise    ///< every byte about as frequent as any other, and the beginning of no known format
};

/// Whether the name's last suffix is that of a format which is known by its first bytes.
bool HasKnownFormat(std::u16string_view name);

/// `head`: the first kContentHead bytes of the file of that name, or all that it has.
ContentKind JudgeContent(std::u16string_view name, std::string_view head);

}  // namespace kavrel
