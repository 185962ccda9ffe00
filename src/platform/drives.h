// The drives and shares that Windows paths name, and the folders of this machine that they lead
// to. A drive is "C:", a share "\\server\share".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"

namespace kavrel {

/// True where drives and shares are the system's own: one that leads nowhere is only not there at
/// the moment, and paths on them are host paths.
bool SystemHasDrives();

/// The drives and shares that lead somewhere by the program folder's own mapping, also where the
/// folder is missing at the moment. Shares that are merely mounted are not among them.
std::vector<std::u16string> MappedDrives(const FileSystem& files);

/// The host folder that a drive or share leads to, without a trailing separator, also when it is
/// missing at the moment; empty when it leads nowhere.
std::u16string DriveFolder(const FileSystem& files, std::u16string_view drive);

/// Lets the drive or share lead to this folder, an absolute host path, instead of where it led
/// before. EEXIST when files lie in its place in the program folder, EINVAL for what is neither
/// drive nor share.
ErrorCode MapDrive(const FileSystem& files, std::u16string_view drive, std::u16string_view folder);

/// Lets it lead nowhere; the folder itself stays. ENOENT when it was not mapped here, ENOTEMPTY
/// when files lie in its place in the program folder.
ErrorCode UnmapDrive(const FileSystem& files, std::u16string_view drive);

}  // namespace kavrel
