// What went wrong in a run, one by one, for whoever tells of it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

struct RunFailure {
  std::u16string What;    ///< "備份檔案 (失敗)"
  std::u16string Path;    ///< what it is about; of a run that was stopped, why
  std::u16string Reason;  ///< empty where nothing is known

  bool operator==(const RunFailure&) const = default;
};

/// The first of them in their order, and how many there were. For the run's own thread.
class RunFailures {
 public:
  static constexpr std::size_t kNoted = 1000;

  /// `text`: as a line of the log has it between the time and the path, ": 備份檔案 (失敗)：".
  void Note(std::u16string_view text, std::u16string_view path, std::u16string_view why = {});
  const std::vector<RunFailure>& First() const { return first_; }
  std::uint64_t Count() const { return count_; }

 private:
  std::vector<RunFailure> first_;
  std::uint64_t count_ = 0;
};

}  // namespace kavrel
