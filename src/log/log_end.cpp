#include "log/log_end.h"

#include "files/path.h"
#include "log/log_troubles.h"

namespace kavrel {

namespace {

// What follows the title of a guard that stopped the run; not translated: compared with the log.
constexpr std::u16string_view kStopped = u" (中斷)";

/// The destination that the summary of a backup names; empty where there is none.
std::u16string_view Destination(std::u16string_view log) {
  const std::size_t at = log.find(kDestinationLine);
  if (at == log.npos) return {};
  log.remove_prefix(at + kDestinationLine.size());
  return DropBackslash(TakeLine(log));
}

bool IsOfFolder(const RunFailure& trouble) {
  return kFolderFailed.find(trouble.What) != kFolderFailed.npos;
}

}  // namespace

LogEnd EndTold(std::u16string_view log) {
  const std::vector<RunFailure> troubles = ReadTroubles(log);
  for (const RunFailure& trouble : troubles) {
    if (trouble.Reason == kPasswordWrong) return LogEnd::WrongPassword;
    if (!trouble.What.ends_with(kStopped)) continue;
    return trouble.What.starts_with(kSpaceTitle) ? LogEnd::NoSpace : LogEnd::Guarded;
  }
  if (!troubles.empty() && IsOfFolder(troubles.front()) &&
      DropBackslash(troubles.front().Path) == Destination(log)) {
    return LogEnd::NoPlace;
  }
  return AlarmTold(log).empty() ? LogEnd::Ordinary : LogEnd::Changes;
}

std::u16string AlarmTold(std::u16string_view log) {
  const std::size_t at = log.find(kChangesAlarm);
  if (at == log.npos) return {};
  log.remove_prefix(at + 2);
  return std::u16string(TakeLine(log));
}

}  // namespace kavrel
