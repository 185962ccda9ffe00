#include "app/watch.h"

#include "app/job_status.h"
#include "app/run_end.h"
#include "base/screen_format.h"
#include "base/text.h"
#include "base/translation.h"
#include "files/error_text.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {

std::string Count(std::int64_t count) {
  return ToUtf8(ScreenNumber(static_cast<std::uint64_t>(count)));
}

/// Times within a line are like the one that it begins with.
std::string When(DateTime time) {
  return ToUtf8(IsoText(time));
}

const char* GuardedText(RunRefusal refusal) {
  switch (refusal) {
    case RunRefusal::DiskAway:
      return TrLater("not run: %1, a disk is not there: %2");
    case RunRefusal::Shrunk:
      return TrLater("not run: %1, far less would be backed up than the last time: %2");
    case RunRefusal::PlaceOfOthers:
      return TrLater("not run: %1, the destination may be another job's: %2");
    case RunRefusal::ChangeGuard:
      return TrLater("not run: %1, files look encrypted: %2");
    default:
      return TrLater("not run: %1, the mirror guard stopped it: %2");
  }
}

std::string NotRunText(const BackupJob& job, const RunReport& report) {
  const std::string name = ToUtf8(ShownName(job.Name)), source = ToUtf8(job.Source.Path),
                    why = ToUtf8(Shown(report.RefusalText));
  switch (report.Outcome) {
    case RunOutcome::SourceMissing:
      return Fill(
          Tr(why.empty() ? TrLater("not run: %1, the source folder does not exist: %2")
                         : TrLater("not run: %1, the source folder does not exist: %2 (%3)")),
          {name, source, why});
    case RunOutcome::Guarded:
      return Fill(Tr(GuardedText(report.Refusal)), {name, why});
    case RunOutcome::NoSpace:
      return Fill(Tr("not run: %1, its copies do not fit on the destination: %2"), {name, why});
    case RunOutcome::NoArchiver:
      return Fill(Tr("not run: %1, no archive program is installed"), {name});
    default:
      return Fill(Tr("not run: %1"), {name});
  }
}

std::string RunText(const BackupJob& job, bool stopped) {
  const LastRunResult& result = job.LastRunResult;
  std::string text =
      Fill(Tr(stopped ? TrLater("interrupted: %1, %2 copied, %3 unchanged, %4 failed")
                      : TrLater("done: %1, %2 copied, %3 unchanged, %4 failed")),
           {ToUtf8(ShownName(job.Name)), Count(result.CopiedFiles), Count(result.UnchangedFiles),
            Count(result.FailedFiles)});
  if (result.UnseenFiles > 0) {
    text += Fill(Tr(", %1 could not be looked at"), {Count(result.UnseenFiles)});
  }
  return text;
}

std::string VerifiedText(const VerifyReport& report) {
  return Fill(Tr(report.Stopped ? TrLater(", verification interrupted: %1 equal, %2 different")
                                : TrLater(", verified: %1 equal, %2 different")),
              {Count(report.Counters.Equal), Count(report.Counters.Differences())});
}

}  // namespace

void WatchHost::TellNow(std::string_view text, WatchLevel level) {
  around_.Tell(level, IsoText(around_.Time.Now()) + u" " + FromUtf8(text));
}

void WatchHost::TellPlan() {
  const BackupJob* first = nullptr;
  std::int64_t on = 0;
  for (const BackupJob& job : program_->Store.Jobs) {
    if (!job.Enabled) continue;
    ++on;
    if (NeverRuns(job, around_.Time.Now())) {
      TellNow(Fill(Tr("never: %1, %2"), {ToUtf8(ShownName(job.Name)), Tr(kNeverRuns)}),
              WatchLevel::Warning);
      continue;
    }
    if (!first || job.NextRun < first->NextRun) first = &job;
  }
  std::string text = Fill(Tr("watching: %1 of %2 jobs are switched on"),
                          {Count(on), Count(std::ssize(program_->Store.Jobs))});
  if (first) {
    text +=
        Fill(Tr(", the next is %1 at %2"), {ToUtf8(ShownName(first->Name)), When(first->NextRun)});
  }
  TellNow(text);
}

bool WatchHost::Run(kavrel::Program& program) {
  program_ = &program;
  if (!program.Start({})) return false;
  TellPlan();
  // A tick that ended by itself always sets the timer again, unless it was cancelled; that is when
  // the end has come.
  while (timer_on_ && !around_.Interrupted()) {
    around_.Wait(interval_);
    if (!around_.Interrupted()) program.Tick();
  }
  program.Shutdown();
  TellNow(Tr("stopped: the store and the program log are saved"));
  return true;
}

void WatchHost::PumpMessages() {
  if (around_.Interrupted()) program_->State.CancelRequested = true;
}

int WatchHost::ApiFileCopyCallback(std::uint64_t, std::uint64_t, std::uint32_t, std::uint64_t,
                                   std::uint64_t, std::uint32_t) {
  PumpMessages();
  return program_->State.CancelRequested ? 1 : 0;
}

void WatchHost::SetTickTimer(bool on, std::uint32_t milliseconds) {
  timer_on_ = on;
  interval_ = milliseconds;
}

void WatchHost::JobStarting(std::int32_t job_index, DateTime) {
  const BackupJob& job = program_->Store.Jobs[static_cast<std::size_t>(job_index)];
  TellNow(Fill(Tr("started: %1"), {ToUtf8(ShownName(job.Name))}));
}

void WatchHost::JobEnded(std::int32_t job_index) {
  const BackupJob& job = program_->Store.Jobs[static_cast<std::size_t>(job_index)];
  const RunReport& report = program_->Context.Report;
  const std::optional<VerifyReport>& verified = program_->LastVerification();
  const bool ran = report.Outcome == RunOutcome::Ran;
  const bool stopped = job.LastRunResult.Stopped || (verified && verified->Stopped);
  std::string text = ran ? RunText(job, stopped) : NotRunText(job, report);
  if (verified) text += VerifiedText(*verified);
  text += Fill(Tr(", next at %1"), {When(job.NextRun)});
  const RunEnd end = EndOfBackup(*program_, job, report.Outcome);
  if (ran && end.Bad) {
    const std::u16string first = FirstFailure(end.Failures->First());
    if (!first.empty()) text += ": " + ToUtf8(Shown(first));
  }
  TellNow(text, !ran                 ? WatchLevel::Error
                : end.Bad && stopped ? WatchLevel::Notice
                : end.Bad            ? WatchLevel::Warning
                                     : WatchLevel::Info);
  if (const ErrorCode error = program_->Store.LastError()) {
    TellNow(Fill(Tr("error: cannot write %1: %2"),
                 {ToUtf8(program_->Store.Path()), ToUtf8(Shown(ApiErrorText(error)))}),
            WatchLevel::Error);
  }
}

void WatchHost::TimesSetRight(const BackupJob& job, DateTime was) {
  TellNow(Fill(Tr("clock: %1, next at %2, no longer at %3: the clock was ahead"),
               {ToUtf8(ShownName(job.Name)), When(job.NextRun), When(was)}),
          WatchLevel::Warning);
}

void WatchHost::PauseChanged(const std::optional<DateTime>& end) {
  if (!end) return TellNow(Tr("resumed: what is due runs"));
  if (*end == kNoEnd) return TellNow(Tr("paused: until it is resumed"));
  TellNow(Fill(Tr("paused: until %1"), {When(*end)}));
}

void WatchHost::CareEnded(const BackupJob& job, const VerifyReport& report, bool drill) {
  const std::uint32_t differences = report.Counters.Differences();
  TellNow(Fill(Tr(drill ? TrLater("test restore: %1, %2 as they were, %3 not")
                        : TrLater("read again: %1, %2 equal, %3 different")),
               {ToUtf8(ShownName(job.Name)), Count(report.Counters.Equal), Count(differences)}),
          differences > 0 ? WatchLevel::Warning : WatchLevel::Info);
}

void WatchHost::OtherVersionKept(std::u16string_view path, std::u16string_view copy) {
  TellNow(
      Fill(Tr("kept: %1 was changed by somebody else, or is damaged; that version is kept as %2"),
           {ToUtf8(path), ToUtf8(copy)}),
      WatchLevel::Warning);
}

void WatchHost::AskPastDue(PastDueQuestion& question) {
  ProgramHost::AskPastDue(question);
  TellNow(Fill(Tr("overdue: %1, due at %2, is backed up now"),
               {ToUtf8(ShownName(question.JobName())), When(question.JobStart())}),
          WatchLevel::Notice);
}

}  // namespace kavrel
