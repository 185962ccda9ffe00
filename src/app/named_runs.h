// How the jobs went that the command line of the window's program named. Nobody may be there to see
// the window, so standard error and the exit code tell it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/exit_code.h"

namespace kavrel {

class NamedRuns {
 public:
  void NoSuchJob(std::u16string_view name);
  /// To be told after each run, which left its report in the context.
  void Ran(const RunContext& context, const BackupJob& job);
  /// The store could not be read or written.
  void StoreFailed(std::u16string_view path, std::u16string_view reason);

  /// A line about each thing that went wrong, in the window's language.
  const std::vector<std::u16string>& Troubles() const { return troubles_; }
  ExitCode Code() const { return code_; }

 private:
  void Note(ExitCode code, std::u16string trouble);

  std::vector<std::u16string> troubles_;
  ExitCode code_ = kDone;
};

}  // namespace kavrel
