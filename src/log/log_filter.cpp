#include "log/log_filter.h"

#include <algorithm>

#include "base/number.h"
#include "base/text.h"

namespace kavrel {

namespace {
constexpr std::size_t kStatus = 1, kFailed = 4;
}

bool IsBadRun(const LogRow& row) {
  return ParseNumber(ReplaceAll(row[kFailed], u",", u"")).value_or(0) > 0 ||
         row[kStatus].ends_with(u"中斷");
}

bool MatchesFilter(const LogRow& row, const LogFilter& filter) {
  if (!filter.Job.empty() && !EqualNoCase(row[0], filter.Job)) return false;
  if (filter.Failed && !IsBadRun(row)) return false;
  if (filter.Text.empty()) return true;
  const std::u16string text = ToLower(filter.Text);
  return std::any_of(row.begin(), row.begin() + kLogPathColumn, [&](const std::u16string& column) {
    return ToLower(column).find(text) != column.npos;
  });
}

}  // namespace kavrel
