// Where the program, its settings and its user keep things.
#pragma once

#include <optional>
#include <string>

namespace kavrel {

/// The folder that the user chose for everything, by `home` or $KAVREL_HOME; empty when there is
/// none. Nothing is looked for.
std::u16string ChosenHome(std::u16string_view home = {});

/// The program folder, made when missing: `home` when given; else $KAVREL_HOME; else the
/// executable's folder when it holds Backup.rtm and can be written; else $XDG_DATA_HOME/Kavrel
/// (~/.local/share/Kavrel). An absolute path without a trailing separator; nothing when it cannot
/// be made.
std::optional<std::u16string> ProgramFolder(std::u16string_view home = {});

/// True when a program that is told nothing, by its command line or its environment, takes this
/// folder for its own.
bool IsUsualProgramFolder(std::u16string_view folder);

/// The settings file: Settings.ini in `home` or $KAVREL_HOME when one is given, else
/// $XDG_CONFIG_HOME/Quenlor/Settings.ini (~/.config/Quenlor/Settings.ini).
std::u16string SettingsFile(std::u16string_view home = {});

/// The user's folder for settings, $XDG_CONFIG_HOME (~/.config), without a trailing separator.
std::u16string ConfigFolder();

/// The running executable's folder, without a trailing separator; empty when it is not known.
std::u16string ExecutableFolder();

/// The path of a program that is installed beside this one.
std::u16string ExecutableFile(std::u16string_view name);

/// A file that is installed with the program: beside the executable or in ../share/kavrel of it.
/// Empty when it is in neither.
std::u16string ResourceFile(std::u16string_view name);

/// The file that $KAVREL_DEBUG names; empty when it names none.
std::u16string DebugFile();

/// The user's home folder, with a trailing separator.
std::u16string HomeFolder();

/// A path made absolute against the current folder of the process; drive, share and FTP paths and
/// absolute POSIX paths are returned as they are, a leading "~/" becomes the home folder.
std::u16string AbsolutePath(std::u16string_view path);

}  // namespace kavrel
