#include "cli/run_report.h"

#include <algorithm>
#include <cstdio>

#include "base/number.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "cli/message.h"
#include "files/size_text.h"

namespace kavrel {

namespace {

constexpr std::size_t kTroublesTold = 3, kDifferencesTold = 20;

/// The words in which a backup and a restore differ.
struct RunWords {
  std::u16string_view Stopped, Done, Copied, Unchanged, Failed, Bytes;
};
constexpr RunWords kBackup = {TrLater(u"備份中斷"),
                              TrLater(u"備份完成"),
                              TrLater(u"已完成檔案總計　　："),
                              TrLater(u"備份已存在檔案總計："),
                              TrLater(u"備份失敗檔案總計　："),
                              TrLater(u"完成備份容量總計　：")};
constexpr RunWords kRestore = {TrLater(u"還原中斷"),
                               TrLater(u"還原完成"),
                               TrLater(u"已完成還原檔案總計："),
                               TrLater(u"還原已存在檔案總計："),
                               TrLater(u"已還原失敗檔案總計："),
                               TrLater(u"完成還原容量總計　：")};

/// In the largest unit, and exactly where that is another text.
std::u16string SizeShown(std::uint64_t bytes) {
  const bool small = FormatSize(bytes, SizeMode::Scaled) == FormatSize(bytes, SizeMode::Bytes);
  return Shown(FormatSize(bytes, small ? SizeMode::Bytes : SizeMode::Both));
}

/// A heading and labelled lines below it, whose values stand below each other.
class Block {
 public:
  explicit Block(std::u16string heading) : heading_(std::move(heading)) {}
  /// `label` is a text of the source.
  void Line(std::u16string_view label, std::u16string value) {
    lines_.emplace_back(TrCell(label), std::move(value));
  }
  void Say(std::u16string words) { lines_.emplace_back(std::u16string(), std::move(words)); }
  void Print() const {
    std::size_t width = 0;
    for (const auto& [label, value] : lines_) width = std::max(width, DisplayWidth(label));
    std::u16string text = heading_ + u"\n";
    for (const auto& [label, value] : lines_) {
      text += u"  " + label;
      if (!label.empty()) text.append(width - DisplayWidth(label), u' ');
      text += value + u"\n";
    }
    std::printf("%s", Printable(text, true).c_str());
    std::fflush(stdout);
  }

 private:
  std::u16string heading_;
  std::vector<std::pair<std::u16string, std::u16string>> lines_;
};

void PrintResult(const BackupJob& job, const Program& program, const RunWords& words,
                 bool no_place) {
  const RunCounters& counters = program.Context.Report.Counters;
  const LastRunResult& result = job.LastRunResult;
  Block block(ShownName(job.Name) + std::u16string(Tr(u"：")) +
              std::u16string(Tr(result.Stopped || no_place ? words.Stopped : words.Done)));
  block.Line(TrLater(u"來源檔案總計　　　："), ScreenNumber(counters.SourceFiles));
  block.Line(words.Copied, ScreenNumber(result.CopiedFiles));
  block.Line(words.Unchanged, ScreenNumber(result.UnchangedFiles));
  block.Line(words.Failed, ScreenNumber(result.FailedFiles));
  if (counters.NewerFiles > 0)
    block.Line(TrLater(u"保留較新檔案總計　："), ScreenNumber(counters.NewerFiles));
  if (counters.UpdatedAttributes > 0) {
    block.Line(TrLater(u"更新屬性總計　　　："), ScreenNumber(counters.UpdatedAttributes));
  }
  if (result.UnseenFiles > 0)
    block.Line(TrLater(u"無法查看檔案總計　："), ScreenNumber(result.UnseenFiles));
  if (result.WarningFiles > 0)
    block.Line(TrLater(u"警告檔案總計　　　："), ScreenNumber(result.WarningFiles));
  block.Line(words.Bytes, SizeShown(result.CopiedBytes));
  const std::uint64_t removed = std::uint64_t{result.SyncDeletedFiles} + result.SyncDeletedFolders +
                                counters.RecycledFiles + counters.RecycledFolders;
  if (removed > 0) {
    block.Line(TrLater(u"同步刪除檔案總計　："), ScreenNumber(result.SyncDeletedFiles));
    block.Line(TrLater(u"同步刪除資料夾總計："), ScreenNumber(result.SyncDeletedFolders));
    block.Line(TrLater(u"資源回收筒檔案總計："), ScreenNumber(counters.RecycledFiles));
    block.Line(TrLater(u"資源回收筒目錄總計："), ScreenNumber(counters.RecycledFolders));
  }
  block.Line(TrLater(u"日誌檔名稱　　　　："), program.RunLogPath());
  if (!result.Stopped && result.CopiedFiles == 0 && IsComplete(counters) && removed == 0) {
    block.Say(FromUtf8(Tr("Nothing had to be copied.")));
  }
  block.Print();
}

/// What a run that could not begin has not.
constexpr const char* kFigures[] = {
    "source_files",    "copied",         "unchanged",          "failed",  "unseen",
    "warnings",        "kept_newer",     "updated_attributes", "bytes",   "deleted_files",
    "deleted_folders", "recycled_files", "recycled_folders",   "log_file"};

void AddFigures(nlohmann::json& run, const BackupJob& job, const Program& program) {
  const RunCounters& counters = program.Context.Report.Counters;
  const LastRunResult& result = job.LastRunResult;
  run["source_files"] = counters.SourceFiles;
  run["copied"] = result.CopiedFiles;
  run["unchanged"] = result.UnchangedFiles;
  run["failed"] = result.FailedFiles;
  run["unseen"] = result.UnseenFiles;
  run["warnings"] = result.WarningFiles;
  run["kept_newer"] = counters.NewerFiles;
  run["updated_attributes"] = counters.UpdatedAttributes;
  run["bytes"] = result.CopiedBytes;
  run["deleted_files"] = result.SyncDeletedFiles;
  run["deleted_folders"] = result.SyncDeletedFolders;
  run["recycled_files"] = counters.RecycledFiles;
  run["recycled_folders"] = counters.RecycledFolders;
  run["log_file"] = JsonTextOrNull(JsonText(program.RunLogPath()));
}

/// Why a guard stopped the run, and what to do where it was meant.
Message GuardedText(const RunContext& context) {
  const Message why = Message::OfCore(context.Report.RefusalText);
  switch (context.Report.Refusal) {
    case RunRefusal::DiskAway:
      return Say(
          "a disk is not there, nothing was changed: %1; --force runs it all the same, edit "
          "--adopt takes the disks as they are",
          {why});
    case RunRefusal::Shrunk:
      return Say(
          "far less would be backed up than the last time, nothing was changed: %1; --force "
          "runs it all the same, edit --adopt takes the source as it is",
          {why});
    case RunRefusal::PlaceOfOthers:
      return Say(
          "it may be another job's backup, nothing was changed: %1; --force goes on all the "
          "same, edit --adopt makes the place this job's",
          {why});
    case RunRefusal::ChangeGuard:
      return Say(
          "files look encrypted that would take the place of good copies: %1; --force runs it all "
          "the same",
          {why});
    default:
      return Say(
          "the mirror guard stopped the run before it removed anything: %1; --force runs it "
          "all the same",
          {why});
  }
}

struct KindOfDifference {
  std::uint32_t VerifyCounters::*Counter;
  std::string_view Word;
  std::u16string_view Label, Name;
};
constexpr KindOfDifference kKinds[] = {
    {&VerifyCounters::Missing, "missing", TrLater(u"缺少檔案總計　　　："), TrLater(u"缺少")},
    {&VerifyCounters::Changed, "changed", TrLater(u"尚未備份變更總計　："),
     TrLater(u"尚未備份變更")},
    {&VerifyCounters::Damaged, "damaged", TrLater(u"內容損壞檔案總計　："), TrLater(u"內容損壞")},
    {&VerifyCounters::Extra, "extra", TrLater(u"多出項目總計　　　："), TrLater(u"多出")},
    {&VerifyCounters::Unreadable, "unreadable", TrLater(u"無法讀取檔案總計　："),
     TrLater(u"無法讀取")}};

const KindOfDifference& KindOf(const VerifyDifference& difference) {
  for (const KindOfDifference& kind : kKinds) {
    if (kind.Counter == difference.Kind) return kind;
  }
  return kKinds[0];
}

std::u16string_view VerifiedWord(std::string_view kind, bool stopped) {
  if (kind == "drill") return stopped ? Tr(u"試行還原中斷") : Tr(u"試行還原完成");
  if (kind == "scrub") return stopped ? Tr(u"重讀備份中斷") : Tr(u"重讀備份完成");
  return stopped ? Tr(u"驗證中斷") : Tr(u"驗證完成");
}

void PrintVerification(const VerifyReport& report, const BackupJob& job, std::string_view what) {
  Block block(ShownName(job.Name) + std::u16string(Tr(u"：")) +
              std::u16string(VerifiedWord(what, report.Stopped)));
  block.Line(TrLater(u"內容相同檔案總計　："), ScreenNumber(report.Counters.Equal));
  for (const KindOfDifference& kind : kKinds) {
    block.Line(kind.Label, ScreenNumber(report.Counters.*kind.Counter));
  }
  if (report.Mended > 0) {
    block.Line(TrLater(u"已修復檔案總計　　："), ScreenNumber(report.Mended));
  }
  block.Line(TrLater(u"完成驗證容量總計　："), SizeShown(report.Bytes));
  block.Line(TrLater(u"日誌檔名稱　　　　："), report.LogPath);
  block.Print();
}

}  // namespace

Message WithAway(const Message& message, const RunReport& report) {
  if (report.RefusalText.empty()) return message;
  return Message("%1 (%2)", {message, Message::OfCore(report.RefusalText)});
}

std::string_view ResultWord(ExitCode code) {
  switch (code) {
    case kDone:
      return "ok";
    case kInterrupted:
      return "interrupted";
    case kSourceMissing:
      return "source-missing";
    case kGuarded:
      return "guarded";
    case kNoSpace:
      return "no-space";
    case kNoArchiveProgram:
      return "no-archive-program";
    case kNoPlace:
      return "no-place";
    default:
      return "some-failed";
  }
}

RunReports::RunReports(Session& session, OutputChoice output)
    : session_(session), output_(std::move(output)), ended_(session.Clock().TickCount()) {}

nlohmann::json RunReports::Begin(const BackupJob& job, std::string_view kind, ExitCode code) {
  const std::uint64_t now = session_.Clock().TickCount(), before = std::exchange(ended_, now);
  return {{"name", JsonText(job.Name)}, {"kind", kind},
          {"result", ResultWord(code)}, {"exit_code", static_cast<int>(code)},
          {"reason", nullptr},          {"seconds", static_cast<double>(now - before) / 1000}};
}

void RunReports::Trouble(nlohmann::json& run, const BackupJob& job, const Message& why) {
  PrintError(PrintableName(job.Name) + ": " + why.Shown());
  if (run["reason"].is_null()) run["reason"] = why.Source();
}

void RunReports::TellFailures(nlohmann::json& run, const BackupJob& job) {
  Program& program = session_.Program();
  const std::uint32_t failed = job.LastRunResult.FailedFiles + job.LastRunResult.UnseenFiles;
  if (failed == 0) return;
  const std::vector<RunFailure>& failures = program.Context.Report.Failures.First();
  for (std::size_t i = 0; i < failures.size(); ++i) {
    const RunFailure& trouble = failures[i];
    if (output_.Json) {
      run["troubles"].push_back({{"what", JsonReason(trouble.What)},
                                 {"path", JsonText(trouble.Path)},
                                 {"reason", JsonReason(trouble.Reason)}});
    }
    if (i >= kTroublesTold) continue;
    Trouble(run, job,
            Message(trouble.Reason.empty() ? "%1 %2" : "%1 %2 (%3)",
                    {Message::OfCore(trouble.What), Printable(trouble.Path),
                     Message::OfCore(trouble.Reason)}));
  }
  if (failed > kTroublesTold && !failures.empty()) {
    PrintError(Fill(Tr("%1: the log tells of the others: %2"),
                    {PrintableName(job.Name), Printable(program.RunLogPath())}));
  }
}

void RunReports::TellAlarm(nlohmann::json& run, const BackupJob& job) {
  const std::u16string& alarm = session_.Program().Context.Report.Alarm;
  if (alarm.empty()) return;
  Trouble(run, job,
          Say("%1; edit --change-guard accept ends the alarm where that was meant",
              {Message::OfCore(alarm)}));
}

void RunReports::TellRecovery(nlohmann::json& run, const BackupJob& job) {
  const std::u16string& why = session_.Program().Context.Report.NoRecovery;
  if (why.empty()) return;
  run["recovery_failed"] = JsonReason(why);
  PrintError(Fill(Tr("%1: the archive has no recovery data: %2"),
                  {PrintableName(job.Name), Printable(Shown(why))}));
}

ExitCode RunReports::Run(RunOutcome outcome, const BackupJob& job, bool restore,
                         const Message& missing) {
  Program& program = session_.Program();
  const ExitCode code =
      restore ? CodeOfRestore(program.Context, job) : CodeOfBackup(program.Context, job);
  nlohmann::json run = Begin(job, restore ? "restore" : "backup", code);
  run["source"] = JsonText(job.Source.WorkPath);
  run["destination"] = JsonText(job.Destination.WorkPath);
  run["troubles"] = nlohmann::json::array();
  for (const char* figure : kFigures) run[figure] = nullptr;
  if (!restore) run["started"] = JsonTime(job.RunStarted);
  if (!restore) run["next_run"] = JsonTime(job.NextRun);
  if (!restore) run["recovery_failed"] = nullptr;
  const bool took_place = outcome == RunOutcome::Guarded || outcome == RunOutcome::NoSpace ||
                          outcome == RunOutcome::Ran;
  if (took_place) {
    AddFigures(run, job, program);
    if (AsText()) PrintResult(job, program, restore ? kRestore : kBackup, code == kNoPlace);
    if (program.Log.Failed()) {
      Trouble(run, job, Say("no log could be written: %1", {Printable(program.Log.CurrentPath())}));
    }
  }
  switch (outcome) {
    case RunOutcome::SourceMissing:
    case RunOutcome::NothingPicked:
      Trouble(run, job, missing);
      break;
    case RunOutcome::NoArchiver:
      Trouble(run, job, Message(kNoArchiverReason));
      break;
    case RunOutcome::NotStarted:
      break;
    case RunOutcome::Guarded:
      Trouble(run, job, GuardedText(program.Context));
      break;
    case RunOutcome::NoSpace:
      Trouble(run, job,
              Say("the copies do not fit on the destination, nothing was copied; --force runs it "
                  "all the same"));
      break;
    case RunOutcome::Ran:
      if (restore && program.Context.Report.WrongPassword) {
        run["result"] = "wrong-password";
        Trouble(run, job, Message(kWrongPasswordText));
      } else if (code == kNoPlace) {
        Trouble(run, job,
                Say("the destination does not exist and cannot be made: %1",
                    {Printable(job.Destination.WorkPath)}));
        TellFailures(run, job);
      } else {
        TellFailures(run, job);
        TellAlarm(run, job);
        TellRecovery(run, job);
        if (code == kInterrupted && output_.Quiet) Trouble(run, job, Say("interrupted"));
      }
  }
  runs_.push_back(std::move(run));
  return code;
}

namespace {

std::string_view SideWord(ChangedSide side) {
  if (side == ChangedSide::Unknown) return "unknown";
  return side == ChangedSide::Copy ? "copy" : "source";
}

}  // namespace

void RunReports::TellDifferences(nlohmann::json& run, const VerifyReport& report,
                                 const BackupJob& job) {
  const std::size_t told = output_.Verbose ? report.Differing.size() : kDifferencesTold;
  for (std::size_t i = 0; i < report.Differing.size(); ++i) {
    const VerifyDifference& difference = report.Differing[i];
    const KindOfDifference& kind = KindOf(difference);
    run["differences"].push_back({{"kind", kind.Word},
                                  {"path", JsonText(difference.Path)},
                                  {"side", SideWord(difference.Side)}});
    // That is told of the archive as a whole.
    if (!output_.Json && i < told && !report.WrongPassword) {
      PrintError(Printable(ShownName(job.Name) + u": " + std::u16string(Tr(kind.Name)) + u" " +
                           difference.Path));
    }
  }
  if (!output_.Json && report.Differing.size() > told) {
    PrintError(Fill(Tr("%1: the log tells of the others: %2"),
                    {PrintableName(job.Name), Printable(report.LogPath)}));
  }
}

ExitCode RunReports::Verification(const VerifyReport& report, const BackupJob& job,
                                  std::string_view what) {
  const std::u16string folder = ExpandedDestination(job, session_.Clock());
  const ExitCode code = CodeOfVerification(report);
  nlohmann::json run = Begin(job, what, code);
  run["against"] = report.BySums ? "sums" : "source";
  run["source"] = JsonText(job.Source.Path);
  run["destination"] = JsonText(folder);
  run["differences"] = nlohmann::json::array();
  for (const char* figure : {"equal", "bytes", "mended", "unlisted", "log_file"})
    run[figure] = nullptr;
  for (const KindOfDifference& kind : kKinds) run[std::string(kind.Word)] = nullptr;
  switch (report.Outcome) {
    case RunOutcome::SourceMissing:
      if (what != kVerification) {
        Trouble(run, job, Say("there is no backup: %1", {Printable(folder)}));
        break;
      }
      Trouble(run, job,
              Say("there is nothing to compare: %1, %2",
                  {Printable(job.Source.Path), Printable(folder)}));
      break;
    case RunOutcome::NothingPicked:
      Trouble(run, job,
              report.BySums ? Say("the backup has no checksums, a verification makes them: %1",
                                  {Printable(folder)})
                            : Say("there is no such archive in %1", {Printable(folder)}));
      break;
    case RunOutcome::NoArchiver:
      Trouble(run, job, Message(kNoArchiverReason));
      break;
    case RunOutcome::Guarded:
      Trouble(run, job,
              Say("a disk is not there, nothing was compared: %1",
                  {Message::OfCore(report.RefusalText)}));
      break;
    case RunOutcome::Ran:
      run["equal"] = report.Counters.Equal;
      for (const KindOfDifference& kind : kKinds) {
        run[std::string(kind.Word)] = report.Counters.*kind.Counter;
      }
      run["bytes"] = report.Bytes;
      run["mended"] = report.Mended;
      run["unlisted"] = report.Unlisted;
      run["log_file"] = JsonTextOrNull(JsonText(report.LogPath));
      if (report.BySums && what == kVerification) {
        PrintError(
            Fill(Tr("%1: the source is not there, compared with the backup's checksums instead"),
                 {PrintableName(job.Name)}));
      }
      if (report.Unlisted > 0) {
        PrintError(Fill(Tr("%1: files without a checksum, of which nothing is known: %2"),
                        {PrintableName(job.Name), std::to_string(report.Unlisted)}));
      }
      if (!report.NotMended.empty()) {
        PrintError(Fill(Tr("%1: it could not be made good: %2"),
                        {PrintableName(job.Name), Printable(Shown(report.NotMended))}));
      } else if (report.BadCopies > 0 && !report.Mends) {
        PrintError(Fill(Tr("%1: damaged, and verify --mend can try to make it good: %2"),
                        {PrintableName(job.Name), std::to_string(report.BadCopies)}));
      }
      if (AsText()) PrintVerification(report, job, what);
      TellDifferences(run, report, job);
      if (report.WrongPassword) run["result"] = "wrong-password";
      if (report.WrongPassword) Trouble(run, job, Message(kWrongPasswordText));
      break;
    default:
      break;
  }
  runs_.push_back(std::move(run));
  return code;
}

void RunReports::Print(ExitCode code) const {
  if (!output_.Json) return;
  const nlohmann::json all = {{"exit_code", static_cast<int>(code)}, {"runs", runs_}};
  if (output_.Progress == ProgressMode::Json) {
    PrintJsonLine(all);
  } else {
    PrintJson(all);
  }
}

}  // namespace kavrel
