// The scheduler without a window: a host that tells each event in one line, in the language of the
// process, and the loop that stands for its timer.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "app/program.h"

namespace kavrel {

/// As the system's journal numbers them.
enum class WatchLevel { Error = 3, Warning = 4, Notice = 5, Info = 6 };

class WatchHost final : public ProgramHost {
 public:
  struct Surroundings {
    Clock& Time;
    /// Receives each event as one line of text.
    std::function<void(WatchLevel level, std::u16string_view line)> Tell;
    /// True once the user or the system wants the end.
    std::function<bool()> Interrupted;
    /// Waits so many milliseconds, or until interrupted.
    std::function<void(std::uint32_t milliseconds)> Wait;
  };
  explicit WatchHost(Surroundings surroundings) : around_(std::move(surroundings)) {}

  /// Starts the program, whose host this is and whose lock is held, ticks until interrupted and
  /// shuts it down. A run at work is then cancelled: the file in progress is given up and the
  /// run's bookkeeping is done. False when the store cannot be read; nothing was run then.
  bool Run(kavrel::Program& program);

  void PumpMessages() override;
  int ApiFileCopyCallback(std::uint64_t, std::uint64_t, std::uint32_t, std::uint64_t, std::uint64_t,
                          std::uint32_t) override;
  void DrawCaptions(std::u16string_view, std::u16string_view, std::u16string_view) override {}
  void SetTickTimer(bool on, std::uint32_t milliseconds) override;
  void JobStarting(std::int32_t job_index, DateTime now) override;
  void JobEnded(std::int32_t job_index) override;
  void AskPastDue(PastDueQuestion& question) override;
  void TimesSetRight(const BackupJob& job, DateTime was) override;
  void PauseChanged(const std::optional<DateTime>& end) override;
  void CareEnded(const BackupJob& job, const VerifyReport& report, bool drill) override;
  void OtherVersionKept(std::u16string_view path, std::u16string_view copy) override;

 private:
  void TellNow(std::string_view text, WatchLevel level = WatchLevel::Info);
  void TellPlan();

  const Surroundings around_;
  kavrel::Program* program_ = nullptr;
  bool timer_on_ = false;
  std::uint32_t interval_ = 0;
};

}  // namespace kavrel
