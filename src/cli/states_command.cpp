#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/state_growth.h"
#include "base/number.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "engine/states.h"
#include "files/path.h"
#include "files/size_text.h"
#include "rules/date_tokens.h"

namespace kavrel {

namespace {

constexpr std::string_view kHealthWords[] = {"whole",      "failures", "unknown",
                                             "unfinished", "shared",   "away"};

/// Files and bytes of a state, counted where no run has noted them.
struct Content {
  std::optional<std::uint64_t> Files, Bytes;
};

Content ContentOf(const FileSystem& files, const JobState& state) {
  const auto& figures = state.Figures;
  if (figures && figures->Failed == 0) return {figures->Files, figures->Bytes};
  if (state.IsArchive || state.Health == StateHealth::Away) return {};
  const FolderContent content = CountFolder(files, state.Unit);
  return {content.Files, content.Bytes};
}

nlohmann::json NumberOrNull(const std::optional<std::uint64_t>& number) {
  return number ? nlohmann::json(*number) : nlohmann::json();
}

std::u16string CountText(const std::optional<std::uint64_t>& number) {
  return number ? ScreenNumber(*number) : std::u16string(u"-");
}

std::u16string SizeText(const std::optional<std::uint64_t>& bytes) {
  return bytes ? Shown(FormatSize(*bytes, SizeMode::Scaled)) : std::u16string(u"-");
}

nlohmann::json StateAsJson(const JobState& state, std::size_t number, const Content& content,
                           const StateGrowth& growth) {
  const bool archive = state.IsArchive && state.Health != StateHealth::Away;
  nlohmann::json added, verified;
  if (state.Figures) {
    added = {{"files", state.Figures->AddedFiles}, {"bytes", state.Figures->AddedBytes}};
  }
  if (state.Verified) {
    verified = {{"at", JsonTime(state.Verified->When)}, {"damaged", state.Verified->Damaged}};
  }
  return {{"number", number},
          {"date", JsonTime(state.Date)},
          {"kind", state.IsArchive ? "archive" : "folder"},
          {"state", kHealthWords[static_cast<std::size_t>(state.Health)]},
          {"files", NumberOrNull(content.Files)},
          {"bytes", NumberOrNull(content.Bytes)},
          {"archive_bytes", archive ? nlohmann::json(state.ArchiveSize) : nlohmann::json()},
          {"recovery_bytes", archive ? nlohmann::json(state.RecoverySize) : nlohmann::json()},
          {"added", std::move(added)},
          {"taken_bytes", growth.Taken[number - 1]},
          {"pinned", state.Pinned},
          {"runs_left",
           number == 1 && growth.RunsLeft ? nlohmann::json(*growth.RunsLeft) : nlohmann::json()},
          {"failed", state.Figures ? nlohmann::json(state.Figures->Failed) : nlohmann::json()},
          {"verified", std::move(verified)},
          {"path", JsonText(state.Unit)}};
}

std::u16string StateCell(const JobState& state) {
  const std::u16string health = Shown(StateHealthText(state));
  return state.Pinned ? health + TrCell(u"，已釘選") : health;
}

bool WritesOneFolder(const BackupJob& job) {
  return !job.Compressed && !HasDateTags(job.Destination.Path);
}

/// Said of an empty list, which is no fault.
void TellNone(const BackupJob& job) {
  PrintError(WritesOneFolder(job)
                 ? Fill(Tr("%1: it always writes into one folder, and has no states: %2"),
                        {PrintableName(job.Name), Printable(job.Destination.Path)})
                 : Fill(Tr("%1: there are no states"), {PrintableName(job.Name)}));
}

std::string ListedBy(const BackupJob& job) {
  return Fill(Tr("; kavrelctl states %1 lists them"), {PrintableName(job.Name)});
}

}  // namespace

int ListJobStates(Session& session, const std::string& name, ListForm form) {
  if (!session.Open()) return session.Failure();
  const BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  Program& program = session.Program();
  const std::vector<JobState> states = ListStates(program.Context, *job);
  if (form == ListForm::Names) {
    std::vector<std::u16string> dates;
    for (const JobState& state : states) {
      if (state.Date != kZeroDate) dates.push_back(StateDateText(state));
    }
    PrintNames(dates);
    return kDone;
  }
  const StateGrowth growth = GrowthOf(program.Files, states);
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> rows{
      {TrCell(u"編號"), TrCell(u"日期時間"), TrCell(u"種類"), TrCell(u"狀態"), TrCell(u"檔案數"),
       TrCell(u"大小"), TrCell(u"新增"), TrCell(u"驗證"), TrCell(u"位置")}};
  for (std::size_t i = 0; i < states.size(); ++i) {
    const JobState& state = states[i];
    const Content content = ContentOf(program.Files, state);
    if (form == ListForm::Json) {
      list.push_back(StateAsJson(state, i + 1, content, growth));
      continue;
    }
    const std::optional<std::uint64_t> size =
        state.IsArchive ? std::optional(state.ArchiveSize + state.RecoverySize) : content.Bytes;
    const auto& figures = state.Figures;
    rows.push_back({Grouped(i + 1), StateDateText(state), Shown(StateKindText(state)),
                    StateCell(state), CountText(content.Files),
                    SizeText(state.Health == StateHealth::Away ? std::nullopt : size),
                    figures ? ScreenNumber(figures->AddedFiles) + u" / " +
                                  Shown(FormatSize(figures->AddedBytes, SizeMode::Scaled))
                            : std::u16string(u"-"),
                    Shown(VerifiedText(state)), state.Unit});
  }
  if (form == ListForm::Json) {
    PrintJson(list);
  } else if (states.empty()) {
    TellNone(*job);
  } else {
    PrintTable(rows);
    const std::u16string text = Shown(GrowthText(growth));
    if (!text.empty()) std::printf("%s\n", Printable(text).c_str());
  }
  return kDone;
}

bool CanHaveStates(const BackupJob& job, const std::vector<JobState>& states) {
  if (!states.empty() || !WritesOneFolder(job)) return true;
  TellNone(job);
  return false;
}

std::optional<std::size_t> StateMeant(const std::vector<JobState>& states, const BackupJob& job,
                                      const std::string& which, ExitCode& code) {
  if (!CanHaveStates(job, states)) {
    code = kBadInput;
    return std::nullopt;
  }
  const StateChoice choice = FindState(states, FromUtf8(which));
  if (choice.Result == StateChoice::Found && states[choice.Index].Health != StateHealth::Away) {
    return choice.Index;
  }
  const std::string wanted = Printable(FromUtf8(which));
  if (choice.Result == StateChoice::Ambiguous) {
    PrintError(Fill(Tr("%1: more than one state begins with %2%3"),
                    {PrintableName(job.Name), wanted, ListedBy(job)}));
    code = kBadInput;
  } else {
    const bool away = choice.Result == StateChoice::Found;
    PrintError(Fill(away ? Tr("%1: the disk of this state is not there: %2%3")
                         : Tr("%1: there is no such state: %2%3"),
                    {PrintableName(job.Name), wanted, ListedBy(job)}));
    code = kSourceMissing;
  }
  return std::nullopt;
}

std::optional<std::u16string> UnitOf(Session& session, const BackupJob& job,
                                     const std::string& which, ExitCode& code) {
  const RunContext& context = session.Program().Context;
  if (which.empty() && HasStateOfNow(context, job)) return std::u16string();
  const std::vector<JobState> states = ListStates(context, job);
  if (!which.empty()) {
    const std::optional<std::size_t> picked = StateMeant(states, job, which, code);
    if (!picked) return std::nullopt;
    return states[*picked].Unit;
  }
  const std::optional<std::size_t> newest = NewestState(states);
  if (!newest) {
    // The run that follows tells that there is no backup.
    if (!states.empty()) {
      PrintError(Fill(Tr("%1: no state is whole%2, --state takes one all the same"),
                      {PrintableName(job.Name), ListedBy(job)}));
    }
    return std::u16string();
  }
  const JobState& state = states[*newest];
  const char* text =
      state.Health == StateHealth::Whole
          ? Tr("%1: nothing is dated now, this takes the newest whole state: %2, %3%4")
          : Tr("%1: nothing is dated now, this takes the newest state, which may not be whole: %2, "
               "%3%4");
  std::string newer =
      *newest > 0 ? Fill(Tr(" (newer ones are not whole%1)"), {ListedBy(job)}) : std::string();
  if (state.Date > context.Time.Now()) {
    newer += Tr(" (a date to come: the clock was ahead when it was made)");
  }
  PrintError(Fill(
      text, {PrintableName(job.Name), ToUtf8(StateDateText(state)), Printable(state.Unit), newer}));
  return state.Unit;
}

}  // namespace kavrel
