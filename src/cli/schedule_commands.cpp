#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/watch.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "files/error_text.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {

constexpr std::int32_t kLongestSpan = 1000;

/// Why a job is not run at this moment, or that it is.
enum class Standing { Due, NotYet, RefusedDay, SwitchedOff, NeverEnds, Paused };

Standing StandingOf(const BackupJob& job, DateTime now, const std::optional<DateTime>& pause) {
  if (!job.Enabled) return Standing::SwitchedOff;
  if (NeverRuns(job, now)) return Standing::NeverEnds;
  if (pause && job.NextRun < *pause) return Standing::Paused;
  if (job.NextRun <= now) return Standing::Due;
  return IsRefused(job.RefusedDays, ToCivil(now).Weekday) ? Standing::RefusedDay : Standing::NotYet;
}

std::u16string_view StandingText(Standing standing) {
  constexpr std::u16string_view kTexts[] = {
      TrLater(u"時間已到"), TrLater(u"時間未到"), TrLater(u"時間未到，今天不備份"),
      TrLater(u"關閉"),     kNeverRunsText,       TrLater(u"排程暫停中")};
  return kTexts[static_cast<std::size_t>(standing)];
}

std::string_view StandingKey(Standing standing) {
  constexpr std::string_view kKeys[] = {"due",          "not-yet", "refused-day",
                                        "switched-off", "never",   "paused"};
  return kKeys[static_cast<std::size_t>(standing)];
}

/// The times at which the scheduler would run the job if it were on: the first one that is not
/// past yet, or the one that is due, and those after it. What a pause keeps back runs at its end;
/// nobody knows when that is of one without an end.
std::vector<DateTime> NextTimes(const BackupJob& job, DateTime now,
                                const std::optional<DateTime>& pause, std::size_t count) {
  if (NeverRuns(job, now) || pause == kNoEnd) return {};
  const DateTime first = job.Enabled ? job.NextRun : NextRunAfterNow(job, now);
  return RunsFrom(job, std::max(first, pause.value_or(first)), now, count);
}

/// The coming moment that `text` names: a time alone is the next such time, a date alone its
/// midnight.
std::optional<DateTime> ParseComing(const std::string& text, DateTime now) {
  const std::optional<NamedDateTime> named = ParseNamedDateTime(FromUtf8(text));
  if (!named) return std::nullopt;
  if (named->HasDate) return named->Time > now ? std::optional(named->Time) : std::nullopt;
  using std::chrono::days;
  const DateTime today =
      std::chrono::floor<days>(now) + (named->Time - std::chrono::floor<days>(named->Time));
  return today > now ? today : today + days(1);
}

/// Opens the program folder alone: neither the jobs nor the lock, which somebody may hold.
bool OpenFolder(Session& session) {
  return session.Prepare({}, std::make_unique<ConsoleHost>(session.Clock()));
}

int TellPauseFailure(const SchedulePause& pause, ErrorCode error) {
  PrintError(
      Fill(Tr("cannot write %1: %2"), {Printable(pause.Path()), ToUtf8(SystemErrorText(error))}));
  return kSomeFailed;
}

}  // namespace

int ListNextRuns(Session& session, const std::vector<std::string>& names, std::size_t times,
                 bool json) {
  if (!session.Open()) return session.Failure();
  std::vector<BackupJob*> jobs;
  for (BackupJob& job : session.Program().Store.Jobs) jobs.push_back(&job);
  if (!names.empty()) {
    const std::optional<std::vector<BackupJob*>> named = session.FindJobs(names);
    if (!named) return kNoSuchJob;
    jobs = *named;
  }
  const DateTime now = session.Clock().Now();
  const std::optional<DateTime> pause = session.Program().Pause.End();
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> rows{
      {TrCell(u"排程名稱"), TrCell(u"狀態"), TrCell(u"下次備份時間")}};
  for (const BackupJob* listed : jobs) {
    const BackupJob& job = *listed;
    const Standing standing = StandingOf(job, now, pause);
    nlohmann::json json_times = nlohmann::json::array();
    std::u16string text;
    for (const DateTime time : NextTimes(job, now, pause, times)) {
      json_times.push_back(JsonTime(time));
      if (!text.empty()) text += u",  ";
      text += ScreenDateTime(time);
    }
    list.push_back({{"name", JsonText(job.Name)},
                    {"enabled", job.Enabled},
                    {"state", StandingKey(standing)},
                    {"next_runs", std::move(json_times)}});
    rows.push_back({ShownName(job.Name), Shown(StandingText(standing)), text});
  }
  if (json) {
    PrintJson(list);
  } else {
    PrintTable(rows);
    TellPause(session.Program().Pause);
  }
  return kDone;
}

std::string PausedText(DateTime end) {
  if (end == kNoEnd) return Tr("The schedule is paused until it is resumed.");
  return Fill(Tr("The schedule is paused until %1."), {ToUtf8(IsoText(end))});
}

void TellPause(const SchedulePause& pause) {
  if (const std::optional<DateTime> end = pause.End()) {
    PrintError(*end == kNoEnd ? Tr("the schedule is paused until it is resumed; resume ends that")
                              : Fill(Tr("the schedule is paused until %1; resume ends that"),
                                     {ToUtf8(IsoText(*end))}));
  } else if (pause.LastError()) {
    PrintError(Fill(Tr("nobody can tell from %1 whether the schedule is paused, so it is not: %2"),
                    {Printable(pause.Path()), ToUtf8(SystemErrorText(pause.LastError()))}));
  }
}

int PauseSchedule(Session& session, const std::string& span, const std::string& until) {
  if (!OpenFolder(session)) return session.Failure();
  const DateTime now = session.Clock().Now();
  DateTime end = kNoEnd;
  if (!span.empty()) {
    const std::optional<Span> parsed = ParseSpan(span);
    if (!parsed || parsed->Count < 1 || parsed->Count > kLongestSpan) {
      PrintError(Tr("--for takes a count up to 1000 and a unit, as 30m, 2h, 1d or 1w"));
      return kBadInput;
    }
    BackupJob length;
    SetInterval(length, parsed->Kind, parsed->Count);
    end = AddInterval(now, length);
  } else if (!until.empty()) {
    const std::optional<DateTime> parsed = ParseComing(until, now);
    if (!parsed) {
      PrintError(Tr("--until takes a time to come, as 18:00 or \"2026/11/24 08:00\""));
      return kBadInput;
    }
    end = *parsed;
  }
  SchedulePause& pause = session.Program().Pause;
  if (const ErrorCode error = pause.Begin(end)) return TellPauseFailure(pause, error);
  std::printf("%s\n", PausedText(end).c_str());
  return kDone;
}

int ResumeSchedule(Session& session) {
  if (!OpenFolder(session)) return session.Failure();
  SchedulePause& pause = session.Program().Pause;
  const bool was = pause.End().has_value();
  if (const ErrorCode error = pause.Resume()) return TellPauseFailure(pause, error);
  std::printf("%s\n", was ? Tr("The schedule goes on.") : Tr("The schedule was not paused."));
  return kDone;
}

int WatchJobs(Session& session) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  auto host = std::make_unique<WatchHost>(WatchHost::Surroundings{
      session.Clock(),
      [journal = OutputIsJournal()](WatchLevel level, std::u16string_view line) {
        // The journal takes the level from the front of the line.
        if (journal) std::printf("<%d>", static_cast<int>(level));
        std::printf("%s\n", Printable(line).c_str());
        std::fflush(stdout);
      },
      InterruptRequested, WaitForInterrupt});
  WatchHost& watch = *host;
  if (!session.Prepare(u"kavrelctl watch", std::move(host))) return session.Failure();
  if (watch.Run(session.Program())) return kDone;
  session.TellUnreadable();
  return kBadInput;
}

}  // namespace kavrel
