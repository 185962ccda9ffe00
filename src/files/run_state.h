// The flags that live as long as the process, handed down by reference.
#pragma once

#include "base/result.h"

namespace kavrel {

/// For one thread: a second one that works for a run gets a RunState of its own.
struct RunState {
  bool RunBusy = false;          ///< a run or a scheduler tick is in progress
  bool CancelRequested = false;  ///< the user asked to stop the current run
  bool CommandLineRun = false;   ///< started to run named jobs and then end
  bool ExitRequested = false;    ///< closing the main window ends the program
  /// The last system error code that a wrapper recorded; 0 after a successful call; -1 when the
  /// system reports no code, and after a user abort.
  ErrorCode LastApiError = 0;
};

}  // namespace kavrel
