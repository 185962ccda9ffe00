// What the user's desktop does for the program: starting it at login, opening a file, playing a
// sound, staying awake.
#pragma once

#include <memory>
#include <string_view>

namespace kavrel {

class ChildProcess;

/// Starts `executable` with that program folder (host paths) whenever the user logs in, or no
/// longer. Each folder has an entry of its own. False when the entry could not be written or
/// removed; removing one that is not there succeeds.
bool SetAutostartEntry(bool on, std::u16string_view executable, std::u16string_view program_folder);

/// Opens a host path with the program that the user has chosen for it. False when nothing could be
/// started; what becomes of it later is not waited for.
bool OpenWithDesktop(std::u16string_view path);

/// True when there is a sound device and a program that plays to it.
bool HasSoundDevice();
/// Plays a sound file (a host path) without waiting for its end.
bool PlaySoundFile(std::u16string_view path);

/// Keeps the system from going to sleep while it lives, where the system offers that.
class SleepInhibitor {
 public:
  SleepInhibitor();
  ~SleepInhibitor();
  SleepInhibitor(const SleepInhibitor&) = delete;
  SleepInhibitor& operator=(const SleepInhibitor&) = delete;

 private:
  std::unique_ptr<ChildProcess> holder_;
};

}  // namespace kavrel
