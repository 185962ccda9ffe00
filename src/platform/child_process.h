// Another program that works for this one. No shell is involved, and the program ends when this
// process ends, however that happens.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "platform/handle.h"

namespace kavrel {

class ChildProcess {
 public:
  ChildProcess() = default;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  /// Ends a program that still works.
  ~ChildProcess();

  /// Starts the program (a host path) with these arguments in `folder` (a host path). `input` is
  /// all it can read on its standard input; what it writes, errors included, is for Read. Its
  /// environment is this process's, with the given "NAME=value" in front.
  ErrorCode Start(const std::string& program, const std::vector<std::string>& arguments,
                  const std::string& folder, std::string_view input,
                  const std::vector<std::string>& environment = {});
  /// Appends what the program has written meanwhile, waiting at most so long for something. False
  /// when it will write no more. A program whose output cannot be read is ended, and counts as
  /// ended by that even when it was quicker.
  bool Read(std::string& output, std::uint32_t wait_milliseconds);
  /// Whether the program has done anything since the last call (since its start, at the first):
  /// used the processor, read, written, or waited for a disk. False for one that waits for somebody
  /// else.
  bool Worked();
  void Kill();
  /// Waits for the end; gives the exit code, 128 + signal number when a signal ended it.
  int Wait();

 private:
  SystemHandle process_ = kNoHandle, output_ = kNoHandle;
  bool lost_ = false;  ///< output that could not be read
  std::string work_;   ///< its figures at the last call of Worked
  SystemHandle group_ =
      kNoHandle;  ///< with what it has started, where a group has a handle of its own
};

/// The host path of the first of these programs found in `folder` (a host path), beside this
/// process's executable or on the search path; empty when there is none.
std::string FindProgram(std::span<const std::string_view> names, const std::string& folder);

}  // namespace kavrel
