// The share of the processor and the disk that runs get.
#pragma once

#include <cstdint>

namespace kavrel {

class PriorityControl {
 public:
  /// Remembers what the process has now; that is what "normal" restores.
  PriorityControl();

  /// 0 real time, 1 high, 2 above normal, 3 normal, 4 below normal, 5 low; any other index does
  /// nothing. What the system would not let the process take back, or not let it have, stays as it
  /// is; the disk's share can nearly always be changed.
  void ApplyProcessPriority(std::int32_t index) const;

 private:
  int normal_nice_, normal_io_;
};

/// As long as it is there, the thread that made it reads from the disk only what others leave it.
/// Where the system knows no such thing, nothing changes. For that thread alone.
class QuietReading {
 public:
  QuietReading();
  ~QuietReading();
  QuietReading(const QuietReading&) = delete;
  QuietReading& operator=(const QuietReading&) = delete;

 private:
  int former_ = -1;
};

}  // namespace kavrel
