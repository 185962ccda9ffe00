// What a job log tells of everything that went wrong.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

struct LogTrouble {
  std::u16string What;    ///< "備份檔案 (失敗)"
  std::u16string Path;    ///< what it is about; of a run that was stopped, why
  std::u16string Reason;  ///< empty where nothing is known

  bool operator==(const LogTrouble&) const = default;
};

/// Of these lines, in their order: what failed, what stopped the run, and what a verification found
/// to differ. At most `most`; 0 = all.
std::vector<LogTrouble> ReadTroubles(std::u16string_view log, std::size_t most = 0);

/// Whether a line is one that ReadTroubles finds, and whether it tells why of the line before.
bool TellsTrouble(std::u16string_view line);
bool TellsReason(std::u16string_view line);
/// Takes the next line, without its end, away from the front of a log that is not empty.
std::u16string_view TakeLine(std::u16string_view& log);

}  // namespace kavrel
