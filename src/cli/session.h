// What every command starts from: the program over its folder, and the lock where it changes
// things.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "app/exit_code.h"
#include "app/program.h"
#include "cli/console_host.h"

namespace kavrel {

class Session {
 public:
  /// `home` is the value of --home, empty when it was not given.
  explicit Session(std::string_view home);

  /// Loads the program; with a purpose, after taking the program folder's lock for it. Prints what
  /// is wrong and gives false when that fails.
  bool Open(std::u16string_view purpose = {});
  /// Makes the program over this host and takes the lock, but loads nothing.
  bool Prepare(std::u16string_view purpose, std::unique_ptr<ProgramHost> host);
  /// Prints that the store cannot be read, and why.
  void TellUnreadable() const;
  kavrel::Program& Program() { return *program_; }
  kavrel::Clock& Clock() { return clock_; }

  /// The job of that name; null, after saying so, when there is none.
  BackupJob* FindJob(const std::string& name);
  /// Saves the store; prints what is wrong and gives false when that fails.
  bool Save();

 private:
  bool Lock(std::u16string_view purpose);

  const std::u16string home_;
  SystemClock clock_;
  std::unique_ptr<ProgramHost> host_;
  std::unique_ptr<kavrel::Program> program_;
};

}  // namespace kavrel
