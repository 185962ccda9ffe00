#include <cstdio>
#include <nlohmann/json.hpp>

#include "base/number.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"

namespace kavrel {

namespace {

nlohmann::json JsonCount(const std::optional<std::uint64_t>& count) {
  return count ? nlohmann::json(*count) : nlohmann::json();
}

nlohmann::json ToJson(const LogRow& row) {
  const auto json_time = [](const std::optional<DateTime>& time) {
    return JsonTime(time.value_or(kZeroDate));
  };
  return {{"name", JsonText(row.Job)},          {"status", JsonText(StatusText(row))},
          {"copied", JsonCount(row.Copied)},    {"unchanged", JsonCount(row.Unchanged)},
          {"failed", JsonCount(row.Failed)},    {"started", json_time(row.Started)},
          {"next_run", json_time(row.NextRun)}, {"log_file", JsonText(row.LogPath)}};
}

}  // namespace

int ListLog(Session& session, std::size_t last, const LogFilter& filter, bool json) {
  if (!session.Open()) return kBadInput;
  const std::vector<LogRow>& rows = session.Program().LogRows.Rows();
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (MatchesFilter(rows[i], filter)) found.push_back(i);
  }
  if (found.size() > last) found.erase(found.begin(), found.end() - static_cast<long>(last));
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> table{{u"#", u"備份排程名稱", u"狀態", u"總計", u"備份",
                                                  u"失敗", u"本次備份時間", u"下次備份時間"}};
  for (const std::size_t i : found) {
    list.push_back(ToJson(rows[i]));
    // The number is the one that --show takes.
    std::vector<std::u16string> cells{Grouped(rows.size() - i)};
    const LogColumns columns = ColumnsOf(rows[i]);
    cells.insert(cells.end(), columns.begin(), columns.begin() + kLogPathColumn);
    table.push_back(std::move(cells));
  }
  if (json) {
    PrintJson(list);
  } else {
    PrintTable(table);
  }
  return kDone;
}

int ShowLog(Session& session, std::size_t newest) {
  if (!session.Open()) return kBadInput;
  const std::vector<LogRow>& rows = session.Program().LogRows.Rows();
  if (newest < 1 || newest > rows.size()) {
    PrintError("--show takes 1 to " + std::to_string(rows.size()) + ", the number of runs logged");
    return kBadInput;
  }
  const std::u16string& path = rows[rows.size() - newest].LogPath;
  const Result<std::u16string> text = ReadJobLog(session.Program().Files, path);
  if (!text) {
    PrintError("cannot read " + Printable(path) + ": " + ToUtf8(SystemErrorText(text.Error)));
    return kBadInput;
  }
  std::printf("%s", Printable(ReplaceAll(*text, u"\r\n", u"\n"), true).c_str());
  return kDone;
}

}  // namespace kavrel
