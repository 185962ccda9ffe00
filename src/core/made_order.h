// In which order a job's runs have made what they left. Dates alone do not tell: a clock may have
// been years ahead for a while.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/date_time.h"

namespace kavrel {

class MadeOrder {
 public:
  /// `made`: what the job is known to have made, in that order (JobExtras::Made).
  explicit MadeOrder(const std::vector<std::u16string>& made);

  /// A state or an archive; the zero date where nothing tells when it was made.
  void Add(std::u16string_view unit, DateTime date);
  /// The places of all that was added, as they were counted from 0, the newest first: by their
  /// dates, but none before one that the job is known to have made later.
  std::vector<std::size_t> NewestFirst() const;

 private:
  struct Entry {
    DateTime Date;
    std::size_t Rank;  ///< among the known ones, from 1; 0: it is none
    std::u16string Unit;
  };

  std::unordered_map<std::u16string, std::size_t> ranks_;
  std::vector<Entry> entries_;
};

}  // namespace kavrel
