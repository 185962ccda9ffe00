// The pause of the whole schedule: until it ends nothing runs by itself, and nobody is asked about
// what was missed. Runs by hand go on. Every face asks here.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/date_time.h"
#include "base/result.h"
#include "platform/clock.h"

namespace kavrel {

class FileSystem;

/// The end of a pause that lasts until somebody ends it.
inline constexpr DateTime kNoEnd = DateTime::max();

/// The program folder's pause, in a file of its own that is read whenever somebody asks: it may be
/// changed by another process at any time, without the lock.
class SchedulePause {
 public:
  /// Both outlive this.
  SchedulePause(const FileSystem& files, Clock& clock);

  /// When the pause ends; nothing while there is none. A file that cannot be read or makes no sense
  /// is no pause: in doubt jobs run. Neither is one with an end that was made while the clock
  /// showed more than a day later than now: it was wrong then, and so is the end.
  std::optional<DateTime> End() const;
  /// Why the last End found a file and could not make sense of it; 0 when it could.
  ErrorCode LastError() const { return last_error_; }

  /// Begins a pause, in place of any other. Gives the error code.
  ErrorCode Begin(DateTime end);
  /// Ends it; what is due runs with the next tick. Gives the error code.
  ErrorCode Resume();

  const std::u16string& Path() const { return path_; }

 private:
  const FileSystem& files_;
  Clock& clock_;
  const std::u16string path_;
  mutable ErrorCode last_error_ = 0;
};

/// What windows offer.
enum class PauseChoice { Hour, Tomorrow, NoEnd };
/// When such a pause ends that begins now; Tomorrow is the coming midnight.
DateTime EndOfPause(PauseChoice choice, DateTime now);

/// "排程已暫停至 2026/11/26 下午 03:00:00", or without an end.
std::u16string PauseText(DateTime end);

}  // namespace kavrel
