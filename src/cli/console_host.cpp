#include "cli/console_host.h"

#include <cstdio>

#include "base/number.h"
#include "base/text.h"
#include "cli/console.h"
#include "files/size_text.h"
#include "platform/process.h"

namespace kavrel {

namespace {
constexpr std::uint64_t kRedrawAfter = 100;  // milliseconds
}

ConsoleHost::ConsoleHost(Clock& clock) : clock_(clock), terminal_(IsTerminal()) {}

void ConsoleHost::PumpMessages() {
  if (state_ && InterruptRequested()) state_->CancelRequested = true;
}

int ConsoleHost::ApiFileCopyCallback(std::uint64_t total_size, std::uint64_t bytes_done,
                                     std::uint32_t, std::uint64_t, std::uint64_t, std::uint32_t) {
  if (terminal_) {
    const std::uint64_t now = clock_.TickCount();
    if (bytes_done == 0) file_started_ = now;
    if (now - drawn_at_ >= kRedrawAfter) {
      drawn_at_ = now;
      DrawLine(total_size, bytes_done);
    }
  }
  PumpMessages();
  return state_ && state_->CancelRequested ? 1 : 0;
}

void ConsoleHost::DrawCaptions(std::u16string_view, std::u16string_view,
                               std::u16string_view file_name) {
  ++files_;
  if (terminal_) file_name_ = file_name;
}

void ConsoleHost::DrawLine(std::uint64_t total_size, std::uint64_t bytes_done) {
  const std::uint64_t elapsed = clock_.TickCount() - file_started_;
  std::u16string line = u"[" + Grouped(files_) + u"] " + FormatSize(bytes_done, SizeMode::Scaled) +
                        u" / " + FormatSize(total_size, SizeMode::Scaled);
  if (total_size > 0) line += u"  " + Grouped(100 * bytes_done / total_size) + u" %";
  if (elapsed >= kRedrawAfter && bytes_done > 0) {
    const std::uint64_t speed = bytes_done * 1000 / elapsed;
    line += u"  " + FormatSize(speed, SizeMode::Scaled) + u"/s";
    if (speed > 0)
      line += u"  剩餘 " + Grouped((total_size - bytes_done + speed - 1) / speed) + u" 秒";
  }
  const std::size_t width = TerminalWidth() - 1;
  const std::size_t used = DisplayWidth(line) + 2;
  if (used + 8 < width) {
    line += u"  " + CutToWidth(FromUtf8(Printable(file_name_)), width - used);
  }
  std::printf("\r%s\x1b[K", ToUtf8(CutToWidth(line, width)).c_str());
  std::fflush(stdout);
  line_shown_ = true;
}

void ConsoleHost::ShowRunPanels(bool show) {
  if (show) {
    files_ = 0;
    drawn_at_ = clock_.TickCount();
  } else if (line_shown_) {
    std::printf("\r\x1b[K");
    std::fflush(stdout);
    line_shown_ = false;
  }
}

void ConsoleHost::TimesSetRight(const BackupJob& job, DateTime was) {
  PrintError("the clock was ahead: " + Printable(job.Name) + " is next due at " +
             ToUtf8(IsoText(job.NextRun)) + ", no longer at " + ToUtf8(IsoText(was)));
}

void ConsoleHost::OtherVersionKept(std::u16string_view path, std::u16string_view copy) {
  PrintError(Printable(path) + " was changed by somebody else; that version is kept as " +
             Printable(copy));
}

}  // namespace kavrel
