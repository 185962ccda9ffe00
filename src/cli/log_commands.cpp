#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

#include "app/find_name.h"
#include "app/job_status.h"
#include "app/shown_log.h"
#include "base/number.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "cli/run_report.h"
#include "log/log_end.h"
#include "log/log_figures.h"
#include "log/log_troubles.h"

namespace kavrel {

namespace {

/// A run as the list shows it: a row of the log list, or a backup that could not begin, which has
/// neither a row there nor a log.
struct ListedRun {
  LogRow Row;
  std::size_t Number = 0;      ///< that --show takes; 0 = there is no log
  std::string_view Unbegun{};  ///< why it could not begin
  std::u16string Reason{};     ///< of one that went badly, as far as it is known
  LogEnd End = LogEnd::Ordinary;
  LogFigures Figures{};
};

std::string_view KindWord(LogKind kind) {
  constexpr std::string_view kWords[] = {"backup", "restore", "verification", "time-set-right",
                                         "other"};
  return kWords[static_cast<std::size_t>(kind)];
}

/// A whole run may have copied files that look encrypted, which its row does not tell.
bool IsBad(const ListedRun& run) {
  return IsBadRun(run.Row) || run.End == LogEnd::Changes;
}

std::string_view ResultOf(const ListedRun& run) {
  if (!run.Unbegun.empty()) return run.Unbegun;
  switch (run.End) {
    case LogEnd::NoSpace:
      return ResultWord(kNoSpace);
    case LogEnd::Guarded:
      return ResultWord(kGuarded);
    case LogEnd::NoPlace:
      return ResultWord(kNoPlace);
    case LogEnd::WrongPassword:
      return "wrong-password";
    case LogEnd::Changes:
    case LogEnd::Ordinary:
      break;
  }
  if (run.Row.Stopped) return "interrupted";
  return IsBad(run) ? "some-failed" : "ok";
}

nlohmann::json ToJson(const ListedRun& run) {
  const LogRow& row = run.Row;
  const auto known = [](const auto& value) {
    return value ? nlohmann::json(*value) : nlohmann::json();
  };
  return {{"number", run.Number > 0 ? nlohmann::json(run.Number) : nlohmann::json()},
          {"name", JsonText(row.Job)},
          {"kind", KindWord(row.Kind)},
          {"result", ResultOf(run)},
          {"reason", JsonReason(run.Reason)},
          {"status", JsonReason(StatusText(row))},
          {"copied", known(row.Copied)},
          {"unchanged", known(row.Unchanged)},
          {"failed", known(row.Failed)},
          {"bytes", known(run.Figures.Bytes)},
          {"seconds", known(run.Figures.Seconds)},
          {"started", JsonTime(row.Started.value_or(kZeroDate))},
          {"next_run", JsonTime(row.NextRun.value_or(kZeroDate))},
          {"log_file", JsonTextOrNull(JsonText(row.LogPath))}};
}

LogRow RowOf(const BackupJob& job, const UnbegunRun& run) {
  LogRow row;
  row.Job = job.Name;
  row.Kind = LogKind::Backup;
  row.Stopped = true;
  row.Copied = row.Unchanged = row.Failed = 0;
  row.Started = run.At;
  // not translated: as a row of the log has it
  row.AsWritten = {job.Name, u"沒有執行", u"0", u"0", u"0", DateTimeText(run.At), {}, {}};
  return row;
}

/// The filter with the job's name as the rows have it, which stay when their job has been removed;
/// nothing where neither a job nor a row has the name.
std::optional<LogFilter> Meant(const Program& program, LogFilter filter) {
  std::vector<std::u16string> names;
  for (const BackupJob& job : program.Store.Jobs) names.push_back(job.Name);
  for (const LogRow& row : program.LogRows.Rows()) names.push_back(row.Job);
  const auto kept = [&](const std::u16string& name) { return EqualNoCase(name, filter.Job); };
  const auto shown = [&](const std::u16string& name) { return IsShownAs(name, filter.Job); };
  if (filter.Job.empty() || std::ranges::any_of(names, kept)) return filter;
  const auto found = std::ranges::find_if(names, shown);
  if (found == names.end()) return std::nullopt;
  filter.Job = *found;
  return filter;
}

/// Those that the filter lets through, the oldest first.
std::vector<ListedRun> FindRuns(const Program& program, const LogFilter& filter) {
  std::vector<ListedRun> runs;
  std::vector<std::pair<DateTime, std::size_t>> order;
  const auto add = [&](DateTime at, ListedRun run) {
    if (!MatchesFilter(run.Row, filter)) return;
    order.emplace_back(at, runs.size());
    runs.push_back(std::move(run));
  };
  const std::vector<LogRow>& rows = program.LogRows.Rows();
  DateTime latest = kZeroDate;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    // A clock that was set back must not take the rows out of their order.
    latest = std::max(latest, rows[i].Started.value_or(kZeroDate));
    add(latest, {rows[i], rows.size() - i});
  }
  for (const BackupJob& job : program.Store.Jobs) {
    for (const UnbegunRun& run : job.Extras.Unbegun) {
      const bool archiver = run.Why == UnbegunRun::Cause::NoArchiver;
      add(run.At,
          {RowOf(job, run), 0, archiver ? "no-archive-program" : "source-missing", run.Text});
    }
  }
  std::stable_sort(order.begin(), order.end(),
                   [](const auto& one, const auto& other) { return one.first < other.first; });
  std::vector<ListedRun> sorted;
  for (const auto& [at, place] : order) sorted.push_back(std::move(runs[place]));
  return sorted;
}

/// What the run's own log tells of it, beside its row.
void LookInto(const FileSystem& files, ListedRun& run) {
  if (run.Number == 0 || run.Row.LogPath.empty()) return;
  const Result<std::u16string> log = ReadJobLog(files, run.Row.LogPath);
  if (!log) return;
  run.Figures = ReadFigures(*log);
  run.End = EndTold(*log);
  if (IsBad(run)) run.Reason = FirstTroubleIn(*log);
  if (run.End == LogEnd::Changes && run.Reason.empty()) run.Reason = AlarmTold(*log);
}

/// The last of them that are wanted, with what their logs tell, in their order.
std::vector<ListedRun> LookIntoLast(const FileSystem& files, std::vector<ListedRun> runs,
                                    std::size_t last, bool bad_only) {
  std::vector<ListedRun> wanted;
  for (; !runs.empty() && wanted.size() < last; runs.pop_back()) {
    LookInto(files, runs.back());
    if (!bad_only || IsBad(runs.back())) wanted.push_back(std::move(runs.back()));
  }
  std::reverse(wanted.begin(), wanted.end());
  return wanted;
}

}  // namespace

int ListLog(Session& session, std::size_t last, const LogFilter& filter, bool json) {
  if (!session.Open()) return session.Failure();
  const Program& program = session.Program();
  const std::optional<LogFilter> meant = Meant(program, filter);
  if (!meant) {
    session.FindJob(ToUtf8(filter.Job));
    return kNoSuchJob;
  }
  LogFilter by_row = *meant;
  by_row.Failed = false;
  const std::vector<ListedRun> found =
      LookIntoLast(program.Files, FindRuns(program, by_row), last, meant->Failed);
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> table{
      {u"#", std::u16string(TrIn("log column", u"備份排程名稱")),
       std::u16string(TrIn("log column", u"狀態")), std::u16string(TrIn("log column", u"總計")),
       std::u16string(TrIn("log column", u"備份")), std::u16string(TrIn("log column", u"失敗")),
       std::u16string(TrIn("log column", u"本次備份時間")),
       std::u16string(TrIn("log column", u"下次備份時間")),
       std::u16string(TrIn("log column", u"原因"))}};
  std::vector<Colour> colours{Colour::Plain};
  for (const ListedRun& run : found) {
    list.push_back(ToJson(run));
    std::vector<std::u16string> cells{run.Number > 0 ? ScreenNumber(run.Number) : std::u16string()};
    const LogColumns columns = ColumnsOf(run.Row);
    cells.push_back(ShownName(columns.front()));
    for (std::size_t i = 1; i < kLogPathColumn; ++i) cells.push_back(Shown(columns[i]));
    cells.push_back(Shown(run.Reason));
    colours.push_back(IsBad(run) ? Colour::Bad : Colour::Plain);
    table.push_back(std::move(cells));
  }
  if (json) {
    PrintJson(list);
  } else {
    PrintTable(table, colours);
  }
  return kDone;
}

int ShowLog(Session& session, std::size_t newest) {
  if (!session.Open()) return session.Failure();
  const std::vector<LogRow>& rows = session.Program().LogRows.Rows();
  if (newest < 1 || newest > rows.size()) {
    PrintError(
        Fill(Tr("--show takes 1 to %1, the number of runs logged"), {std::to_string(rows.size())}));
    return kBadInput;
  }
  const std::u16string& path = rows[rows.size() - newest].LogPath;
  const Result<std::u16string> text = ReadJobLog(session.Program().Files, path);
  if (!text) {
    PrintError(
        Fill(Tr("cannot read %1: %2"), {Printable(path), ToUtf8(SystemErrorText(text.Error))}));
    return kBadInput;
  }
  for (std::u16string_view rest = *text; !rest.empty();) {
    std::printf("%s\n", Printable(ShownLogLine(TakeLine(rest))).c_str());
  }
  return kDone;
}

}  // namespace kavrel
