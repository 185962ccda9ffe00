#include "app/watch.h"

#include "app/job_status.h"
#include "app/run_end.h"
#include "base/number.h"
#include "base/text.h"
#include "files/error_text.h"
#include "schedule/next_run.h"

namespace kavrel {

namespace {

std::u16string GuardedText(RunRefusal refusal) {
  switch (refusal) {
    case RunRefusal::DiskAway:
      return u", a disk is not there: ";
    case RunRefusal::Shrunk:
      return u", far less would be backed up than the last time: ";
    case RunRefusal::PlaceOfOthers:
      return u", the destination may be another job's: ";
    default:
      return u", the mirror guard stopped it: ";
  }
}

}  // namespace

void WatchHost::TellNow(std::u16string_view what, std::u16string_view text, WatchLevel level) {
  std::u16string line = IsoText(around_.Clock.Now());
  (((line += u' ') += what) += u": ") += text;
  around_.Tell(level, line);
}

void WatchHost::TellPlan() {
  const BackupJob* first = nullptr;
  std::int64_t on = 0;
  for (const BackupJob& job : program_->Store.Jobs) {
    if (!job.Enabled) continue;
    ++on;
    if (NeverRuns(job, around_.Clock.Now())) {
      TellNow(u"never", job.Name + u", " + FromUtf8(kNeverRuns), WatchLevel::Warning);
      continue;
    }
    if (!first || job.NextRun < first->NextRun) first = &job;
  }
  std::u16string text =
      Decimal(on) + u" of " + Decimal(std::ssize(program_->Store.Jobs)) + u" jobs are switched on";
  if (first) text += u", the next is " + first->Name + u" at " + IsoText(first->NextRun);
  TellNow(u"watching", text);
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
  TellNow(u"stopped", u"the store and the program log are saved");
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
  TellNow(u"started", program_->Store.Jobs[static_cast<std::size_t>(job_index)].Name);
}

void WatchHost::JobEnded(std::int32_t job_index) {
  const BackupJob& job = program_->Store.Jobs[static_cast<std::size_t>(job_index)];
  const LastRunResult& result = job.LastRunResult;
  const std::u16string& why = program_->Context.Report.RefusalText;
  std::u16string text = job.Name;
  switch (program_->LastOutcome()) {
    case RunOutcome::SourceMissing:
      text += u", the source folder does not exist: " + job.Source.Path;
      if (!why.empty()) text += u" (" + why + u")";
      break;
    case RunOutcome::Guarded:
      text += GuardedText(program_->Context.Report.Refusal) + why;
      break;
    case RunOutcome::NoSpace:
      text += u", its copies do not fit on the destination: " + why;
      break;
    case RunOutcome::NoArchiver:
      text += u", no archive program is installed";
      break;
    default:
      text += u", " + Grouped(result.CopiedFiles) + u" copied, " + Grouped(result.UnchangedFiles) +
              u" unchanged, " + Grouped(result.FailedFiles) + u" failed";
      if (result.UnseenFiles > 0) {
        text += u", " + Grouped(result.UnseenFiles) + u" could not be looked at";
      }
  }
  if (const std::optional<VerifyReport>& verified = program_->LastVerification()) {
    text += (verified->Stopped ? u", verification interrupted: " : u", verified: ") +
            Grouped(verified->Counters.Equal) + u" equal, " +
            Grouped(verified->Counters.Differences()) + u" different";
  }
  text += u", next at " + IsoText(job.NextRun);
  const bool ran = program_->LastOutcome() == RunOutcome::Ran;
  const bool stopped =
      result.Stopped || (program_->LastVerification() && program_->LastVerification()->Stopped);
  const RunEnd end = EndOfBackup(*program_, job, program_->LastOutcome());
  if (ran && end.Bad) {
    const std::u16string first = FirstFailure(end.Failures->First());
    if (!first.empty()) text += u": " + first;
  }
  const WatchLevel level = !ran                 ? WatchLevel::Error
                           : end.Bad && stopped ? WatchLevel::Notice
                           : end.Bad            ? WatchLevel::Warning
                                                : WatchLevel::Info;
  TellNow(!ran ? u"not run" : stopped ? u"interrupted" : u"done", text, level);
  if (program_->Store.LastError() != 0) {
    TellNow(u"error",
            u"cannot write " + program_->Store.Path() + u": " +
                std::u16string(ApiErrorText(program_->Store.LastError())),
            WatchLevel::Error);
  }
}

void WatchHost::TimesSetRight(const BackupJob& job, DateTime was) {
  TellNow(u"clock",
          job.Name + u", next at " + IsoText(job.NextRun) + u", no longer at " + IsoText(was) +
              u": the clock was ahead",
          WatchLevel::Warning);
}

void WatchHost::PauseChanged(const std::optional<DateTime>& end) {
  if (!end) return TellNow(u"resumed", u"what is due runs");
  TellNow(u"paused", *end == kNoEnd ? u"until it is resumed" : u"until " + IsoText(*end));
}

void WatchHost::OtherVersionKept(std::u16string_view path, std::u16string_view copy) {
  std::u16string text(path);
  (text += u" was changed by somebody else, or is damaged; that version is kept as ") += copy;
  TellNow(u"kept", text, WatchLevel::Warning);
}

void WatchHost::AskPastDue(PastDueQuestion& question) {
  ProgramHost::AskPastDue(question);
  TellNow(u"overdue",
          question.JobName() + u", due at " + IsoText(question.JobStart()) + u", is backed up now",
          WatchLevel::Notice);
}

}  // namespace kavrel
