#include <algorithm>
#include <cstdio>

#include "base/number.h"
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "files/size_text.h"
#include "platform/process.h"

namespace kavrel {

ExitCode ReportVerification(Session& session, const VerifyReport& report, const BackupJob& job) {
  const std::string name = Printable(job.Name);
  const std::u16string folder = ExpandedDestination(job, session.Clock());
  const ExitCode code = CodeOfVerification(report);
  switch (report.Outcome) {
    case RunOutcome::SourceMissing:
      PrintError(name + ": there is nothing to compare: " + Printable(job.Source.Path) + ", " +
                 Printable(folder));
      return code;
    case RunOutcome::NothingPicked:
      PrintError(name + ": there is no such archive in " + Printable(folder));
      return code;
    case RunOutcome::NoArchiver:
      PrintError(name + ": no archive program is installed; the Debian package is 7zip");
      return code;
    case RunOutcome::NotStarted:
      return code;
    case RunOutcome::Guarded:
      PrintError(name +
                 ": a disk is not there, nothing was compared: " + Printable(report.RefusalText));
      return code;
    default:
      break;
  }
  const VerifyCounters& found = report.Counters;
  std::u16string text = job.Name + (report.Stopped ? u"：驗證中斷\n" : u"：驗證完成\n");
  const auto line = [&](std::u16string_view label, std::u16string_view value) {
    ((((text += u"  ") += label) += value) += u"\n");
  };
  line(u"內容相同檔案總計　：", Grouped(found.Equal));
  line(u"缺少檔案總計　　　：", Grouped(found.Missing));
  line(u"尚未備份變更總計　：", Grouped(found.Changed));
  line(u"內容損壞檔案總計　：", Grouped(found.Damaged));
  line(u"多出項目總計　　　：", Grouped(found.Extra));
  line(u"無法讀取檔案總計　：", Grouped(found.Unreadable));
  line(u"完成驗證容量總計　：", FormatSize(report.Bytes, SizeMode::Both));
  line(u"日誌檔名稱　　　　：", report.LogPath);
  std::printf("%s", Printable(text, true).c_str());
  std::fflush(stdout);
  return code;
}

int VerifyJob(Session& session, const std::string& name, const std::string& archive) {
  RaiseOpenFileLimit();
  WatchForInterrupt();
  if (!session.Open(u"kavrelctl verify")) return kBadInput;
  const BackupJob* job = session.FindJob(name);
  if (!job) return kNoSuchJob;
  const VerifyReport report =
      session.Program().VerifyJobNow(job->JobIndex, [&](const std::vector<ArchiveFile>& archives) {
        return PickArchive(archives, FromUtf8(archive));
      });
  return ReportVerification(session, report, *job);
}

}  // namespace kavrel
