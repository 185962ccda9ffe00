// Numbers as text, in the product's own locale: "," between thousands, "." before decimals.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kavrel {

/// Plain decimal digits, "-" in front of a negative number; at least `min_digits` digits.
std::u16string Decimal(std::int64_t value, int min_digits = 1);

/// With thousands separators and no decimals: 1234567 gives 1,234,567.
std::u16string Grouped(std::uint64_t value);

/// With thousands separators and exactly `decimals` (0-9) decimals, halves rounded away from zero.
std::u16string GroupedFixed(double value, int decimals);

/// A decimal integer with an optional sign and blanks around it; nothing for any other text and
/// for values outside 32 bits.
std::optional<std::int32_t> ParseInt(std::u16string_view text);

/// A decimal number with optional sign, fraction and exponent, blanks around it allowed; nothing
/// for any other text (hexadecimal, infinities and NaN included).
std::optional<double> ParseNumber(std::u16string_view text);

/// A number (non-zero is true) or the words True and False in any letter case, blanks around it
/// allowed; nothing for any other text.
std::optional<bool> ParseBool(std::u16string_view text);

}  // namespace kavrel
