#include "app/named_runs.h"

#include "base/number.h"

namespace kavrel {

namespace {

std::u16string TroubleOf(ExitCode code, RunOutcome outcome, const BackupJob& job,
                         const RunCounters& counters, std::u16string_view refusal) {
  switch (code) {
    case kSourceMissing:
      return u"找不到來源資料夾 " + job.Source.Path;
    case kBadInput:
      return u"找不到 7-Zip 程式";
    case kGuarded:
    case kNoSpace:
      return std::u16string(refusal);
    case kInterrupted:
      return outcome == RunOutcome::NotStarted ? u"沒有執行" : u"備份中斷";
    default:
      return u"失敗 " + Grouped(counters.FailedFiles + counters.UnseenFiles) + u" 個檔案";
  }
}

}  // namespace

void NamedRuns::Note(ExitCode code, std::u16string trouble) {
  code_ = Graver(code_, code);
  troubles_.push_back(std::move(trouble));
}

void NamedRuns::NoSuchJob(std::u16string_view name) {
  Note(kNoSuchJob, u"找不到排程「" + std::u16string(name) + u"」");
}

void NamedRuns::Ran(RunOutcome outcome, const BackupJob& job, const RunCounters& counters,
                    std::u16string_view refusal, const VerifyReport* verified) {
  const std::u16string name = u"「" + job.Name + u"」：";
  const ExitCode code = CodeOfRun(outcome, job, counters);
  if (code != kDone) Note(code, name + TroubleOf(code, outcome, job, counters, refusal));
  if (!verified) return;
  const ExitCode verify_code = CodeOfVerification(*verified);
  if (verify_code == kGuarded) Note(verify_code, name + std::u16string(refusal));
  if (verify_code == kInterrupted) Note(verify_code, name + u"驗證中斷");
  if (verify_code == kSomeFailed) {
    Note(verify_code, name + u"驗證有 " + Grouped(verified->Counters.Differences()) + u" 個差異");
  }
}

void NamedRuns::StoreFailed(std::u16string_view path, std::u16string_view reason) {
  Note(kSomeFailed, std::u16string(path) + u"：" + std::u16string(reason));
}

}  // namespace kavrel
