#include "cli/session.h"

#include <algorithm>

#include "app/find_name.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/console.h"
#include "files/error_text.h"
#include "platform/folders.h"
#include "platform/process.h"

namespace kavrel {

namespace {
constexpr std::uint32_t kLockRetry = 50;  // milliseconds
}

Session::Session(std::string_view home, std::uint32_t patience)
    : home_(FromUtf8(home)), patience_(patience * 1000) {}

bool Session::Prepare(std::u16string_view purpose, std::unique_ptr<ProgramHost> host) {
  const std::u16string chosen = ChosenHome(home_);
  if (!chosen.empty() && !may_make_home_ && !FileSystem({}).FolderExists(chosen)) {
    PrintError(Fill(Tr("there is no program folder %1; add makes it"), {Printable(chosen)}));
    return false;
  }
  const std::optional<std::u16string> folder = ProgramFolder(home_);
  if (!folder) {
    PrintError(Fill(Tr("the program folder cannot be made: %1"), {Printable(home_)}));
    return false;
  }
  host_ = std::move(host);
  program_ = std::make_unique<kavrel::Program>(*folder, SettingsFile(home_), clock_, *host_);
  return purpose.empty() || Lock(purpose);
}

bool Session::Open(std::u16string_view purpose) {
  auto host = std::make_unique<ConsoleHost>(clock_, output_);
  console_ = host.get();
  if (!Prepare(purpose, std::move(host))) return false;
  console_->Attach(*program_);
  if (program_->Load()) return true;
  TellUnreadable();
  return false;
}

void Session::TellUnreadable() const {
  PrintError(Fill(
      Tr("cannot read %1: %2"),
      {Printable(program_->Store.Path()), ToUtf8(SystemErrorText(program_->Store.LastError()))}));
}

bool Session::Lock(std::u16string_view purpose) {
  for (std::uint32_t waited = 0; waited <= patience_; waited += kLockRetry) {
    if (program_->Lock(purpose)) return true;
    if (InterruptRequested()) break;
    clock_.Sleep(kLockRetry);
  }
  const std::u16string& folder = program_->Files.ProgramFolder();
  const std::u16string holder = ProcessLock::Holder(folder);
  if (!holder.empty()) failure_ = kInUse;
  PrintError(holder.empty()
                 ? Fill(Tr("the program folder cannot be locked: %1"), {Printable(folder)})
                 : Fill(Tr("the program folder is in use by %1"), {Printable(holder)}));
  return false;
}

BackupJob* Session::FindJob(const std::string& name) {
  const std::int32_t index = FindShownJob(program_->Store, FromUtf8(name));
  if (index >= 0) return &program_->Store.Jobs[static_cast<std::size_t>(index)];
  PrintError(Fill(Tr("no such job: %1"), {Printable(FromUtf8(name))}));
  return nullptr;
}

std::optional<std::vector<BackupJob*>> Session::FindJobs(const std::vector<std::string>& names) {
  std::vector<BackupJob*> jobs;
  for (const std::string& name : names) {
    BackupJob* job = FindJob(name);
    if (job && std::find(jobs.begin(), jobs.end(), job) == jobs.end()) jobs.push_back(job);
    if (!job) jobs.push_back(nullptr);
  }
  if (std::find(jobs.begin(), jobs.end(), nullptr) != jobs.end()) return std::nullopt;
  return jobs;
}

bool Session::Save() {
  if (program_->Store.SaveJobs()) return true;
  PrintError(Fill(
      Tr("cannot write %1: %2"),
      {Printable(program_->Store.Path()), ToUtf8(SystemErrorText(program_->Store.LastError()))}));
  return false;
}

}  // namespace kavrel
