#include "engine/state_guard.h"

#include <algorithm>

#include "base/number.h"
#include "base/translation.h"
#include "engine/refusal.h"
#include "engine/run_planner.h"

namespace kavrel {

namespace {

/// So many files are not far less than the last state had.
std::uint64_t EnoughFiles(const JobExtras& extras) {
  const auto last = static_cast<std::uint64_t>(std::max<std::int64_t>(extras.StateFiles, 0));
  const std::uint64_t may_be_lost =
      std::max(static_cast<std::uint64_t>(extras.GuardFewest) - 1,
               last * static_cast<std::uint64_t>(extras.GuardPercent) / 100);
  return std::max<std::uint64_t>(last - std::min(last, may_be_lost), 1);
}

}  // namespace

std::u16string StateObjection(const BackupJob& job, std::u16string_view unit, std::uint64_t files) {
  const JobExtras& extras = job.Extras;
  if (unit.empty() || !extras.GuardMirror) return {};
  const bool known = extras.StateFiles >= 0;
  const auto last = static_cast<std::uint64_t>(known ? extras.StateFiles : 0);
  std::u16string before =
      known ? u"，" + Fill(TrCountLater(u"前一份備份有 %1 個檔案"), {Grouped(last)}) : u"";
  if (files == 0) {
    const bool had_some = known ? last > 0 : !extras.Made.empty();
    return had_some ? Fill(u"來源沒有可備份的檔案：%1", {job.Source.WorkPath}) + before
                    : std::u16string();
  }
  const std::uint64_t lost = last > files ? last - files : 0;
  if (lost < static_cast<std::uint64_t>(extras.GuardFewest) ||
      lost * 100 <= last * static_cast<std::uint64_t>(extras.GuardPercent)) {
    return {};
  }
  return Fill(TrCountLater(u"可備份的檔案只有 %1 個"), {Grouped(files)}) + before;
}

bool PassStateCheck(RunContext& context, const BackupJob& job, std::u16string_view unit) {
  // A run without a single file is the worst that can come.
  if (context.Force || StateObjection(job, unit, 0).empty()) return true;
  RunPlan plan;
  plan.Depth = RunPlan::Level::Counts;
  plan.Enough = EnoughFiles(job.Extras);
  const RunCounters counters = PlanCounters(context, job, plan);
  if (context.State.CancelRequested) return false;
  // A run with failures lets nothing old go, and a part is better than nothing; an archive takes
  // the place of one of the same hour in any case.
  if (!job.Compressed && !IsComplete(counters)) return true;
  const std::u16string objection = StateObjection(job, unit, FilesOfState(counters));
  return objection.empty() || AskToGoOn(context, job, RunRefusal::Shrunk, u"舊備份防護", objection);
}

}  // namespace kavrel
