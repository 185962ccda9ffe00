// Text that must not stay in memory after its use: passwords.
#pragma once

#include <concepts>
#include <string>
#include <string_view>
#include <utility>

namespace kavrel {

/// Empties a text and overwrites all that its memory held, in a way that no compiler leaves out.
template <typename Text>
void Wipe(Text& text) {
  text.clear();
  text.resize(text.capacity());
  // Whatever the compiler may not look into may read the zeros: they have to be there.
  asm volatile("" : : "r"(text.data()) : "memory");
  text.clear();
}

/// A text that wipes itself before its memory goes back. What it is copied or converted into is
/// not its business.
class Secret : public std::u16string {
 public:
  Secret() = default;
  /// From any text.
  template <std::convertible_to<std::u16string_view> Text>
  Secret(const Text& text) : std::u16string(std::u16string_view(text)) {}
  Secret(const Secret&) = default;
  Secret(Secret&&) noexcept = default;
  /// What was held before goes to `other`, and is wiped with it.
  Secret& operator=(Secret other) noexcept {
    swap(other);
    return *this;
  }
  ~Secret() { Wipe(*this); }

  Secret& operator+=(std::u16string_view more) {
    if (size() + more.size() > capacity()) {
      Secret longer;
      longer.reserve(2 * (size() + more.size()));
      longer.assign(*this);
      swap(longer);
    }
    append(more);
    return *this;
  }
};

}  // namespace kavrel
