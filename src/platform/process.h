// The process among others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/handle.h"

namespace kavrel {

/// One owner of a program folder at a time. The lock dies with the process that holds it, however
/// that ends.
class ProcessLock {
 public:
  ProcessLock() = default;
  ProcessLock(const ProcessLock&) = delete;
  ProcessLock& operator=(const ProcessLock&) = delete;
  ~ProcessLock();

  /// Takes the lock file "Kavrel.lock" of the folder (a host path of the program folder) at once
  /// or not at all, and notes `purpose` in it. True when this object holds the lock.
  bool TryAcquire(std::u16string_view program_folder, std::u16string_view purpose);
  /// Notes for others at what this process is, by the holder alone; empty = nothing.
  void NoteWork(std::u16string_view work);
  void Release();
  bool Held() const { return handle_ != kNoHandle; }

  /// Who holds the lock of this folder: "purpose (process 123)"; empty when nobody does.
  static std::u16string Holder(std::u16string_view program_folder);
  /// At what it is, as it has noted; empty when nobody holds the lock.
  static std::u16string WorkOfHolder(std::u16string_view program_folder);

 private:
  /// What the holder of the lock has noted: who it is and, on a second line, its work. Nothing when
  /// nobody holds it.
  static std::optional<std::string> NoteOfHolder(std::u16string_view program_folder);

  std::string note_;
  SystemHandle handle_ = kNoHandle;
};

/// Where the program that has this folder listens for others that are started over it: a socket's
/// path, or a pipe's name. Only its user can reach it there. Empty where there is no such place.
std::u16string StartAddress(std::u16string_view program_folder);
/// Lets another program's window come to the front, which the system may grant to this one alone.
void LetOthersComeForward();

/// Lets the process open as many files as the system allows it to: a walk keeps two folders open
/// for each level of the tree.
void RaiseOpenFileLimit();
/// How many files this process may have open at once.
std::size_t OpenFileLimit();

/// True when the present thread has used its stack up but for a reserve.
bool StackRunsLow();

/// To be called first of all. A standard stream that was closed when the process began leads
/// nowhere from now on: the number of none is given to a file that is opened later. Writing to a
/// pipe that nobody reads, or a file to beyond the size allowed, becomes an error like any other.
void SecureStreams();
/// Writes out what standard output still holds; false when any of it could not be written.
bool FinishOutput();

/// A crash of this process, or of a program that it starts, leaves no image of its memory, which
/// may hold passwords. A debugger sees it all the same.
void KeepMemoryOutOfDumps();

/// Asks for the calm end of the work in progress: the first interrupt (Ctrl-C, SIGTERM) is only
/// noted, the second ends the process at once.
void WatchForInterrupt();
bool InterruptRequested();
/// Waits so long, or until an interrupt is requested.
void WaitForInterrupt(std::uint32_t milliseconds);

/// Gives memory that is free inside the process back to the system.
void TrimWorkingSet();

/// The words of this process's command line as UTF-8, its own name first; to be called once. A
/// program that has a console then reads and writes UTF-8 there.
std::vector<std::string> ConsoleArguments(int argc, char** argv);

/// True when standard output goes to the system's journal, which takes the level of a line from a
/// "<6>" at its front.
bool OutputIsJournal();

/// Columns of the terminal that standard output is; 0 when it is none.
int OutputColumns();

}  // namespace kavrel
