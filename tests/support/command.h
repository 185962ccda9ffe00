// Runs a real program and looks at what it says.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>
#include <vector>

namespace kavrel {

struct CommandResult {
  int ExitCode = -1;  ///< 128 + signal when one ended it
  std::string Output, Errors;
};

/// Runs the program with these arguments to its end. `input` is its standard input.
CommandResult RunCommand(const std::vector<std::string>& arguments, const std::string& input = {});

/// A program that runs beside the test; killed and collected when the test has forgotten it.
class BackgroundCommand {
 public:
  explicit BackgroundCommand(const std::vector<std::string>& arguments);
  ~BackgroundCommand();
  BackgroundCommand(const BackgroundCommand&) = delete;
  BackgroundCommand& operator=(const BackgroundCommand&) = delete;

  pid_t Process() const { return process_; }
  /// What it has written to standard output so far.
  std::string Output() const;
  /// Waits for its end; gives the exit code as CommandResult does.
  int Wait();

 private:
  pid_t process_ = -1;
  FILE* output_ = nullptr;
};

}  // namespace kavrel
