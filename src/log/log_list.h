// The rows of the log list: one for each finished run, oldest first. Windows look at this model.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kavrel {

/// Columns: job name, status, copied, unchanged, failed (numbers as text), started, next run, path
/// of the job log.
using LogRow = std::array<std::u16string, 8>;
inline constexpr int kLogPathColumn = 7;
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
