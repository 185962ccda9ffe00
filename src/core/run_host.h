// What shows a run: the main window, a terminal, or a test's recorder.
#pragma once

#include <cstdint>
#include <string>

#include "files/progress_sink.h"

namespace kavrel {

/// What a run asks in its midst.
struct RunQuestion {
  std::u16string Title, JobName;
  std::u16string Text;  ///< what is the matter, in words
};

class RunHost : public ProgressSink {
 public:
  /// Shows or hides the progress panel with its bar.
  virtual void ShowRunPanels(bool show) = 0;
  /// Sets the bar to nothing done.
  virtual void ResetProgress() = 0;
  /// Sets the bar to its end: a file was left as it is.
  virtual void FillProgress() = 0;
  /// The last-run and next-run times of the job at this position changed.
  virtual void RefreshJobRow(std::int32_t job_index) = 0;
  /// True lets the run go on. Where nobody can answer, it stops, which never loses anything.
  virtual bool AskGoOn(const RunQuestion&) { return false; }
};

/// Shows nothing, and keeps alive what shows something else meanwhile.
class QuietHost : public RunHost {
 public:
  /// The pump outlives the host.
  explicit QuietHost(MessagePump& pump) : pump_(pump) {}
  void PumpMessages() override { pump_.PumpMessages(); }
  int ApiFileCopyCallback(std::uint64_t, std::uint64_t, std::uint32_t, std::uint64_t, std::uint64_t,
                          std::uint32_t) override {
    return 0;
  }
  void DrawCaptions(std::u16string_view, std::u16string_view, std::u16string_view) override {}
  void ShowRunPanels(bool) override {}
  void ResetProgress() override {}
  void FillProgress() override {}
  void RefreshJobRow(std::int32_t) override {}

 private:
  MessagePump& pump_;
};

}  // namespace kavrel
