#include <algorithm>
#include <cstdio>

#include "base/number.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "files/size_text.h"

namespace kavrel {

namespace {

void PrintResult(const BackupJob& job, const RunContext& context) {
  const LastRunResult& result = job.LastRunResult;
  std::u16string text = job.Name + u"：" + (result.Stopped ? u"備份中斷" : u"備份完成") + u"\n";
  const auto line = [&](std::u16string_view label, std::u16string_view value) {
    text += u"  ";
    text += label;
    text += value;
    text += u"\n";
  };
  line(u"來源檔案總計　　　：", Grouped(context.Counters.SourceFiles));
  line(u"已完成檔案總計　　：", Grouped(result.CopiedFiles));
  line(u"備份已存在檔案總計：", Grouped(result.UnchangedFiles));
  line(u"備份失敗檔案總計　：", Grouped(result.FailedFiles));
  if (result.WarningFiles > 0) line(u"備份警告檔案總計　：", Grouped(result.WarningFiles));
  line(u"完成備份容量總計　：", FormatSize(result.CopiedBytes, SizeMode::Both));
  line(u"日誌檔名稱　　　　：", context.Log.CurrentPath());
  if (!result.Stopped && result.CopiedFiles == 0 && result.FailedFiles == 0) {
    text += u"  Nothing had to be copied.\n";
  }
  std::printf("%s", Printable(text, true).c_str());
  std::fflush(stdout);
}

/// Runs one job and tells what came of it.
int RunOne(Session& session, std::int32_t index) {
  Program& program = session.Program();
  const RunOutcome outcome = program.RunJobNow(index);
  const BackupJob& job = program.Store.Jobs[static_cast<std::size_t>(index)];
  if (outcome == RunOutcome::SourceMissing) {
    PrintError(Printable(job.Name) +
               ": the source folder does not exist: " + Printable(job.Source.Path));
    return kSourceMissing;
  }
  if (outcome == RunOutcome::NotStarted) return kInterrupted;
  PrintResult(job, program.Context);
  if (program.Log.Failed()) {
    PrintError("no log could be written: " + Printable(program.Log.CurrentPath()));
  }
  if (program.Store.LastError() != 0) session.Save();
  if (job.LastRunResult.Stopped) return kInterrupted;
  return job.LastRunResult.FailedFiles > 0 ? kSomeFailed : kDone;
}

/// How grave an exit code is, beside others of the same command.
int Gravity(int code) {
  constexpr int kGravity[] = {0, 1, 2, 2, 4, 3};
  return kGravity[code];
}

}  // namespace

int RunJobs(Session& session, const std::vector<std::string>& names) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  if (!session.Open(u"kavrelctl run")) return kBadInput;
  std::vector<std::int32_t> jobs;
  bool all_found = true;
  for (const std::string& name : names) {
    const BackupJob* job = session.FindJob(name);
    all_found = all_found && job;
    if (job) jobs.push_back(job->JobIndex);
  }
  if (!all_found) return kNoSuchJob;
  int worst = kDone;
  for (const std::int32_t index : jobs) {
    const int code = InterruptRequested() ? kInterrupted : RunOne(session, index);
    if (Gravity(code) > Gravity(worst)) worst = code;
    if (code == kInterrupted) break;
  }
  return worst;
}

}  // namespace kavrel
