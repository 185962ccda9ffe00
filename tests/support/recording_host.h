// A host that notes what a run shows, and can cancel it at a chosen moment.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/program_host.h"

namespace kavrel {

class RecordingHost : public ProgramHost {
 public:
  struct Progress {
    std::uint64_t Total, Done;
  };
  std::vector<Progress> Calls;
  std::vector<std::u16string> Names;  ///< one for each caption drawn
  std::vector<bool> Panels;
  std::vector<std::int32_t> Rows;
  std::vector<std::u16string> Questions;  ///< of runs in their midst
  std::vector<std::u16string> SetRight;   ///< jobs whose times were
  bool GoOn = true;                       ///< the answer to them
  int Pumps = 0, Fills = 0, Resets = 0;
  /// Called at every pump and at every progress call.
  std::function<void()> AtPump;
  std::function<void()> AtQuestion;
  std::function<void(std::uint64_t total, std::uint64_t done)> AtProgress;

  void PumpMessages() override {
    ++Pumps;
    if (AtPump) AtPump();
  }
  int ApiFileCopyCallback(std::uint64_t total_size, std::uint64_t bytes_done, std::uint32_t,
                          std::uint64_t, std::uint64_t, std::uint32_t) override {
    Calls.push_back({total_size, bytes_done});
    if (AtProgress) AtProgress(total_size, bytes_done);
    return 0;
  }
  void DrawCaptions(std::u16string_view, std::u16string_view, std::u16string_view name) override {
    Names.emplace_back(name);
  }
  bool AskGoOn(const RunQuestion& question) override {
    Questions.push_back(question.Text);
    if (AtQuestion) AtQuestion();
    return GoOn;
  }
  void TimesSetRight(const BackupJob& job, DateTime) override { SetRight.push_back(job.Name); }
  void ShowRunPanels(bool show) override { Panels.push_back(show); }
  void ResetProgress() override { ++Resets; }
  void FillProgress() override { ++Fills; }
  void RefreshJobRow(std::int32_t job_index) override { Rows.push_back(job_index); }
};

}  // namespace kavrel
