#include <nlohmann/json.hpp>

#include "app/job_status.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"

namespace kavrel {

namespace {

/// The positions of the jobs of these names, of all without one; nothing when a name is not there.
std::optional<std::vector<std::size_t>> Named(Session& session,
                                              const std::vector<std::string>& names) {
  std::vector<std::size_t> found;
  if (names.empty()) {
    for (std::size_t i = 0; i < session.Program().Store.Jobs.size(); ++i) found.push_back(i);
    return found;
  }
  const std::optional<std::vector<BackupJob*>> jobs = session.FindJobs(names);
  if (!jobs) return std::nullopt;
  for (const BackupJob* job : *jobs) found.push_back(static_cast<std::size_t>(job->JobIndex));
  return found;
}

nlohmann::json DrillOf(const JobExtras& extras) {
  return {{"when", JsonTime(extras.LastDrill)},
          {"good", extras.DrillGood},
          {"files", extras.DrillFiles}};
}

nlohmann::json ToJson(const BackupJob& job, const JobStatus& status) {
  return {{"name", JsonText(job.Name)},
          {"status", StatusWord(status.Word)},
          {"well", IsWell(status.Word)},
          {"cause", JsonTextOrNull(status.Cause)},
          {"reason", JsonReason(status.Reason)},
          {"last_success", JsonTime(status.LastGood)},
          {"last_run", JsonTime(job.LastRun)},
          {"next_run", JsonTime(job.NextRun)},
          {"last_scrub", JsonTime(job.Extras.LastScrub)},
          {"last_drill", DrillOf(job.Extras)},
          {"log_file", JsonTextOrNull(JsonText(status.LogPath))}};
}

}  // namespace

std::u16string StatusCell(JobWord word) {
  return FromUtf8(Tr(std::string(StatusWord(word)).c_str()));
}

int PrintStatus(Session& session, const StatusChoice& choice) {
  std::optional<std::chrono::minutes> oldest;
  if (!choice.MaxAge.empty()) {
    oldest = ParseAge(choice.MaxAge);
    if (!oldest) {
      PrintError(Tr("--max-age takes a count up to 1000 and a unit, as 90m, 26h, 2d or 1w"));
      return kBadInput;
    }
  }
  if (!session.Open()) return session.Failure();
  Program& program = session.Program();
  const std::optional<std::vector<std::size_t>> shown = Named(session, choice.Names);
  if (!shown) return kNoSuchJob;
  const std::vector<JobStatus> states = StatusOfJobs(program, session.Clock().Now(), oldest);
  bool well = true;
  std::vector<Colour> colours{Colour::Plain};
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> rows{{TrCell(u"排程名稱"), TrCell(u"狀態"),
                                                 TrCell(u"最近成功備份"), TrCell(u"下次備份時間"),
                                                 TrCell(u"原因")}};
  for (const std::size_t i : *shown) {
    const BackupJob& job = program.Store.Jobs[i];
    const JobStatus& status = states[i];
    const bool is_well = IsWell(status.Word);
    well = well && is_well;
    if (choice.Quiet && is_well) continue;
    list.push_back(ToJson(job, status));
    colours.push_back(status.Word == JobWord::Failed ? Colour::Bad
                      : !is_well                     ? Colour::Doubtful
                      : status.Word == JobWord::Off  ? Colour::Plain
                                                     : Colour::Good);
    rows.push_back({ShownName(job.Name), StatusCell(status.Word), DateOrNothing(status.LastGood),
                    job.Enabled ? DateOrNothing(job.NextRun) : std::u16string(),
                    Shown(status.Reason)});
  }
  if (choice.Json) {
    const std::optional<DateTime> pause = program.Pause.End();
    PrintJson({{"well", well},
               {"paused", pause.has_value()},
               {"paused_until", JsonTime(pause && *pause != kNoEnd ? *pause : kZeroDate)},
               {"jobs", std::move(list)}});
  } else {
    if (rows.size() > 1) PrintTable(rows, colours);
    TellPause(program.Pause);
  }
  return well ? kDone : kSomeFailed;
}

}  // namespace kavrel
