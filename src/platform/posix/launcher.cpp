#include "platform/launcher.h"

#include <stdio.h>
#include <sys/stat.h>

#include "base/text.h"
#include "platform/files.h"
#include "platform/posix/desktop_entry.h"

namespace kavrel {

namespace {

std::string Line(std::string_view key, std::u16string_view value) {
  return std::string(key) + "=" + EscapeEntryText(ToUtf8(value)) + "\n";
}

std::string ExecLine(const Launcher& launcher) {
  std::string line = "Exec=" + QuoteExecArgument(ToUtf8(launcher.Target));
  for (const std::u16string& argument : launcher.Arguments) {
    line += " " + QuoteExecArgument(ToUtf8(argument));
  }
  return line + "\n";
}

}  // namespace

std::u16string_view LauncherEnding() {
  return u".desktop";
}

bool CreateShellLink(std::u16string_view path, const Launcher& launcher) {
  const std::string entry = "[Desktop Entry]\nType=Application\n" + Line("Name", launcher.Name) +
                            Line("Comment", launcher.Description) + ExecLine(launcher) +
                            Line("Path", launcher.Folder) + "Icon=kavrel\nTerminal=false\n";
  const std::u16string scratch = std::u16string(path) + u".tmp";
  const FileSystem files({});
  if (files.ReplaceWhole(scratch, entry) != 0) return false;
  // Desktops start only what its owner has marked as a program.
  const std::string from = ToUtf8(scratch), to = ToUtf8(path);
  const bool whole = chmod(from.c_str(), S_IRWXU) == 0 && rename(from.c_str(), to.c_str()) == 0;
  if (!whole) files.RemoveFile(scratch);
  return whole;
}

}  // namespace kavrel
