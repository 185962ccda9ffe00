#include "cli/session.h"

#include "base/text.h"
#include "cli/console.h"
#include "files/error_text.h"
#include "platform/folders.h"

namespace kavrel {

namespace {
constexpr std::uint32_t kLockPatience = 2000, kLockRetry = 50;  // milliseconds
}

Session::Session(std::string_view home) : home_(FromUtf8(home)), host_(clock_) {}

bool Session::Open(std::u16string_view purpose) {
  const std::optional<std::u16string> folder = ProgramFolder(home_);
  if (!folder) {
    PrintError("the program folder cannot be made: " + Printable(home_));
    return false;
  }
  if (!purpose.empty() && !Lock(*folder, purpose)) return false;
  program_ = std::make_unique<kavrel::Program>(*folder, SettingsFile(home_), clock_, host_);
  host_.Attach(program_->State);
  if (program_->Load()) return true;
  PrintError("cannot read " + Printable(program_->Store.Path()) + ": " +
             ToUtf8(SystemErrorText(program_->Store.LastError())));
  return false;
}

bool Session::Lock(const std::u16string& folder, std::u16string_view purpose) {
  for (std::uint32_t waited = 0; waited <= kLockPatience; waited += kLockRetry) {
    if (lock_.TryAcquire(folder, purpose)) return true;
    clock_.Sleep(kLockRetry);
  }
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
