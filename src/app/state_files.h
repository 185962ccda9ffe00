// What the states of a job hold: the versions of one file over all of them, and what changed from
// one to another. Nothing is changed. A monitor hears all the time that work goes on, and may end
// it; what is given then is not to be used.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/seven_zip.h"
#include "engine/states.h"

namespace kavrel {

/// A file or a link of a state; folders are only the way to them.
struct StateFile {
  std::u16string Path;  ///< relative, with "/"
  bool IsLink = false;
  std::uint64_t Size = 0;
  FileTime Written;
  std::optional<std::uint32_t> Crc;  ///< where the archive tells it
};

/// All files of a state in the order of their paths; nothing when its folder or its archive cannot
/// be read. `Unread` folders could not be looked through.
struct StateListing {
  std::vector<StateFile> Files;
  std::uint32_t Unread = 0;
};
std::optional<StateListing> ReadState(const FileSystem& files, const SevenZipLibrary& archiver,
                                      const JobState& state, ArchiveMonitor* monitor = nullptr);

/// One file as some of the states have it: of one size, written at one time.
struct FileVersion {
  std::uint64_t Size = 0;
  FileTime Written;
  std::vector<std::size_t> States;  ///< in the list, the newest first
};
struct FileVersions {
  std::vector<FileVersion> Versions;  ///< the newest state's first
  std::vector<std::size_t> Unread;    ///< states that could not be looked into
};
/// The versions of the file or link of this relative path.
FileVersions VersionsOf(const FileSystem& files, const SevenZipLibrary& archiver,
                        const std::vector<JobState>& states, std::u16string_view path,
                        ArchiveMonitor* monitor = nullptr);
/// Whether two times are the same as file systems and archives round.
bool IsSameTime(FileTime a, FileTime b);

enum class StateChange : std::uint8_t { Added, Removed, Changed, Moved };
inline constexpr std::size_t kStateChanges = 4;
std::u16string_view StateChangeText(StateChange change);
struct StateDifference {
  StateChange Change;
  std::u16string Path;  ///< in the later state, of what was removed in the earlier one
  std::u16string From;  ///< of what was moved
  std::uint64_t Size = 0;
};
/// What is different in `to`, in the order of the paths. Files of one size that were written at one
/// time are the same; one of content that another path had, and not any more, was moved.
std::vector<StateDifference> CompareStates(const FileSystem& files, const JobState& from,
                                           const StateListing& from_files, const JobState& to,
                                           const StateListing& to_files,
                                           ArchiveMonitor* monitor = nullptr);

}  // namespace kavrel
