// A compiled catalogue of translations, as gettext's msgfmt writes it.
#pragma once

#include <string_view>
#include <utility>
#include <vector>

namespace kavrel {

/// The pairs of a catalogue of either byte order, each of the original text and its translation,
/// which stay parts of `bytes`. With a context in front of the original stands that and U+0004;
/// plural forms are separated by NUL. Empty for what is no catalogue, or a damaged one.
std::vector<std::pair<std::string_view, std::string_view>> ReadMoFile(std::string_view bytes);

}  // namespace kavrel
