#include "platform/desktop.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "base/text.h"
#include "platform/child_process.h"
#include "platform/files.h"
#include "platform/folders.h"
#include "platform/launcher.h"
#include "platform/posix/desktop_entry.h"
#include "platform/posix/native.h"

namespace kavrel {

namespace {

/// Starts a program that lives on by itself and leaves no child to be collected.
bool StartDetached(const std::string& program, const std::string& argument) {
  const pid_t child = fork();
  if (child < 0) return false;
  if (child == 0) {
    setsid();
    const pid_t grandchild = fork();
    if (grandchild != 0) _exit(grandchild < 0 ? 1 : 0);
    for (const int number : {SIGPIPE, SIGXFSZ}) signal(number, SIG_DFL);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int standard = 0; standard < 3; ++standard) dup2(nothing, standard);
    execl(program.c_str(), program.c_str(), argument.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  int status = 0;
  return posix::Retry([&] { return waitpid(child, &status, 0); }) == child && status == 0;
}

std::string SoundPlayer() {
  constexpr std::string_view kPlayers[] = {"pw-play", "paplay", "aplay"};
  return FindProgram(kPlayers, "");
}

bool Exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

/// A playback device of the kernel's.
bool HasSoundCard() {
  DIR* folder = opendir("/dev/snd");
  if (!folder) return false;
  bool found = false;
  while (const dirent* entry = readdir(folder)) {
    const std::string_view name = entry->d_name;
    found = found || (name.starts_with("pcm") && name.ends_with('p'));
  }
  closedir(folder);
  return found;
}

/// A sound server of this login, or one elsewhere on the network.
bool HasSoundServer() {
  if (getenv("PULSE_SERVER")) return true;
  const char* runtime = getenv("XDG_RUNTIME_DIR");
  if (!runtime) return false;
  return Exists(std::string(runtime) + "/pulse/native") ||
         Exists(std::string(runtime) + "/pipewire-0");
}

bool HasSystemBus() {
  return getenv("DBUS_SYSTEM_BUS_ADDRESS") || Exists("/run/dbus/system_bus_socket");
}

}  // namespace

bool SetAutostartEntry(bool on, std::u16string_view executable,
                       std::u16string_view program_folder) {
  const FileSystem files({});
  const std::u16string folder = ConfigFolder() + u"/autostart";
  const std::u16string path =
      folder + u"/kavrel" + FromUtf8(FolderMark(program_folder)) + u".desktop";
  if (!on) {
    return unlink(ToUtf8(path).c_str()) == 0 || errno == ENOENT;
  }
  std::string entry = "[Desktop Entry]\nType=Application\nName=Kavrel\nExec=" +
                      QuoteExecArgument(ToUtf8(executable));
  for (const std::u16string& argument : FolderArguments(program_folder)) {
    entry += " " + QuoteExecArgument(ToUtf8(argument));
  }
  entry += "\nIcon=kavrel\nTerminal=false\n";
  return files.MakeFolders(folder) && files.ReplaceWhole(path, entry) == 0;
}

bool OpenWithDesktop(std::u16string_view path) {
  constexpr std::string_view kOpeners[] = {"xdg-open"};
  const std::string opener = FindProgram(kOpeners, "");
  return !opener.empty() && StartDetached(opener, ToUtf8(path));
}

bool HasSoundDevice() {
  return !SoundPlayer().empty() && (HasSoundCard() || HasSoundServer());
}

bool PlaySoundFile(std::u16string_view path) {
  const std::string player = SoundPlayer();
  return !player.empty() && StartDetached(player, ToUtf8(path));
}

// The login manager's lock lasts as long as a program holds it; this one holds it until it is
// ended.
SleepInhibitor::SleepInhibitor() {
  constexpr std::string_view kInhibitors[] = {"systemd-inhibit"};
  constexpr std::string_view kWaiters[] = {"sleep"};
  const std::string inhibitor = HasSystemBus() ? FindProgram(kInhibitors, "") : std::string();
  if (inhibitor.empty()) return;
  const std::vector<std::string> arguments{"--what=sleep:idle", "--who=Kavrel",
                                           // not translated: another program keeps it
                                           "--why=備份執行中", "--mode=block",
                                           FindProgram(kWaiters, ""), "infinity"};
  holder_ = std::make_unique<ChildProcess>();
  if (holder_->Start(inhibitor, arguments, "/", {}) != 0) holder_.reset();
}

SleepInhibitor::~SleepInhibitor() = default;

}  // namespace kavrel
