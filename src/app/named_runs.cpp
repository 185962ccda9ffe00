#include "app/named_runs.h"

#include "base/number.h"
#include "base/translation.h"

namespace kavrel {

namespace {

std::u16string TroubleOf(ExitCode code, const RunReport& report, const BackupJob& job) {
  switch (code) {
    case kSourceMissing:
      return Fill(u"找不到來源資料夾 %1", {job.Source.Path});
    case kNoArchiveProgram:
      return std::u16string(kNoArchiverText);
    case kNoPlace:
      return u"目標資料夾不存在，也無法建立：" + job.Destination.WorkPath;
    case kGuarded:
    case kNoSpace:
      return report.RefusalText;
    case kInterrupted:
      return report.Outcome == RunOutcome::NotStarted ? u"沒有執行" : u"備份中斷";
    default:
      if (IsComplete(report.Counters) && !report.Alarm.empty()) return report.Alarm;
      return Fill(TrCountLater(u"失敗 %1 個檔案"),
                  {Grouped(report.Counters.FailedFiles + report.Counters.UnseenFiles)});
  }
}

}  // namespace

void NamedRuns::Note(ExitCode code, std::u16string trouble) {
  code_ = Graver(code_, code);
  troubles_.push_back(std::move(trouble));
}

void NamedRuns::NoSuchJob(std::u16string_view name) {
  Note(kNoSuchJob, Fill(u"找不到排程「%1」", {name}));
}

void NamedRuns::Ran(const RunContext& context, const BackupJob& job) {
  const RunReport& report = context.Report;
  const std::u16string name = u"「" + job.Name + u"」：";
  const ExitCode code = CodeOfBackup(context, job);
  if (code != kDone) Note(code, name + TroubleOf(code, report, job));
  const std::optional<VerifyReport>& verified = report.Verification;
  if (!verified) return;
  const ExitCode verify_code = CodeOfVerification(*verified);
  if (verify_code == kGuarded) Note(verify_code, name + verified->RefusalText);
  if (verify_code == kInterrupted) Note(verify_code, name + u"驗證中斷");
  if (verify_code == kSomeFailed) {
    Note(verify_code, name + Fill(TrCountLater(u"驗證有 %1 個差異"),
                                  {Grouped(verified->Counters.Differences())}));
  }
}

void NamedRuns::StoreFailed(std::u16string_view path, std::u16string_view reason) {
  Note(kSomeFailed, std::u16string(path) + u"：" + std::u16string(reason));
}

}  // namespace kavrel
