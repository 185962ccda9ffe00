#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/state_files.h"
#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "files/size_text.h"
#include "platform/process.h"

namespace kavrel {

namespace {

nlohmann::json StateName(const JobState& state, std::size_t index) {
  return {{"number", index + 1}, {"date", JsonTime(state.Date)}, {"path", JsonText(state.Unit)}};
}

/// "1, 2-4" of positions in the list.
std::u16string Numbers(const std::vector<std::size_t>& states) {
  std::u16string text;
  for (std::size_t i = 0; i < states.size();) {
    std::size_t last = i;
    while (last + 1 < states.size() && states[last + 1] == states[last] + 1) ++last;
    if (!text.empty()) text += u", ";
    text += Decimal(static_cast<std::int64_t>(states[i] + 1));
    if (last > i) text += u"-" + Decimal(static_cast<std::int64_t>(states[last] + 1));
    i = last + 1;
  }
  return text;
}

/// Whether what the states hold can be read at all; says so when it cannot.
bool CanRead(const Program& program, const std::vector<JobState>& states) {
  const bool archives = std::any_of(states.begin(), states.end(),
                                    [](const JobState& state) { return state.IsArchive; });
  if (!archives || program.Archiver.Present()) return true;
  PrintError(Tr(kNoArchiverReason));
  return false;
}

constexpr std::string_view kChangeWords[kStateChanges] = {"added", "removed", "changed", "moved"};

std::string ChangeText(std::size_t change) {
  return Printable(Tr(StateChangeText(static_cast<StateChange>(change))));
}

void PrintDifferences(const std::vector<StateDifference>& differences) {
  std::size_t counts[kStateChanges] = {};
  for (const StateDifference& one : differences) {
    const auto change = static_cast<std::size_t>(one.Change);
    ++counts[change];
    const std::string from = one.From.empty() ? "" : Printable(one.From) + " -> ";
    std::printf("%s  %s%s\n", ChangeText(change).c_str(), from.c_str(),
                Printable(one.Path).c_str());
  }
  if (differences.empty()) std::printf("%s\n", Tr("Nothing is different."));
  for (std::size_t i = 0; i < std::size(counts); ++i) {
    if (counts[i] == 0) continue;
    std::printf("%s  %s\n", ChangeText(i).c_str(),
                Printable(TrCount(u"%1 個檔案", counts[i])).c_str());
  }
}

}  // namespace

int ListVersions(Session& session, const std::string& name, const std::string& path, bool json) {
  RaiseOpenFileLimit();
  if (!session.Open()) return session.Failure();
  const BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  const std::optional<std::u16string> relative = PathInBackup(*job, FromUtf8(path));
  if (!relative || relative->empty()) {
    PrintError(
        Fill(Tr("versions takes a file inside the backup: %1"), {Printable(FromUtf8(path))}));
    return kBadInput;
  }
  const Program& program = session.Program();
  const std::vector<JobState> states = ListStates(program.Context, *job);
  if (!CanHaveStates(*job, states)) return kBadInput;
  if (!CanRead(program, states)) return kNoArchiveProgram;
  const FileVersions found = VersionsOf(program.Files, program.Archiver, states, *relative);
  for (const std::size_t state : found.Unread) {
    PrintError(Fill(Tr("%1: this state cannot be read: %2"),
                    {PrintableName(job->Name), Printable(states[state].Unit)}));
  }
  nlohmann::json list = nlohmann::json::array();
  std::vector<std::vector<std::u16string>> rows{
      {TrCell(u"檔案日期"), TrCell(u"大小"), TrCell(u"從"), TrCell(u"到"), TrCell(u"編號")}};
  for (const FileVersion& version : found.Versions) {
    const DateTime written = LocalTime(version.Written);
    const JobState &first = states[version.States.back()], &last = states[version.States.front()];
    rows.push_back({IsoText(written), Shown(FormatSize(version.Size, SizeMode::Scaled)),
                    StateDateText(first), StateDateText(last), Numbers(version.States)});
    nlohmann::json holders = nlohmann::json::array();
    for (const std::size_t state : version.States) {
      holders.push_back(StateName(states[state], state));
    }
    list.push_back(
        {{"modified", JsonTime(written)}, {"size", version.Size}, {"states", std::move(holders)}});
  }
  if (json) {
    PrintJson(list);
  } else if (!found.Versions.empty()) {
    PrintTable(rows);
  }
  if (found.Versions.empty()) {
    PrintError(Fill(Tr("%1: no state has this file: %2"),
                    {PrintableName(job->Name), Printable(*relative)}));
    return kSourceMissing;
  }
  return found.Unread.empty() ? kDone : kSomeFailed;
}

int CompareJobStates(Session& session, const std::string& name, const std::string& from,
                     const std::string& to, bool json) {
  RaiseOpenFileLimit();
  if (!session.Open()) return session.Failure();
  const BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  const Program& program = session.Program();
  const std::vector<JobState> states = ListStates(program.Context, *job);
  if (!CanHaveStates(*job, states)) return kBadInput;
  std::size_t picked[2];
  std::optional<StateListing> files[2];
  bool whole = true;
  for (int side = 0; side < 2; ++side) {
    ExitCode code = kDone;
    const auto index = StateMeant(states, *job, side == 0 ? from : to, code);
    if (!index) return code;
    picked[side] = *index;
  }
  if (!CanRead(program, {states[picked[0]], states[picked[1]]})) return kNoArchiveProgram;
  for (int side = 0; side < 2; ++side) {
    const JobState& state = states[picked[side]];
    files[side] = ReadState(program.Files, program.Archiver, state);
    if (!files[side] || files[side]->Unread > 0) {
      PrintError(Fill(files[side] ? Tr("%1: this state cannot be read as a whole: %2")
                                  : Tr("%1: this state cannot be read: %2"),
                      {PrintableName(job->Name), Printable(state.Unit)}));
      whole = false;
    }
    if (!files[side]) return kSomeFailed;
  }
  const std::vector<StateDifference> differences =
      CompareStates(program.Files, states[picked[0]], *files[0], states[picked[1]], *files[1]);
  if (!json) {
    PrintDifferences(differences);
    return whole ? kDone : kSomeFailed;
  }
  nlohmann::json list = nlohmann::json::array();
  for (const StateDifference& one : differences) {
    list.push_back(
        {{"change", kChangeWords[static_cast<std::size_t>(one.Change)]},
         {"path", JsonText(one.Path)},
         {"from", one.From.empty() ? nlohmann::json() : nlohmann::json(JsonText(one.From))},
         {"size", one.Size}});
  }
  PrintJson({{"job", JsonText(job->Name)},
             {"from", StateName(states[picked[0]], picked[0])},
             {"to", StateName(states[picked[1]], picked[1])},
             {"whole", whole},
             {"changes", std::move(list)}});
  return whole ? kDone : kSomeFailed;
}

}  // namespace kavrel
