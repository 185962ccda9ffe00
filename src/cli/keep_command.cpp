#include <cstdio>
#include <nlohmann/json.hpp>
#include <unordered_map>

#include "base/number.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "core/backup_job.h"
#include "engine/keep_newest.h"
#include "engine/state_fates.h"
#include "files/error_text.h"
#include "files/size_text.h"

namespace kavrel {

namespace {

constexpr std::string_view kReasonWords[] = {"newest",  "pinned",     "all",     "first",
                                             "undated", "superseded", "too_old", "too_many"};

/// A state, and what becomes of it.
struct Row {
  const JobState& State;
  const StateFate* Fate;  ///< null: the job's runs did not make it alone, or keep everything
  std::uint64_t Room;
};

std::vector<Row> RowsOf(const RunContext& context, const std::vector<JobState>& states,
                        const StateFates& fates) {
  std::unordered_map<std::u16string_view, const StateFate*> by_unit;
  std::vector<std::u16string> going;
  for (const StateFate& fate : fates.Units) by_unit.emplace(fate.Unit, &fate);
  std::vector<Row> rows;
  for (const JobState& state : states) {
    const auto found = by_unit.find(state.Unit);
    rows.push_back({state, found == by_unit.end() ? nullptr : found->second, 0});
  }
  std::vector<Row*> go;
  // They go from the oldest on.
  for (auto row = rows.rbegin(); row != rows.rend(); ++row) {
    if (!row->Fate || row->Fate->Verdict.Stays()) continue;
    go.push_back(&*row);
    going.push_back(row->State.Unit);
  }
  const std::vector<std::uint64_t> rooms = RoomOf(context, going);
  for (std::size_t i = 0; i < go.size(); ++i) go[i]->Room = rooms[i];
  return rows;
}

std::u16string WhyText(const BackupJob& job, const Row& row, bool keeps_all) {
  if (row.Fate) return FateText(job, *row.Fate);
  return keeps_all ? TrLater(u"全部保留") : TrLater(u"不是這個排程單獨建立的備份");
}

}  // namespace

int ExplainKeeping(Session& session, const std::string& name, bool json) {
  if (!session.Open()) return session.Failure();
  const BackupJob* found = session.FindJob(name);
  if (!found) return kNoSuchJob;
  Program& program = session.Program();
  BackupJob job = *found;
  const std::u16string unit = SetRunPaths(job, session.Clock());
  const std::vector<JobState> states = ListStates(program.Context, job);
  if (!CanHaveStates(job, states)) return kBadInput;
  const StateFates fates = FatesOf(program.Context, job, states, unit, session.Clock().Now());
  const std::vector<Row> rows = RowsOf(program.Context, states, fates);
  const bool keeps_all = fates.Units.empty();
  const bool alarmed = IsAlarmed(job.Extras);
  const bool held = alarmed || (fates.TooMany && !job.Extras.KeepAgreed);
  std::uint64_t room = 0;
  std::size_t going = 0;
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> table{{TrCell(u"編號"), TrCell(u"日期時間"),
                                                  TrCell(u"去留"), TrCell(u"原因"), TrCell(u"釋放"),
                                                  TrCell(u"位置")}};
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i];
    const bool goes = row.Fate && !row.Fate->Verdict.Stays();
    room += row.Room;
    going += goes;
    if (json) {
      const std::string_view word = row.Fate    ? kReasonWords[row.Fate->Verdict.Why]
                                    : keeps_all ? std::string_view("everything")
                                                : std::string_view("not_own");
      list.push_back({{"number", i + 1},
                      {"date", JsonTime(row.State.Date)},
                      {"goes", goes},
                      {"reason", word},
                      {"frees", row.Room},
                      {"path", JsonText(row.State.Unit)}});
      continue;
    }
    table.push_back({Grouped(i + 1), StateDateText(row.State),
                     TrCell(goes ? TrLater(u"移除") : TrLater(u"保留")),
                     Shown(WhyText(job, row, keeps_all)),
                     goes ? Shown(FormatSize(row.Room, SizeMode::Scaled)) : std::u16string(u"-"),
                     row.State.Unit});
  }
  if (json) {
    PrintJson({{"job", JsonText(job.Name)},
               {"keep_newest", job.Extras.KeepNewest},
               {"keep_plan", JsonText(job.Extras.KeepPlan)},
               {"deletes", job.Extras.DeletesOld},
               {"held_back", held},
               {"frees", room},
               {"states", std::move(list)}});
    return kDone;
  }
  PrintTable(table);
  if (going == 0) return kDone;
  const std::u16string size = Shown(FormatSize(room, SizeMode::Scaled));
  const std::string text =
      Fill(job.Extras.DeletesOld
               ? Tr("The next whole run deletes %1 of them, which frees %2.")
               : Tr("The next whole run moves %1 of them to the recycle bin; on the same disk %2 "
                    "are free only when that is emptied."),
           {std::to_string(going), Printable(size)});
  if (!held) std::printf("%s\n", text.c_str());
  if (alarmed) {
    PrintError(
        Tr("Files look encrypted: a run keeps them all until edit --change-guard accept ends the "
           "alarm."));
  } else if (held) {
    PrintError(
        Tr("More than half of them would go at once: a run keeps them all until the plan is "
           "given anew with edit --keep-plan; look at the clock first."));
  }
  return kDone;
}

int PinJobState(Session& session, const std::string& name, const std::string& which, bool pinned) {
  if (!session.Open()) return session.Failure();
  const BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  Program& program = session.Program();
  const std::vector<JobState> states = ListStates(program.Context, *job);
  ExitCode code = kDone;
  const std::optional<std::size_t> meant = StateMeant(states, *job, which, code);
  if (!meant) return code;
  const JobState& state = states[*meant];
  if (state.Health == StateHealth::Unfinished) {
    PrintError(Fill(Tr("%1: a state that is not finished cannot be pinned: %2"),
                    {Printable(job->Name), Printable(state.Unit)}));
    return kBadInput;
  }
  if (const ErrorCode error = PinState(program.Files, *job, state.Unit, pinned)) {
    PrintError(Fill(Tr("%1: the mark of this state cannot be written: %2: %3"),
                    {Printable(job->Name), Printable(state.Unit), Printable(ApiErrorText(error))}));
    return kSomeFailed;
  }
  return kDone;
}

}  // namespace kavrel
