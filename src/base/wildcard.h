// The two wildcard languages: the rules' one and the folder enumeration's one. Both match the
// whole name against the whole pattern in O(name × pattern) time at worst.
#pragma once

#include <string_view>

namespace kavrel {

/// The rules' language, binary comparison: "?" any one character, "*" any run, "#" one decimal
/// digit 0-9, [list] and [!list] one character in or not in the list. A list may hold ascending
/// ranges a-f; "-" first or last, "*", "?", "#" and "[" inside stand for themselves; "[]" takes no
/// character, "[!]" any one. A bracket that is never closed, or that holds a descending range, is
/// malformed: its "[" then matches itself and the rest is read on as ordinary pattern.
bool MatchesPattern(std::u16string_view text, std::u16string_view pattern);

/// The folder enumeration's language, without regard to letter case: "?" any one character, "*"
/// any run; the pattern "*.*" finds every name, also one without a dot.
bool MatchesFileMask(std::u16string_view name, std::u16string_view mask);

}  // namespace kavrel
