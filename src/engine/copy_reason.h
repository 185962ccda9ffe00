// How a file and its copy are to each other, as far as the systems' records tell without reading
// them: whether it is copied, which of the two is the later one.
#pragma once

#include <optional>

#include "core/run_plan.h"
#include "platform/files.h"

namespace kavrel {

/// Why a file is to be copied; nothing when it is left as it is: with comparison, when its
/// destination has the same size and was written in the same second or the one beside it on the
/// same day, and not once more since, or when there is no source to copy from. Null stands for a
/// file that is not there. A link and a file are never the same.
std::optional<PlanReason> ReasonToCopy(const FileStatus* source, const FileStatus* dest,
                                       bool differential);
inline bool NeedsNoCopy(const FileStatus* source, const FileStatus* dest, bool differential) {
  return !ReasonToCopy(source, dest, differential);
}
/// Whether the copy bears the time at which its source was written, as far as both disks keep it.
bool HasTimeOf(const FileStatus& copy, const FileStatus& source);
/// Whether somebody may have changed the source after its copy was made, as the systems' own
/// records tell: who writes may put the time back, but not those. What a disk has spoilt it does
/// not record.
bool IsChangedLater(const FileStatus& source, const FileStatus& copy);
/// Whether nothing has happened to a file of the source since its copy was made: size and time of
/// writing are the same after two files have changed names, but that, too, changes an entry.
/// `local`: the device whose times are this machine's own; those of others may be wrong by an hour.
bool IsUntouchedSince(const FileStatus& source, const FileStatus& copy, std::uint64_t local);
/// Whether a copy's content, permissions, links or name have changed since the list was put in its
/// place, by the records of their disk.
bool IsChangedSince(const FileStatus& copy, const FileStatus& list);
/// Whether nobody has written to a copy nor put another file in its place, as far as their times
/// tell, since the list that tells of it was put in its own; false where the disk does not tell
/// when it was made. What a disk has spoilt it does not record.
bool SeemsUnwritten(const FileStatus& copy, const FileStatus& list);

}  // namespace kavrel
