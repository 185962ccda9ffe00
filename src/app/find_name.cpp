#include "app/find_name.h"

#include <algorithm>

#include "base/text.h"
#include "base/translation.h"

namespace kavrel {

bool IsShownAs(std::u16string_view kept, std::u16string_view name) {
  return EqualNoCase(ShownName(kept), name);
}

std::int32_t FindShownJob(const JobStore& store, std::u16string_view name) {
  const std::int32_t kept = store.FindJob(name);
  if (kept >= 0) return kept;
  const auto shown = std::ranges::find_if(
      store.Jobs, [&](const BackupJob& job) { return !job.Deleted && IsShownAs(job.Name, name); });
  return shown == store.Jobs.end() ? -1 : static_cast<std::int32_t>(shown - store.Jobs.begin());
}

const FileFilter* FindShownFilter(const FilterTable& filters, std::u16string_view name) {
  if (const FileFilter* kept = filters.Find(name)) return kept;
  const auto shown = std::ranges::find_if(
      filters.Entries, [&](const FileFilter& filter) { return IsShownAs(filter.Name, name); });
  return shown == filters.Entries.end() ? nullptr : &*shown;
}

}  // namespace kavrel
