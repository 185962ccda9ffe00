#include "app/drives.h"

#include <algorithm>

#include "app/program.h"
#include "base/text.h"
#include "files/path.h"
#include "platform/drives.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kLeft = u"DrivesLeft";  // a setting of the windows

DriveUse& UseOf(std::vector<DriveUse>& uses, const std::u16string& drive) {
  const auto found = std::find_if(
      uses.begin(), uses.end(), [&](const DriveUse& use) { return EqualNoCase(use.Drive, drive); });
  return found != uses.end() ? *found : uses.emplace_back(DriveUse{drive, {}, {}, {}});
}

void AddName(std::vector<std::u16string>& names, const std::u16string& name) {
  if (names.empty() || names.back() != name) names.push_back(name);
}

bool IsLeft(std::u16string_view left, std::u16string_view drive) {
  const std::vector<std::u16string_view> drives = Split(left, u';');
  return std::any_of(drives.begin(), drives.end(),
                     [&](std::u16string_view other) { return EqualNoCase(other, drive); });
}

}  // namespace

std::vector<DriveUse> UsedDrives(const Program& program) {
  std::vector<DriveUse> uses;
  for (const BackupJob& job : program.Store.Jobs) {
    if (job.Deleted) continue;
    for (const JobLocation* place : {&job.Source, &job.Destination}) {
      const std::u16string drive = DriveOf(place->Path);
      if (!drive.empty()) AddName(UseOf(uses, drive).Jobs, job.Name);
    }
  }
  for (const ExclusionRule& rule : program.Exclusions.Rules()) {
    const std::u16string drive = DriveOf(rule.Drive);
    if (!drive.empty() && drive.find_first_of(u"*?#[") == drive.npos) {
      AddName(UseOf(uses, drive).Rules, rule.Desc);
    }
  }
  for (const std::u16string& drive : MappedDrives(program.Files)) UseOf(uses, drive);
  for (DriveUse& use : uses) use.Folder = DriveFolder(program.Files, use.Drive);
  return uses;
}

DriveState DriveStateOf(const Program& program, const DriveUse& use) {
  if (use.Folder.empty()) return DriveState::Unmapped;
  if (!program.Mounts.MissingPoint(use.Folder).empty()) return DriveState::NotMounted;
  return program.Files.FolderExists(use.Folder) ? DriveState::Ready : DriveState::FolderMissing;
}

std::vector<DriveUse> DrivesToAskAbout(const Program& program) {
  // A disk of the system's own will be plugged in again.
  if (SystemHasDrives()) return {};
  std::vector<DriveUse> uses = UsedDrives(program);
  const std::u16string left = program.WindowSizes.Get(kLeft).value_or(u"");
  std::erase_if(uses, [&](const DriveUse& use) {
    return use.Jobs.empty() || !use.Folder.empty() || IsLeft(left, use.Drive);
  });
  return uses;
}

void LeaveDrives(Program& program, std::span<const DriveUse> drives) {
  std::u16string left;
  for (const DriveUse& use : drives) {
    if (!use.Folder.empty()) continue;
    if (!left.empty()) left += u';';
    left += use.Drive;
  }
  if (left != program.WindowSizes.Get(kLeft).value_or(u"")) program.WindowSizes.Set(kLeft, left);
}

std::vector<std::u16string> LocalVolumes(const Program& program) {
  std::vector<std::u16string> volumes = program.Mounts.Volumes();
  std::erase_if(volumes, [&](const auto& volume) { return program.Mounts.OnNetwork(volume); });
  return volumes;
}

std::u16string SuggestDriveFolder(const Program& program, std::u16string_view drive,
                                  std::span<const std::u16string> volumes) {
  for (const std::u16string& volume : volumes) {
    for (const BackupJob& job : program.Store.Jobs) {
      for (const JobLocation* place : {&job.Source, &job.Destination}) {
        // What follows a date tag is not there yet.
        const std::u16string path = place->Path.substr(0, place->Path.find(u'<'));
        if (!EqualNoCase(DriveOf(path), drive) || IsRootPath(path)) continue;
        const std::u16string below = ReplaceAll(path.substr(drive.size()), u"\\", u"/");
        if (program.Files.FolderExists(volume + below)) return volume;
      }
    }
  }
  return {};
}

std::u16string_view CheckDriveFolder(const Program& program, std::u16string_view folder) {
  const bool host_path = SystemHasDrives() ? !DriveOf(folder).empty() : IsPosixPath(folder);
  if (!host_path || !program.Files.FolderExists(folder)) return u"找不到這個資料夾。";
  const std::u16string drives = JoinPath(program.Files.ProgramFolder(), u"drives");
  if (PathStartsWith(AddBackslash(folder), AddBackslash(drives))) {
    return u"磁碟機不能對應到程式資料夾的 drives 之內。";
  }
  return {};
}

}  // namespace kavrel
