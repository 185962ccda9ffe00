// What every command starts from: the program over its folder, and the lock where it changes
// things.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/exit_code.h"
#include "app/program.h"
#include "cli/console_host.h"

namespace kavrel {

class Session {
 public:
  /// `home` is the value of --home, empty when it was not given. The lock is waited for so many
  /// seconds.
  explicit Session(std::string_view home, std::uint32_t patience = kPatience);
  static constexpr std::uint32_t kPatience = 2;

  /// Loads the program; with a purpose, after taking the program folder's lock for it. Prints what
  /// is wrong and gives false when that fails.
  bool Open(std::u16string_view purpose = {});
  /// Makes the program over this host and takes the lock, but loads nothing.
  bool Prepare(std::u16string_view purpose, std::unique_ptr<ProgramHost> host);
  /// What a command ends with that could not open or prepare.
  ExitCode Failure() const { return failure_; }
  /// Lets it make the program folder that was named; else one that is not there is refused: more
  /// likely its name is wrong than that somebody wants an empty one.
  void MayMakeHome() { may_make_home_ = true; }
  /// Prints that the store cannot be read, and why.
  void TellUnreadable() const;
  /// How what runs is shown; to be called before Open.
  void Show(const OutputChoice& output) { output_ = output; }
  kavrel::Program& Program() { return *program_; }
  /// What shows it; once it is open.
  ConsoleHost& Console() { return *console_; }
  kavrel::Clock& Clock() { return clock_; }

  /// The job of that name; null, after saying so, when there is none.
  BackupJob* FindJob(const std::string& name);
  /// The jobs of these names; nothing, after saying which are not there, when one is missing.
  std::optional<std::vector<BackupJob*>> FindJobs(const std::vector<std::string>& names);
  /// Saves the store; prints what is wrong and gives false when that fails.
  bool Save();

 private:
  bool Lock(std::u16string_view purpose);

  const std::u16string home_;
  const std::uint32_t patience_;  ///< milliseconds
  OutputChoice output_;
  ConsoleHost* console_ = nullptr;  ///< host_
  bool may_make_home_ = false;
  ExitCode failure_ = kBadInput;
  SystemClock clock_;
  std::unique_ptr<ProgramHost> host_;
  std::unique_ptr<kavrel::Program> program_;
};

}  // namespace kavrel
