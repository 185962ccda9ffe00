#include "engine/refusal.h"

#include "base/translation.h"
#include "platform/trace.h"

namespace kavrel {

bool AskToGoOn(RunContext& context, const BackupJob& job, RunRefusal refusal,
               std::u16string_view title, std::u16string_view matter) {
  const bool go_on =
      context.Host.AskGoOn({std::u16string(title), job.Name, std::u16string(matter)});
  Trace("guard", {job.Name, u": ", title, u": ", matter, go_on ? u": goes on" : u": stops"});
  context.LogTimed(Fill(go_on ? u": %1 (繼續)：%2" : u": %1 (中斷)：%2", {title, matter}));
  if (go_on && (refusal == RunRefusal::DiskAway || refusal == RunRefusal::Shrunk)) {
    context.Report.Agreed = true;
  }
  if (!go_on) {
    context.Report.Refusal = refusal;
    context.Report.RefusalText = matter;
    context.Report.Failures.Note(Fill(u"%1 (中斷)", {title}), matter);
  }
  return go_on;
}

RunOutcome OutcomeOf(const RunReport& report) {
  if (report.Refusal == RunRefusal::None) return RunOutcome::Ran;
  return report.Refusal == RunRefusal::NoSpace ? RunOutcome::NoSpace : RunOutcome::Guarded;
}

}  // namespace kavrel
