// A run as a terminal shows it: one line that is written anew a few times a second. Where standard
// output is no terminal, nothing is shown until the run is over.
#pragma once

#include <string>

#include "app/program_host.h"
#include "files/run_state.h"
#include "platform/clock.h"

namespace kavrel {

class ConsoleHost final : public ProgramHost {
 public:
  explicit ConsoleHost(Clock& clock);

  /// The flags in which an interrupt becomes a cancel; set before the first run.
  void Attach(RunState& state) { state_ = &state; }

  void PumpMessages() override;
  int ApiFileCopyCallback(std::uint64_t total_size, std::uint64_t bytes_done,
                          std::uint32_t stream_number, std::uint64_t stream_size,
                          std::uint64_t stream_bytes_done, std::uint32_t block_size) override;
  void DrawCaptions(std::u16string_view source_folder, std::u16string_view dest_folder,
                    std::u16string_view file_name) override;
  void ShowRunPanels(bool show) override;
  void TimesSetRight(const BackupJob& job, DateTime was) override;
  void OtherVersionKept(std::u16string_view path, std::u16string_view copy) override;

 private:
  void DrawLine(std::uint64_t total_size, std::uint64_t bytes_done);

  Clock& clock_;
  RunState* state_ = nullptr;
  const bool terminal_;
  bool line_shown_ = false;
  std::u16string file_name_;
  std::uint64_t files_ = 0, file_started_ = 0, drawn_at_ = 0;
};

}  // namespace kavrel
