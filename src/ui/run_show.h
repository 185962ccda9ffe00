// How a run is shown: in the panel, in the status bar and in the tray.
#pragma once

#include <QElapsedTimer>
#include <QString>
#include <string_view>

#include "app/program.h"
#include "app/run_progress.h"
#include "ui/controls/cls_status_bar.h"

namespace kavrel {

class RunPanel;
class Tray;

/// A run calls this several times for each of its files; what costs time is done a few times a
/// second only.
class RunShow {
 public:
  /// All outlive this.
  RunShow(Program& program, RunPanel& panel, clsStatusBar& status_bar);

  void SetTray(Tray* tray) { tray_ = tray; }
  /// The job of this position runs from now on; of a restore, what was
  /// picked, if anything was, and of which state.
  void Begin(std::int32_t job_index, bool restore, const RestorePick* pick = nullptr,
             std::u16string_view unit = {});
  /// The run, or the batch, is over.
  void End();
  /// The position of the job at work; -1 when there is none.
  std::int32_t Job() const { return progress_.Running() ? index_ : -1; }

  /// The file at work.
  void Note(std::uint64_t total_size, std::uint64_t bytes_done, std::uint32_t block_size);
  /// Draws what there is to draw and handles the events of the windows, when it is time to.
  /// `seen` tells that somebody can see the window.
  void Pump(bool seen);

 private:
  void Draw(bool seen);

  Program& program_;
  RunPanel& panel_;
  clsStatusBar& status_bar_;
  Tray* tray_ = nullptr;
  RunProgress progress_;
  QElapsedTimer pumped_, drawn_, told_;
  QString job_;
  std::int32_t index_ = -1;
};

}  // namespace kavrel
