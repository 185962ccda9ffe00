// Which rows of the log list somebody wants to see.
#pragma once

#include <string>

#include "log/log_row.h"

namespace kavrel {

struct LogFilter {
  std::u16string Job;   ///< the whole name, without regard to letter case; empty is any
  bool Failed = false;  ///< only runs that went badly
  std::u16string Text;  ///< in any column that is shown, without regard to letter case

  bool Empty() const { return Job.empty() && !Failed && Text.empty(); }
};

bool MatchesFilter(const LogRow& row, const LogFilter& filter);

}  // namespace kavrel
