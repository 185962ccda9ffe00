// Launchers: files that a desktop shows as icons and that start a program with arguments.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kavrel {

struct Launcher {
  std::u16string Target;                  ///< the program, a host path
  std::vector<std::u16string> Arguments;  ///< as the program receives them
  std::u16string Folder;                  ///< in which it starts, a host path
  std::u16string Name, Description;
};

/// The arguments that lead a program which the desktop starts, and which knows neither the options
/// nor the environment of this process, to that program folder; none when it is the usual one.
std::vector<std::u16string> FolderArguments(std::u16string_view program_folder);
/// What the name of an entry of that program folder ends with, so that each folder has its own;
/// nothing when it is the usual one.
std::string FolderMark(std::u16string_view program_folder);

/// The ending of a launcher's file name, with its dot.
std::u16string_view LauncherEnding();

/// Writes the launcher to a scratch file and gives that the chosen name, in place of what had it.
/// False when the file could not be written; what was there before is then untouched.
bool CreateShellLink(std::u16string_view path, const Launcher& launcher);

}  // namespace kavrel
