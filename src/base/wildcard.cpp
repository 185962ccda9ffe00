#include "base/wildcard.h"

#include <cstddef>
#include <vector>

#include "base/text.h"

namespace kavrel {

namespace {

/// Matches by one pass with a single way back, to the last "*" seen: what stood before it is
/// settled, so no other choice ever needs to be taken again. `match_one` is given the character
/// and the position in the pattern; it tells whether they match and moves the position on.
template <typename MatchOne>
bool MatchAll(std::u16string_view text, std::u16string_view pattern, MatchOne match_one) {
  std::size_t t = 0, p = 0;
  std::size_t star = pattern.npos, star_text = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == u'*') {
      star = ++p;
      star_text = t;
    } else if (std::size_t next = p; p < pattern.size() && match_one(text[t], next)) {
      p = next;
      ++t;
    } else if (star != pattern.npos) {
      p = star;
      t = ++star_text;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
}

/// Reads a bracket list whose "[" stands at `p`. Gives false when it is malformed; else moves `p`
/// behind its "]" and tells in `matches` whether it takes the character.
bool ReadList(std::u16string_view pattern, std::size_t& p, char16_t c, bool& matches) {
  std::size_t at = p + 1;
  const bool negated = at < pattern.size() && pattern[at] == u'!';
  if (negated) ++at;
  const std::size_t end = pattern.find(u']', at);
  if (end == pattern.npos) return false;
  bool found = false;
  while (at < end) {
    const char16_t low = pattern[at];
    char16_t high = low;
    if (at + 2 < end && pattern[at + 1] == u'-') {
      high = pattern[at + 2];
      at += 2;
    }
    if (high < low) return false;
    found = found || (low <= c && c <= high);
    ++at;
  }
  matches = found != negated;
  p = end + 1;
  return true;
}

}  // namespace

bool MatchesPattern(std::u16string_view text, std::u16string_view pattern) {
  // Most patterns end in a letter, and most names in another one.
  constexpr std::u16string_view kSpecial = u"*?#[]";
  if (!pattern.empty() && kSpecial.find(pattern.back()) == kSpecial.npos &&
      (text.empty() || text.back() != pattern.back())) {
    return false;
  }
  // Brackets found malformed: each is read to its end only once, not for every character.
  std::vector<bool> plain;
  return MatchAll(text, pattern, [pattern, &plain](char16_t c, std::size_t& p) {
    const char16_t wanted = pattern[p];
    if (wanted == u'[' && (plain.empty() || !plain[p])) {
      bool matches = false;
      if (ReadList(pattern, p, c, matches)) return matches;
      plain.resize(pattern.size());
      plain[p] = true;
    }
    ++p;
    if (wanted == u'?') return true;
    if (wanted == u'#') return c >= u'0' && c <= u'9';
    return c == wanted;
  });
}

bool MatchesFileMask(std::u16string_view name, std::u16string_view mask) {
  if (mask == u"*.*") return true;
  return MatchAll(name, mask, [mask](char16_t c, std::size_t& p) {
    const char16_t wanted = mask[p++];
    return wanted == u'?' || c == wanted || ToLower(c) == ToLower(wanted);
  });
}

}  // namespace kavrel
