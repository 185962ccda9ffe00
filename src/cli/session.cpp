#include "cli/session.h"

#include "base/text.h"
#include "cli/console.h"
#include "files/error_text.h"
#include "platform/folders.h"

namespace kavrel {

namespace {
constexpr std::uint32_t kLockPatience = 2000, kLockRetry = 50;  // milliseconds
}

Session::Session(std::string_view home) : home_(FromUtf8(home)) {}

bool Session::Prepare(std::u16string_view purpose, std::unique_ptr<ProgramHost> host) {
  const std::optional<std::u16string> folder = ProgramFolder(home_);
  if (!folder) {
    PrintError("the program folder cannot be made: " + Printable(home_));
    return false;
  }
  host_ = std::move(host);
  program_ = std::make_unique<kavrel::Program>(*folder, SettingsFile(home_), clock_, *host_);
  return purpose.empty() || Lock(purpose);
}

bool Session::Open(std::u16string_view purpose) {
  auto host = std::make_unique<ConsoleHost>(clock_);
  ConsoleHost& console = *host;
  if (!Prepare(purpose, std::move(host))) return false;
  console.Attach(program_->State);
  if (program_->Load()) return true;
  TellUnreadable();
  return false;
}

void Session::TellUnreadable() const {
  PrintError("cannot read " + Printable(program_->Store.Path()) + ": " +
             ToUtf8(SystemErrorText(program_->Store.LastError())));
}

bool Session::Lock(std::u16string_view purpose) {
  for (std::uint32_t waited = 0; waited <= kLockPatience; waited += kLockRetry) {
    if (program_->Lock(purpose)) return true;
    clock_.Sleep(kLockRetry);
  }
  const std::u16string& folder = program_->Files.ProgramFolder();
  const std::u16string holder = ProcessLock::Holder(folder);
  PrintError(holder.empty() ? "the program folder cannot be locked: " + Printable(folder)
                            : "the program folder is in use by " + Printable(holder));
  return false;
}

BackupJob* Session::FindJob(const std::string& name) {
  const std::int32_t index = program_->Store.FindJob(FromUtf8(name));
  if (index >= 0) return &program_->Store.Jobs[static_cast<std::size_t>(index)];
  PrintError("no such job: " + Printable(FromUtf8(name)));
  return nullptr;
}

bool Session::Save() {
  if (program_->Store.SaveJobs()) return true;
  PrintError("cannot write " + Printable(program_->Store.Path()) + ": " +
             ToUtf8(SystemErrorText(program_->Store.LastError())));
  return false;
}

}  // namespace kavrel
