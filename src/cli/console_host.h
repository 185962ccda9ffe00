// A run as a terminal shows it: one line that is written anew a few times a second; or as programs
// want it, a JSON object a line. Where standard output is no terminal and nobody asked for it,
// nothing is shown until the run is over.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "app/program.h"
#include "app/run_progress.h"

namespace kavrel {

enum class ProgressMode { Auto, None, Json };

/// How a command tells what it does.
struct OutputChoice {
  bool Json = false;
  bool Quiet = false;    ///< only what is wrong
  bool Verbose = false;  ///< each file
  ProgressMode Progress = ProgressMode::Auto;
};

class ConsoleHost final : public ProgramHost {
 public:
  explicit ConsoleHost(Clock& clock, const OutputChoice& output = {});

  /// The program whose runs are shown, and whose state an interrupt cancels; before the first run.
  void Attach(Program& program);
  /// The flags alone, of what is only planned.
  void Attach(RunState& state) { state_ = &state; }
  /// A restore of the job begins, of what was picked, if anything was.
  void BeginRestore(const BackupJob& job, std::u16string_view backup, const RestorePick* pick);
  /// Called before each backup.
  std::function<void(const BackupJob& job)> Starting;

  void PumpMessages() override;
  int ApiFileCopyCallback(std::uint64_t total_size, std::uint64_t bytes_done,
                          std::uint32_t stream_number, std::uint64_t stream_size,
                          std::uint64_t stream_bytes_done, std::uint32_t block_size) override;
  void DrawCaptions(std::u16string_view source_folder, std::u16string_view dest_folder,
                    std::u16string_view file_name) override;
  void ShowRunPanels(bool show) override;
  void JobStarting(std::int32_t job_index, DateTime now) override;
  void JobEnded(std::int32_t job_index) override;
  void VerificationStarting(const BackupJob& job, std::u16string_view backup) override;
  void TimesSetRight(const BackupJob& job, DateTime was) override;
  void OtherVersionKept(std::u16string_view path, std::u16string_view copy) override;

 private:
  /// Something of that job begins.
  void Begin(const BackupJob& job, const char* what);
  void End();
  void DrawLine(const RunFigures& figures);
  /// Takes the line away, so that something else can be printed.
  void ClearLine();
  void PrintObject(const RunFigures& figures) const;

  Clock& clock_;
  const ProgressMode mode_;
  const bool shown_, verbose_;
  bool names_files_ = false;  ///< a verification of folders that is to name each file
  RunState* state_ = nullptr;
  Program* program_ = nullptr;
  std::unique_ptr<RunProgress> progress_;
  bool line_shown_ = false, at_work_ = false;
  std::u16string job_, folder_, file_;
  const char* what_ = "";
  std::uint64_t drawn_at_ = 0;
};

}  // namespace kavrel
