// Finds out which text of the source another text was composed of.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

struct PatternMatch {
  struct Argument {
    std::size_t Number;  ///< 1-9
    std::u16string_view Text;
    bool Quoted;  ///< stands in quotation marks, so that it is a name
  };
  std::u16string_view Id;
  std::vector<Argument> Arguments;
  bool Follows = false;  ///< the id has no mark: the argument follows its colon
};

/// Texts with the marks %1 … %9 in them, and texts that end with a colon, as patterns. What has no
/// Chinese character besides its marks is none: it would fit anything.
class TextPatterns {
 public:
  /// The texts outlive this.
  explicit TextPatterns(std::vector<std::u16string_view> ids);

  /// The pattern of the most characters that fits the whole text; nothing where none does, or where
  /// the text can be taken apart in more than one way.
  std::optional<PatternMatch> Match(std::u16string_view text) const;

 private:
  struct Pattern {
    std::u16string_view Id;
    std::vector<std::u16string_view> Literals;  ///< one more than Numbers
    std::vector<std::size_t> Numbers;
    std::size_t Characters = 0;  ///< of the literals
    bool Follows = false;
  };
  static std::optional<Pattern> Compile(std::u16string_view id);
  static std::optional<PatternMatch> Apply(const Pattern& pattern, std::u16string_view text,
                                           bool& fits);

  /// By the character that they begin with, 0 for an argument; the longest first.
  std::map<char16_t, std::vector<Pattern>> patterns_;
};

}  // namespace kavrel
