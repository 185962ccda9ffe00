#include "cli/console_host.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/console.h"
#include "cli/json_text.h"
#include "cli/verified_line.h"
#include "platform/process.h"

namespace kavrel {

namespace {
constexpr std::uint64_t kRedrawAfter = 100, kPrintAfter = 500;  // milliseconds

nlohmann::json IfKnown(bool known, std::uint64_t number) {
  return known ? nlohmann::json(number) : nlohmann::json();
}
nlohmann::json IfKnown(std::int64_t number) {
  return IfKnown(number >= 0, static_cast<std::uint64_t>(number));
}
}  // namespace

ConsoleHost::ConsoleHost(Clock& clock, const OutputChoice& output)
    : clock_(clock),
      mode_(output.Progress),
      shown_(mode_ == ProgressMode::Json ||
             (mode_ == ProgressMode::Auto && IsTerminal() && !output.Quiet && !output.Json)),
      verbose_(output.Verbose) {}

void ConsoleHost::Attach(Program& program) {
  state_ = &program.State;
  program_ = &program;
  if (shown_) progress_ = std::make_unique<RunProgress>(program.Context);
}

void ConsoleHost::PumpMessages() {
  if (state_ && InterruptRequested()) state_->CancelRequested = true;
  if (!progress_ || !progress_->Running()) return;
  const std::uint64_t now = clock_.TickCount();
  progress_->CountOn();
  if (now - drawn_at_ < (mode_ == ProgressMode::Json ? kPrintAfter : kRedrawAfter)) return;
  drawn_at_ = now;
  const RunFigures figures = progress_->Figures();
  if (mode_ == ProgressMode::Json) {
    PrintObject(figures);
  } else {
    DrawLine(figures);
  }
}

void PrintVerified(std::u16string_view path) {
  std::printf("%s  %s\n", Printable(TrCell(u"驗證")).c_str(), Printable(path).c_str());
}

int ConsoleHost::ApiFileCopyCallback(std::uint64_t total_size, std::uint64_t bytes_done,
                                     std::uint32_t, std::uint64_t, std::uint64_t, std::uint32_t) {
  if (progress_) progress_->Note(total_size, bytes_done);
  PumpMessages();
  return state_ && state_->CancelRequested ? 1 : 0;
}

void ConsoleHost::DrawCaptions(std::u16string_view source_folder, std::u16string_view,
                               std::u16string_view file_name) {
  if (names_files_) {
    ClearLine();
    const std::u16string path = std::u16string(source_folder) + std::u16string(file_name);
    PrintVerified(path);
  }
  if (!progress_) return;
  folder_ = source_folder;
  file_ = file_name;
}

void ConsoleHost::Begin(const BackupJob& job, const char* what) {
  job_ = job.Name;
  what_ = what;
  folder_.clear();
  file_.clear();
  drawn_at_ = clock_.TickCount();
  at_work_ = false;
}

void ConsoleHost::BeginRestore(const BackupJob& job, std::u16string_view backup,
                               const RestorePick* pick) {
  if (!progress_) return;
  progress_->Begin(job, backup, true, pick ? &pick->Paths : nullptr);
  Begin(job, "restore");
}

void ConsoleHost::JobStarting(std::int32_t job_index, DateTime) {
  const BackupJob& job = program_->Store.Jobs[static_cast<std::size_t>(job_index)];
  names_files_ = false;
  if (Starting) Starting(job);
  if (!progress_) return;
  progress_->Begin(job, program_->DestinationNow(job), false);
  Begin(job, "backup");
}

void ConsoleHost::JobEnded(std::int32_t) {
  End();
}

void ConsoleHost::VerificationStarting(const BackupJob& job, std::u16string_view backup) {
  // An archiver names only some of the files that it tests.
  names_files_ = verbose_ && !job.Compressed;
  if (!progress_) return;
  End();
  progress_->BeginVerification(job, backup);
  Begin(job, "verification");
}

void ConsoleHost::End() {
  if (!progress_ || !progress_->Running()) return;
  if (mode_ == ProgressMode::Json) PrintObject(progress_->Figures());
  progress_->End();
  ClearLine();
}

void ConsoleHost::ClearLine() {
  if (!line_shown_) return;
  std::printf("\r\x1b[K");
  std::fflush(stdout);
  line_shown_ = false;
}

void ConsoleHost::PrintObject(const RunFigures& figures) const {
  const bool known = figures.TotalKnown;
  const std::u16string path = folder_ + file_;
  PrintJsonLine({{"event", "progress"},
                 {"name", JsonText(job_)},
                 {"kind", what_},
                 {"files", figures.FilesDone},
                 {"files_total", IfKnown(known, figures.FilesTotal)},
                 {"bytes", figures.BytesDone},
                 {"bytes_total", IfKnown(known, figures.BytesTotal)},
                 {"percent", IfKnown(figures.Percent)},
                 {"bytes_per_second", IfKnown(figures.BytesPerSecond)},
                 {"seconds_left", IfKnown(figures.SecondsLeft)},
                 {"file", JsonTextOrNull(JsonText(file_.empty() ? file_ : path))}});
}

void ConsoleHost::DrawLine(const RunFigures& figures) {
  std::u16string line = ShownName(job_) + u"  ";
  if (!figures.ByPercent && figures.Percent >= 0) line += Decimal(figures.Percent) + u" %  ";
  line += Shown(ProgressText(figures));
  // The terminal may have been made smaller or larger since.
  const std::size_t width = TerminalWidth() - 1;
  const std::size_t used = DisplayWidth(line) + 2;
  if (used + 8 < width) {
    line += u"  " + CutToWidth(FromUtf8(Printable(file_)), width - used);
  }
  std::printf("\r%s\x1b[K", Printable(CutToWidth(line, width)).c_str());
  std::fflush(stdout);
  line_shown_ = true;
}

void ConsoleHost::ShowRunPanels(bool show) {
  // A run hides the panels of the one before first of all.
  if (!show && at_work_) End();
  at_work_ = show;
}

void ConsoleHost::TimesSetRight(const BackupJob& job, DateTime was) {
  PrintError(Fill(Tr("the clock was ahead: %1 is next due at %2, no longer at %3"),
                  {PrintableName(job.Name), ToUtf8(IsoText(job.NextRun)), ToUtf8(IsoText(was))}));
}

void ConsoleHost::OtherVersionKept(std::u16string_view path, std::u16string_view copy) {
  PrintError(Fill(Tr("%1 was changed by somebody else, or is damaged; that version is kept as %2"),
                  {Printable(path), Printable(copy)}));
}

}  // namespace kavrel
