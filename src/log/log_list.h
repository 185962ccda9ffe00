// The rows of the log list: one for each finished run, oldest first. Windows look at this model.
#pragma once

#include <functional>
#include <vector>

#include "log/log_row.h"

namespace kavrel {

/// The icon resource that every row shows.
inline constexpr int kLogRowIcon = 115;

class LogList {
 public:
  const std::vector<LogRow>& Rows() const { return rows_; }
  void Append(LogRow row);
  /// Removes `count` rows from `first` on.
  void Remove(std::size_t first, std::size_t count);
  void Clear();

  /// Called after every change. One listener; empty = nobody.
  std::function<void()> Changed;

 private:
  std::vector<LogRow> rows_;
};

}  // namespace kavrel
