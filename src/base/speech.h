// A language with its catalogues: what base/translation and base/shown_text look texts up in.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/text_pattern.h"
#include "base/translation.h"

namespace kavrel {

/// Between the context of a text and the text, in the key of an entry.
inline constexpr char kContextEnds = '\4';

/// A language, loaded. Made once, and kept as long as the process; any thread may ask.
class Speech {
 public:
  /// The translations of one text: plural forms one behind the other, in both encodings.
  struct Entry {
    std::vector<std::u16string> Wide;
    std::vector<std::string> Narrow;
  };

  explicit Speech(const Language& language);

  const Language& Which() const { return language_; }
  /// Whether the source itself speaks it.
  bool IsSource() const;
  /// In its catalogue, else in that of the language that its speakers read most likely. Null where
  /// neither has it.
  const Entry* Find(const std::u16string& key) const;
  /// The ids of both, to find out which of them a text was composed of.
  const TextPatterns& Patterns() const;

 private:
  using Catalogue = std::unordered_map<std::u16string, Entry>;
  static Catalogue Load(std::string_view code);
  const Catalogue& NextBest() const;

  const Language& language_;
  const Catalogue own_;
  mutable std::once_flag next_best_loaded_, patterns_made_;
  mutable Catalogue next_best_;
  mutable std::optional<TextPatterns> patterns_;
};

/// That of the process.
const Speech& CurrentSpeech();

/// Which of an entry's forms a count takes. A language that has one form has it for all; of those
/// that have two, French counts nothing as one.
template <class Forms>
const auto& FormFor(const Forms& forms, std::string_view code, std::uint64_t count) {
  const bool one = code == "fr" ? count < 2 : count == 1;
  return one ? forms.front() : forms.back();
}

}  // namespace kavrel
