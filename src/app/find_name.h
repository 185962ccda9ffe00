// What is meant by a name that a user has typed: the one that is kept so, else the one that is
// shown so, since a name that the program has given is shown in the user's language.
#pragma once

#include <string_view>

#include "core/job_store.h"
#include "rules/file_filters.h"

namespace kavrel {

/// Without regard to letter case.
bool IsShownAs(std::u16string_view kept, std::u16string_view name);

/// The position of that job; -1 when there is none.
std::int32_t FindShownJob(const JobStore& store, std::u16string_view name);
/// Null when there is none.
const FileFilter* FindShownFilter(const FilterTable& filters, std::u16string_view name);

}  // namespace kavrel
