// The Windows drives and shares that the jobs and rules name, and where they lead on this machine:
// what a program folder needs that was brought from Windows.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

class Program;

struct DriveUse {
  std::u16string Drive;   ///< "C:" or "\\server\share"
  std::u16string Folder;  ///< the host folder it leads to; empty when it leads nowhere
  std::vector<std::u16string> Jobs, Rules;  ///< the names of those that name it
};

enum class DriveState {
  Ready,
  Unmapped,       ///< leads nowhere
  NotMounted,     ///< leads to a disk that is not mounted at the moment
  FolderMissing,  ///< leads to a folder that does not exist
};

/// Those that jobs name, in the order of the jobs; then those that only rules name, or nothing
/// but the mapping.
std::vector<DriveUse> UsedDrives(const Program& program);
DriveState DriveStateOf(const Program& program, const DriveUse& use);

/// Those that jobs name, that lead nowhere, and that the user has not said to leave so.
std::vector<DriveUse> DrivesToAskAbout(const Program& program);
/// Notes which drives the user has seen and left without a folder.
void LeaveDrives(Program& program, std::span<const DriveUse> drives);

/// The disks of this machine by their mount points, those of the network left out: they may not
/// answer.
std::vector<std::u16string> LocalVolumes(const Program& program);
/// The first of these folders below which a folder lies that a job names on this drive; empty when
/// there is none.
std::u16string SuggestDriveFolder(const Program& program, std::u16string_view drive,
                                  std::span<const std::u16string> volumes);

/// Why the drive may not lead there; empty when it may.
std::u16string_view CheckDriveFolder(const Program& program, std::u16string_view folder);

}  // namespace kavrel
