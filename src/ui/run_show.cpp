#include "ui/run_show.h"

#include <QCoreApplication>

#include "engine/states.h"
#include "ui/qt_text.h"
#include "ui/run_panel.h"
#include "ui/tray.h"

namespace kavrel {

namespace {

// How long events wait at most, and what is drawn of the run in the window and in the tray.
constexpr int kPumpEveryMs = 25, kDrawEveryMs = 100, kTellEveryMs = 1000;

bool Due(QElapsedTimer& timer, int every_ms) {
  if (timer.isValid() && timer.elapsed() < every_ms) return false;
  timer.start();
  return true;
}

}  // namespace

RunShow::RunShow(Program& program, RunPanel& panel, clsStatusBar& status_bar)
    : program_(program), panel_(panel), status_bar_(status_bar), progress_(program.Context) {}

void RunShow::Begin(std::int32_t job_index, bool restore, const RestorePick* pick,
                    std::u16string_view unit) {
  const BackupJob& job = program_.Store.Jobs[static_cast<std::size_t>(job_index)];
  job_ = NameText(job.Name);
  index_ = job_index;
  const std::u16string backup =
      unit.empty() ? program_.DestinationNow(job) : std::u16string(UnitFolder(unit));
  const std::u16string& place = pick && !pick->Target.empty() ? pick->Target : job.Source.Path;
  progress_.Begin(job, backup, restore, pick ? &pick->Paths : nullptr);
  panel_.Begin(restore ? backup : place, restore ? place : backup, progress_.ByPercent());
  // The first look at the run is not to wait.
  for (QElapsedTimer* timer : {&pumped_, &drawn_, &told_}) timer->invalidate();
}

void RunShow::End() {
  progress_.End();
  if (tray_) tray_->ShowIdle();
}

void RunShow::Note(std::uint64_t total_size, std::uint64_t bytes_done, std::uint32_t block_size) {
  panel_.SetFile(total_size, bytes_done, block_size);
  progress_.Note(total_size, bytes_done);
}

void RunShow::Pump(bool seen) {
  if (!Due(pumped_, kPumpEveryMs)) return;
  if (progress_.Running()) Draw(seen);
  QCoreApplication::processEvents();
  // The next slice is the run's alone, however long the events took.
  pumped_.start();
}

void RunShow::Draw(bool seen) {
  progress_.CountOn();
  if (!Due(drawn_, kDrawEveryMs)) return;
  const bool tell = tray_ && Due(told_, kTellEveryMs);
  if (!seen && !tell) return;
  const RunFigures figures = progress_.Figures();
  if (tell) tray_->ShowRunning(job_, figures.Percent);
  if (!seen) return;
  panel_.Draw(figures);
  const QString text = panel_.FileText();
  if (!text.isEmpty()) status_bar_.SetText(0, text);
}

}  // namespace kavrel
