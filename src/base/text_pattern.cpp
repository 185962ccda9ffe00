#include "base/text_pattern.h"

#include <algorithm>

namespace kavrel {

namespace {

bool IsMark(std::u16string_view text, std::size_t place) {
  return text[place] == u'%' && place + 1 < text.size() && text[place + 1] >= u'1' &&
         text[place + 1] <= u'9';
}

bool IsChinese(char16_t c) {
  return (c >= 0x4E00 && c <= 0x9FFF) || c == u'「' || c == u'【';
}

/// Whether the argument before this literal is a count.
bool Measures(std::u16string_view literal) {
  for (const std::u16string_view word :
       {u" 個", u" 份", u" 筆", u" 秒", u" 分", u" 小時", u" 天", u" 位元", u" %"}) {
    if (literal.starts_with(word)) return true;
  }
  return false;
}

bool IsCount(std::u16string_view text) {
  return !text.empty() && text.find_first_not_of(u"0123456789,. /") == text.npos;
}

bool Opens(std::u16string_view literal) {
  return literal.ends_with(u"「") || literal.ends_with(u"【");
}

using Pieces = std::vector<std::u16string_view>;

/// What stands between the literals, each found as far left as it can be, or as far right.
std::optional<Pieces> PiecesOf(const Pieces& literals, std::u16string_view text, bool leftmost) {
  std::u16string_view inner = text;
  if (!inner.starts_with(literals.front())) return std::nullopt;
  inner.remove_prefix(literals.front().size());
  if (!inner.ends_with(literals.back())) return std::nullopt;
  inner.remove_suffix(literals.back().size());
  Pieces pieces;
  if (leftmost) {
    for (std::size_t i = 1; i + 1 < literals.size(); ++i) {
      const std::size_t at = inner.find(literals[i]);
      if (at == inner.npos) return std::nullopt;
      pieces.push_back(inner.substr(0, at));
      inner.remove_prefix(at + literals[i].size());
    }
    pieces.push_back(inner);
    return pieces;
  }
  for (std::size_t i = literals.size() - 1; i-- > 1;) {
    const std::size_t at = inner.rfind(literals[i]);
    if (at == inner.npos) return std::nullopt;
    pieces.push_back(inner.substr(at + literals[i].size()));
    inner = inner.substr(0, at);
  }
  pieces.push_back(inner);
  std::ranges::reverse(pieces);
  return pieces;
}

}  // namespace

TextPatterns::TextPatterns(std::vector<std::u16string_view> ids) {
  std::ranges::sort(ids);
  const auto twice = std::ranges::unique(ids);
  ids.erase(twice.begin(), twice.end());
  for (const std::u16string_view id : ids) {
    std::optional<Pattern> pattern = Compile(id);
    if (!pattern) continue;
    const std::u16string_view first = pattern->Literals.front();
    patterns_[first.empty() ? u'\0' : first.front()].push_back(std::move(*pattern));
  }
  for (auto& [first, patterns] : patterns_) {
    std::ranges::stable_sort(patterns, std::ranges::greater(), &Pattern::Characters);
  }
}

std::optional<TextPatterns::Pattern> TextPatterns::Compile(std::u16string_view id) {
  Pattern pattern;
  pattern.Id = id;
  std::size_t from = 0;
  for (std::size_t i = 0; i < id.size(); ++i) {
    if (!IsMark(id, i)) continue;
    pattern.Literals.push_back(id.substr(from, i - from));
    pattern.Numbers.push_back(static_cast<std::size_t>(id[i + 1] - u'0'));
    from = i + 2;
    ++i;
  }
  pattern.Literals.push_back(id.substr(from));
  if (pattern.Numbers.empty()) {
    if (!id.ends_with(u"：")) return std::nullopt;
    pattern.Follows = true;
    pattern.Numbers.push_back(1);
    pattern.Literals.emplace_back();
  }
  bool chinese = false;
  for (const std::u16string_view literal : pattern.Literals) {
    pattern.Characters += literal.size();
    chinese = chinese || std::ranges::any_of(literal, IsChinese);
  }
  // Two arguments beside each other could be parted anywhere.
  for (std::size_t i = 1; i + 1 < pattern.Literals.size(); ++i) {
    if (pattern.Literals[i].empty()) return std::nullopt;
  }
  if (!chinese) return std::nullopt;
  return pattern;
}

std::optional<PatternMatch> TextPatterns::Apply(const Pattern& pattern, std::u16string_view text,
                                                bool& fits) {
  const std::optional<Pieces> left = PiecesOf(pattern.Literals, text, true);
  fits = left.has_value();
  for (std::size_t i = 0; fits && i < left->size(); ++i) {
    fits = !Measures(pattern.Literals[i + 1]) || IsCount((*left)[i]);
  }
  if (!fits || left != PiecesOf(pattern.Literals, text, false)) return std::nullopt;
  PatternMatch match;
  match.Id = pattern.Id;
  match.Follows = pattern.Follows;
  for (std::size_t i = 0; i < left->size(); ++i) {
    match.Arguments.push_back({pattern.Numbers[i], (*left)[i], Opens(pattern.Literals[i])});
  }
  return match;
}

std::optional<PatternMatch> TextPatterns::Match(std::u16string_view text) const {
  if (text.empty()) return std::nullopt;
  const Pattern* best = nullptr;
  std::optional<PatternMatch> match;
  for (const char16_t first : {text.front(), u'\0'}) {
    const auto found = patterns_.find(first);
    if (found == patterns_.end()) continue;
    for (const Pattern& pattern : found->second) {
      if (best && best->Characters >= pattern.Characters) break;
      bool fits = false;
      std::optional<PatternMatch> applied = Apply(pattern, text, fits);
      if (!fits) continue;
      best = &pattern;
      match = std::move(applied);
      break;
    }
  }
  return match;
}

}  // namespace kavrel
