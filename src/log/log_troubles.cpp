#include "log/log_troubles.h"

#include <algorithm>
#include <optional>

#include "base/text.h"
#include "files/error_text.h"
#include "log/job_log.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kReason = u"原因：";
// What a line says in parentheses that is no trouble.
// not translated: compared with what the log has
constexpr std::u16string_view kWell[] = {u"成功", u"繼續", u"略過", u"警告"};

/// What follows the date-time that a run's lines begin with; nothing for other lines.
std::optional<std::u16string_view> Told(std::u16string_view line) {
  const std::size_t colon = line.find(u": ");
  if (colon == line.npos || line.empty() || line[0] < u'0' || line[0] > u'9') return std::nullopt;
  return line.substr(colon + 2);
}

std::optional<RunFailure> TroubleOf(std::u16string_view told) {
  const std::size_t open = told.find(u" (");
  const std::size_t close = told.find(u')', open == told.npos ? 0 : open);
  if (open == told.npos || close == told.npos) return std::nullopt;
  const std::u16string_view state = told.substr(open + 2, close - open - 2);
  if (std::find(std::begin(kWell), std::end(kWell), state) != std::end(kWell)) return std::nullopt;
  std::u16string_view rest = told.substr(close + 1);
  RunFailure trouble{std::u16string(told.substr(0, close + 1)), {}, {}};
  if (rest.starts_with(u"：")) {
    trouble.Path = rest.substr(1);
    return trouble;
  }
  // Some tell the reason before the path: " (reason): path".
  const std::size_t path = rest.find(u"): ");
  if (!rest.starts_with(u" (") || path == rest.npos) return std::nullopt;
  trouble.Reason = rest.substr(2, path - 2);
  trouble.Path = rest.substr(path + 3);
  return trouble;
}

}  // namespace

void LogFailure(JobLog& log, RunFailures& failures, std::u16string_view text,
                std::u16string_view what, std::u16string_view why) {
  log.WriteTimed(std::u16string(text).append(what));
  if (!why.empty()) log.WriteTimed(std::u16string(u": ").append(kReason).append(why));
  failures.Note(text, what, why);
}

void LogSyncFailure(JobLog& log, RunFailures& failures, std::u16string_view path, ErrorCode error) {
  log.WriteTimed(SyncFailedText(path, error));
  failures.Note(kSyncFailed, path, ApiErrorText(error));
}

std::vector<RunFailure> ReadTroubles(std::u16string_view log, std::size_t most) {
  std::vector<RunFailure> troubles;
  bool about_last = false;
  while (!log.empty()) {
    const std::optional<std::u16string_view> told = Told(TakeLine(log));
    if (told && told->starts_with(kReason)) {
      if (about_last) troubles.back().Reason = told->substr(kReason.size());
      about_last = false;
      continue;
    }
    std::optional<RunFailure> trouble = told ? TroubleOf(*told) : std::nullopt;
    about_last = trouble.has_value();
    if (!trouble) continue;
    if (most > 0 && troubles.size() == most) break;
    troubles.push_back(std::move(*trouble));
  }
  return troubles;
}

bool TellsTrouble(std::u16string_view line) {
  const std::optional<std::u16string_view> told = Told(line);
  return told && TroubleOf(*told);
}

bool TellsReason(std::u16string_view line) {
  const std::optional<std::u16string_view> told = Told(line);
  return told && told->starts_with(kReason);
}

std::u16string_view TakeLine(std::u16string_view& log) {
  const std::size_t end = std::min(log.find(u'\n'), log.size());
  std::u16string_view line = log.substr(0, end);
  log.remove_prefix(std::min(end + 1, log.size()));
  if (line.ends_with(u'\r')) line.remove_suffix(1);
  return line;
}

}  // namespace kavrel
