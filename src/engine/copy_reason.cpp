#include "engine/copy_reason.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "platform/clock.h"

namespace kavrel {

namespace {

using Moment = std::pair<std::int64_t, std::int32_t>;
constexpr std::int64_t kSecond = 1'000'000'000;  // nanoseconds

Moment MomentOf(const FileTime& time) {
  return {time.Seconds, time.Nanoseconds};
}

/// To what the disk may have rounded a time, in nanoseconds: the coarsest step, of those that disks
/// have, that it is a multiple of.
std::int64_t StepOf(const FileTime& time) {
  if (time.Nanoseconds == 0) return 2 * kSecond;  // FAT
  for (const std::int64_t step : {10'000'000, 1'000'000, 1'000, 100}) {
    if (time.Nanoseconds % step == 0) return step;
  }
  return 1;
}

/// Of the time of writing, which may be a whole second by chance: that of the last change comes
/// from the clock.
std::int64_t StepOf(const FileStatus& file) {
  return std::min(StepOf(file.Written), StepOf(file.Changed));
}

/// When an entry was changed at the latest: its disk may have cut off less than a step.
Moment LatestChange(const FileStatus& status) {
  const std::int64_t latest = status.Changed.Nanoseconds + StepOf(status.Changed) - 1;
  return {status.Changed.Seconds + latest / kSecond, static_cast<std::int32_t>(latest % kSecond)};
}

/// Whether its disk keeps when a copy was begun, which was before its source was read.
bool TellsBeginning(const FileStatus& copy) {
  return copy.Made != FileTime();
}

}  // namespace

bool HasTimeOf(const FileStatus& copy, const FileStatus& source) {
  const std::int64_t seconds = source.Written.Seconds - copy.Written.Seconds;
  if (std::abs(seconds) > 2) return false;
  const std::int64_t apart =
      seconds * kSecond + source.Written.Nanoseconds - copy.Written.Nanoseconds;
  return std::abs(apart) < std::max(StepOf(copy), StepOf(source));
}

bool IsChangedLater(const FileStatus& source, const FileStatus& copy) {
  // A disk that tells neither parts of a second nor when a copy was begun tells nothing.
  if (!TellsBeginning(copy) && copy.Changed.Nanoseconds == 0) return true;
  // What came between reading and the copy's taking its name counts, where the disk tells when the
  // copy was begun; and within one step of the clock the one may be as late as the other.
  const FileTime& made = TellsBeginning(copy) ? copy.Made : copy.Changed;
  return LatestChange(source) >= MomentOf(made);
}

bool IsUntouchedSince(const FileStatus& source, const FileStatus& copy, std::uint64_t local) {
  constexpr std::int64_t kClocksDiffer = 3600;
  if (source.Changed == FileTime() || !TellsBeginning(copy)) return false;
  Moment changed = LatestChange(source);
  if (local == 0 || source.Device != local) changed.first += kClocksDiffer;
  return changed < MomentOf(copy.Made);
}

bool IsChangedSince(const FileStatus& copy, const FileStatus& list) {
  return MomentOf(copy.Changed) > MomentOf(list.Changed);
}

bool SeemsUnwritten(const FileStatus& copy, const FileStatus& list) {
  // Its links and permissions change with other states and with later runs, and so does its time of
  // change.
  const Moment written = MomentOf(copy.Written);
  return TellsBeginning(copy) && MomentOf(copy.Made) <= MomentOf(list.Changed) &&
         written < MomentOf(copy.Made) && written < MomentOf(list.Written);
}

std::optional<PlanReason> ReasonToCopy(const FileStatus* source, const FileStatus* dest,
                                       bool differential) {
  if (!source) return differential ? std::nullopt : std::optional(PlanReason::Unreadable);
  if (!dest) return PlanReason::New;
  if (!differential) return PlanReason::Always;
  if (source->Kind != dest->Kind) return PlanReason::Kind;
  const std::int64_t seconds = source->Written.Seconds - dest->Written.Seconds;
  if (seconds < -1 || seconds > 1) return PlanReason::Time;
  if (seconds != 0 && std::chrono::floor<std::chrono::days>(LocalTime(source->Written)) !=
                          std::chrono::floor<std::chrono::days>(LocalTime(dest->Written))) {
    return PlanReason::Time;
  }
  if (source->Size != dest->Size) return PlanReason::Size;
  // Saved a second time so soon that whole seconds do not tell it from the save that was copied.
  // What others have copied may bear a time that differs by a little: it stays, where a disk tells
  // that it was made later. A source may have been replaced between its opening and the beginning
  // of its copy; and one that has not been bears the same time, so that a wide margin costs
  // nothing.
  constexpr std::int64_t kOpens = 60;
  const bool later =
      !TellsBeginning(*dest) || source->Changed.Seconds + kOpens >= dest->Made.Seconds;
  // Times that are set by the second are compared by the second.
  const bool by_second = source->Written.Nanoseconds == 0 && dest->Written.Nanoseconds == 0;
  const bool once_more =
      source->Kind == FileKind::File && !by_second && !HasTimeOf(*dest, *source) && later;
  return once_more ? std::optional(PlanReason::Time) : std::nullopt;
}

}  // namespace kavrel
