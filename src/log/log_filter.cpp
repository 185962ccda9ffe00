#include "log/log_filter.h"

#include <algorithm>

#include "base/text.h"

namespace kavrel {

bool MatchesFilter(const LogRow& row, const LogFilter& filter) {
  if (!filter.Job.empty() && !EqualNoCase(row.Job, filter.Job)) return false;
  if (filter.Failed && !IsBadRun(row)) return false;
  if (filter.Text.empty()) return true;
  const std::u16string text = ToLower(filter.Text);
  const LogColumns columns = ColumnsOf(row);
  return std::any_of(
      columns.begin(), columns.begin() + kLogPathColumn,
      [&](const std::u16string& column) { return ToLower(column).find(text) != column.npos; });
}

}  // namespace kavrel
