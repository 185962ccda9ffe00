#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/watch.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {

/// Why a job is not run at this moment, or that it is.
enum class Standing { Due, NotYet, RefusedDay, SwitchedOff, NeverEnds };

Standing StandingOf(const BackupJob& job, DateTime now) {
  if (!job.Enabled) return Standing::SwitchedOff;
  if (NeverRuns(job, now)) return Standing::NeverEnds;
  if (job.NextRun <= now) return Standing::Due;
  return IsRefused(job.RefusedDays, ToCivil(now).Weekday) ? Standing::RefusedDay : Standing::NotYet;
}

std::u16string_view StandingText(Standing standing) {
  constexpr std::u16string_view kTexts[] = {u"時間已到", u"時間未到", u"時間未到，今天不備份",
                                            u"關閉", u"永不備份：時間間隔無效，或每天都不備份"};
  return kTexts[static_cast<std::size_t>(standing)];
}

std::string_view StandingKey(Standing standing) {
  constexpr std::string_view kKeys[] = {"due", "not-yet", "refused-day", "switched-off", "never"};
  return kKeys[static_cast<std::size_t>(standing)];
}

/// The times at which the scheduler would run the job if it were on: the first one that is not
/// past yet, or the one that is due, and those after it.
std::vector<DateTime> NextTimes(const BackupJob& job, DateTime now, std::size_t count) {
  if (NeverRuns(job, now)) return {};
  return RunsFrom(job, job.Enabled ? job.NextRun : NextRunAfterNow(job, now), now, count);
}

}  // namespace

int ListNextRuns(Session& session, std::size_t times, bool json) {
  if (!session.Open()) return kBadInput;
  const DateTime now = session.Clock().Now();
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> rows{{u"排程名稱", u"狀態", u"下次備份時間"}};
  for (const BackupJob& job : session.Program().Store.Jobs) {
    const Standing standing = StandingOf(job, now);
    nlohmann::json json_times = nlohmann::json::array();
    std::u16string text;
    for (const DateTime time : NextTimes(job, now, times)) {
      json_times.push_back(JsonTime(time));
      if (!text.empty()) text += u",  ";
      text += DateTimeText(time);
    }
    list.push_back({{"name", JsonText(job.Name)},
                    {"enabled", job.Enabled},
                    {"state", StandingKey(standing)},
                    {"next_runs", std::move(json_times)}});
    rows.push_back({job.Name, std::u16string(StandingText(standing)), text});
  }
  if (json) {
    PrintJson(list);
  } else {
    PrintTable(rows);
  }
  return kDone;
}

int WatchJobs(Session& session) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  auto host = std::make_unique<WatchHost>(
      WatchHost::Surroundings{session.Clock(),
                              [](std::u16string_view line) {
                                std::printf("%s\n", Printable(line).c_str());
                                std::fflush(stdout);
                              },
                              InterruptRequested, WaitForInterrupt});
  WatchHost& watch = *host;
  if (!session.Prepare(u"kavrelctl watch", std::move(host))) return kBadInput;
  if (watch.Run(session.Program())) return kDone;
  session.TellUnreadable();
  return kBadInput;
}

}  // namespace kavrel
