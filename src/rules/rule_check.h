// What a user's exclusion rule or filter must fulfil before it is kept. The editors and the command
// line share this code.
#pragma once

#include <string>

#include "rules/exclusion_rules.h"
#include "rules/file_filters.h"

namespace kavrel {

/// The parts of CheckRule. Each is empty when all is well, else the message; `forbidden` is one of
/// the sets of characters.
std::u16string CheckRuleName(std::u16string_view name);
std::u16string CheckRuleFile(std::u16string_view value, std::u16string_view forbidden);
std::u16string CheckRuleFolder(std::u16string_view value, std::u16string_view forbidden);
std::u16string CheckRuleDrive(const ExclusionRule& rule);

/// Checks a rule's patterns, file before folder before drive. Empty when all is well, else the
/// message. A rule that would exclude everything is refused.
std::u16string CheckRule(const ExclusionRule& rule);

/// Checks a filter's name and each of its patterns likewise.
std::u16string CheckFilter(const FileFilter& filter);

}  // namespace kavrel
