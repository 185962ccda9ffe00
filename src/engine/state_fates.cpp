#include "engine/state_fates.h"

#include <algorithm>
#include <map>
#include <optional>
#include <unordered_map>
#include <unordered_set>

#include "archive/recovery_data.h"
#include "base/number.h"
#include "base/translation.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "schedule/next_run.h"
#include "walk/traverse.h"

namespace kavrel {

namespace {

struct Candidate {
  std::u16string Unit;
  DatedState Dated;
  bool HasFailures = false;
};

/// The unit of the run, and before it those that its runs have made, the newest first.
std::vector<Candidate> CandidatesOf(const RunContext& context, const BackupJob& job,
                                    const std::vector<JobState>& states, std::u16string_view unit,
                                    DateTime now, StateFates& fates) {
  std::vector<Candidate> candidates{{std::u16string(unit), {now}}};
  const std::unordered_set<std::u16string> made(job.Extras.Made.begin(), job.Extras.Made.end());
  std::unordered_set<std::u16string> own;
  for (const JobState& state : states) {
    if (state.Unit == unit) candidates.front().Dated.Pinned = state.Pinned;
    if (!state.Own) continue;
    own.insert(state.Unit);
    const bool whole = state.Health == StateHealth::Whole;
    // A run that was killed at its very end may have noted nothing; the mark tells as surely.
    const bool counts = IsEnded(state) || made.contains(state.Unit);
    if (counts && state.Unit != unit) {
      // The last from before files began to look encrypted is to be there when that is noticed.
      const bool stays = state.Pinned || state.Unit == job.Extras.Changes.Good;
      const bool failures = state.Health == StateHealth::Failures;
      candidates.push_back({state.Unit, {state.Date, whole, stays}, failures});
    }
  }
  for (const std::u16string& noted : job.Extras.Made) {
    if (noted == unit || own.contains(noted)) continue;
    const Result<bool> is_own = IsMadeBy(context.Files, job, noted);
    // One that is not there may lie on a disk that is not there.
    const bool other = is_own && !*is_own && context.Files.Status(DropBackslash(noted));
    if (other) fates.NotOwn.push_back(noted);
  }
  return candidates;
}

void JudgeByCount(std::size_t keep, const std::vector<Candidate>& candidates, StateFates& fates) {
  std::size_t newer = 0;
  for (const Candidate& one : candidates) {
    StateFate& fate = fates.Units.emplace_back();
    fate.Unit = one.Unit;
    fate.Verdict.Why = KeepVerdict::Pinned;
    if (one.Dated.Pinned) continue;
    fate.Verdict.Why = newer < keep ? KeepVerdict::Newest : KeepVerdict::TooMany;
    // Runs in which files failed take no whole one's place, however many they are.
    newer += one.HasFailures ? 0 : 1;
  }
}

/// When the last backup before this one was made: not the latest of their dates, which may be of a
/// time when the clock was ahead.
DateTime LastMade(const BackupJob& job, const std::vector<Candidate>& candidates, DateTime now) {
  std::unordered_map<std::u16string_view, DateTime> dates;
  DateTime latest = kZeroDate;
  for (const Candidate& one : candidates) {
    if (one.Dated.Date >= now) continue;
    dates.emplace(one.Unit, one.Dated.Date);
    latest = std::max(latest, one.Dated.Date);
  }
  const std::vector<std::u16string>& made = job.Extras.Made;
  const auto last = std::find_if(made.rbegin(), made.rend(),
                                 [&](const std::u16string& unit) { return dates.contains(unit); });
  return last == made.rend() ? latest : dates[*last];
}

/// With one between the last backup and this one, where that took far longer than the job's
/// interval: the machine was off, or its clock is wrong.
std::vector<JobRest> RestsOf(const BackupJob& job, const std::vector<Candidate>& candidates,
                             DateTime now) {
  using std::chrono::days, std::chrono::hours;
  constexpr std::size_t kMost = 20;
  std::vector<JobRest> rests = job.Extras.Rests;
  // The clock has been set right since.
  std::erase_if(rests, [&](const JobRest& rest) { return rest.To > now; });
  const DateTime last = LastMade(job, candidates, now);
  const std::chrono::seconds interval =
      std::clamp<std::chrono::seconds>(AddInterval(now, job) - now, hours(1), days(366));
  if (last == kZeroDate || now - last <= std::max<std::chrono::seconds>(days(7), 3 * interval)) {
    return rests;
  }
  // As long as the interval is, it would have been away anyway.
  rests.push_back({last, now - interval});
  if (rests.size() > kMost) rests.erase(rests.begin());
  return rests;
}

void JudgeByPlan(const BackupJob& job, const KeepPlan& plan, std::vector<Candidate> candidates,
                 DateTime now, StateFates& fates) {
  fates.Rests = RestsOf(job, candidates, now);
  std::stable_sort(
      candidates.begin() + 1, candidates.end(),
      [](const Candidate& a, const Candidate& b) { return a.Dated.Date > b.Dated.Date; });
  std::vector<DatedState> states;
  states.reserve(candidates.size());
  for (const Candidate& one : candidates) states.push_back(one.Dated);
  const std::vector<KeepVerdict> verdicts = JudgeStates(plan, states, now, fates.Rests);
  std::size_t going = 0;
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    StateFate& fate = fates.Units.emplace_back();
    fate.Unit = candidates[i].Unit;
    fate.Verdict = verdicts[i];
    if (i == 0 && !fate.Verdict.Stays()) fate.Verdict.Why = KeepVerdict::Newest;
    if (fate.Verdict.Why == KeepVerdict::Superseded) {
      fate.By = candidates[fate.Verdict.By].Dated.Date;
    }
    if (!fate.Verdict.Stays()) ++going;
  }
  constexpr std::size_t kFew = 3;
  fates.TooMany = going > kFew && going * 2 > candidates.size();
}

std::u16string SpanText(const KeepSpan& span) {
  constexpr std::u16string_view kTexts[] = {TrCountLater(u"%1 個小時"), TrCountLater(u"%1 天"),
                                            TrCountLater(u"%1 週"), TrCountLater(u"%1 個月"),
                                            TrCountLater(u"%1 年")};
  return Fill(kTexts[static_cast<std::size_t>(span.In)], {Decimal(span.Count)});
}

/// Adds up what nothing else on the disk holds.
class RoomFinder final : public TreeVisitor {
 public:
  explicit RoomFinder(const RunContext& context) : context_(context) {}

  bool GoesOn() override {
    context_.Host.PumpMessages();
    return !context_.State.CancelRequested;
  }
  void TakeFile(const TraversedFolder& in, const FolderEntry& file, std::uint32_t) override {
    if (const Result<FileStatus> status = in.Opened.Status(file.Name)) Take(*status);
  }
  void Take(const FileStatus& status) {
    if (status.Links < 2) {
      Bytes += status.Allocated;
    } else if (++seen_[{status.Device, status.Id}] == status.Links) {
      Bytes += status.Allocated;
    }
  }
  std::uint64_t Bytes = 0;

 private:
  const RunContext& context_;
  std::map<std::pair<std::uint64_t, std::uint64_t>, std::uint64_t> seen_;
};

bool KeepsAll(const BackupJob& job) {
  const auto keep = static_cast<std::size_t>(job.Extras.KeepNewest);
  return !ParseKeepPlan(job.Extras.KeepPlan) && (keep == 0 || job.Extras.Made.size() < keep);
}

}  // namespace

StateFates FatesOf(const RunContext& context, const BackupJob& job, std::u16string_view unit,
                   DateTime now) {
  const bool asks = !unit.empty() && !KeepsAll(job);
  return FatesOf(context, job, asks ? ListStates(context, job) : std::vector<JobState>(), unit,
                 now);
}

StateFates FatesOf(const RunContext& context, const BackupJob& job,
                   const std::vector<JobState>& states, std::u16string_view unit, DateTime now) {
  StateFates fates;
  fates.Rests = job.Extras.Rests;
  if (unit.empty() || KeepsAll(job)) return fates;
  const std::vector<Candidate> candidates = CandidatesOf(context, job, states, unit, now, fates);
  if (const std::optional<KeepPlan> plan = ParseKeepPlan(job.Extras.KeepPlan)) {
    JudgeByPlan(job, *plan, candidates, now, fates);
  } else {
    JudgeByCount(static_cast<std::size_t>(job.Extras.KeepNewest), candidates, fates);
  }
  return fates;
}

std::u16string FateText(const BackupJob& job, const StateFate& fate) {
  const KeepPlan plan = ParseKeepPlan(job.Extras.KeepPlan).value_or(KeepPlan());
  const auto within = [&] { return SpanText(plan.at(fate.Verdict.Step).Within); };
  switch (fate.Verdict.Why) {
    case KeepVerdict::Newest:
      return u"最新的備份";
    case KeepVerdict::Pinned:
      return u"已釘選";
    case KeepVerdict::All:
      return Fill(u"%1內全部保留", {within()});
    case KeepVerdict::First:
      return Fill(u"%1內每 %2保留一份", {within(), SpanText(*plan[fate.Verdict.Step].Every)});
    case KeepVerdict::Undated:
      return u"日期不明或在未來";
    case KeepVerdict::Superseded:
      return Fill(u"那段時間保留的是 %1", {DateTimeText(fate.By)});
    case KeepVerdict::TooOld:
      return u"比計畫的所有期間都早";
    case KeepVerdict::TooMany:
      return u"超過保留份數";
  }
  return {};
}

std::vector<std::uint64_t> RoomOf(const RunContext& context,
                                  const std::vector<std::u16string>& units) {
  RoomFinder room(context);
  std::vector<std::uint64_t> rooms;
  for (const std::u16string& unit : units) {
    room.Bytes = 0;
    if (IsFolderUnit(unit)) {
      Traverse(context.Files, unit, {}, Scope::OfRestore(true), room).Run();
    } else {
      for (const std::u16string& path : {unit, RecoveryName(unit)}) {
        if (const Result<FileStatus> status = context.Files.Status(path)) room.Take(*status);
      }
    }
    rooms.push_back(room.Bytes);
  }
  return rooms;
}

}  // namespace kavrel
