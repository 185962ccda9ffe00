// Of a run: what its log tells beside the row in the log list.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace kavrel {

struct LogFigures {
  std::optional<std::uint64_t> Bytes;  ///< copied, restored or compared
  std::optional<double> Seconds;       ///< that it took; no log of a restore tells
};

/// From the summary at the end of a job log; nothing where it does not have them.
LogFigures ReadFigures(std::u16string_view log);

}  // namespace kavrel
