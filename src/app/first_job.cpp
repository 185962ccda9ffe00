#include "app/first_job.h"

#include <algorithm>

#include "app/program.h"
#include "base/text.h"
#include "base/translation.h"
#include "files/error_text.h"
#include "files/path.h"
#include "platform/folders.h"

namespace kavrel {

namespace {

bool HoldsNetwork(const MountTable& mounts, std::u16string_view folder) {
  if (mounts.OnNetwork(folder)) return true;
  const std::vector<std::u16string>& points = mounts.Points();
  return std::any_of(points.begin(), points.end(), [&](const std::u16string& point) {
    return IsAtOrBelow(point, DropBackslash(folder)) && mounts.OnNetwork(point);
  });
}

bool IsHidden(const Folder& home, std::u16string_view name) {
  const Result<FileStatus> status = home.Status(name);
  return !status || (status->Attributes & (kAttrHidden | kAttrSystem)) != 0;
}

/// What the folder, or the nearest one above it that is there, has to offer.
void LookAt(const Program& program, PlaceOffer& place) {
  std::u16string_view at = place.Folder;
  Result<Folder> folder = program.Files.OpenFolder(at);
  while (!folder && !IsRootPath(at) && !PathFolder(at).empty()) {
    at = PathFolder(at);
    folder = program.Files.OpenFolder(at);
  }
  place.Writable = folder && folder->MayWrite();
  if (!folder) return;
  if (const Result<DiskSpace> space = folder->Space()) place.Free = space->Free;
}

}  // namespace

std::vector<SourceOffer> SourceOffers(const Program& program) {
  const std::u16string path = HomeFolder(), backups = program.DefaultDestination();
  std::vector<SourceOffer> offers{
      {TrLaterIn("name", u"家目錄"), path, !HoldsNetwork(program.Mounts, path)}};
  const Result<Folder> home = program.Files.OpenFolder(path);
  if (!home) return offers;
  FolderReader reader(*home);
  while (const FolderEntry* entry = reader.Next()) {
    const std::u16string folder = AddBackslash(JoinPath(path, entry->Name));
    if (entry->Kind != FileKind::Folder || folder == backups || IsHidden(*home, entry->Name)) {
      continue;
    }
    offers.push_back({entry->Name, folder, !HoldsNetwork(program.Mounts, folder)});
  }
  std::sort(offers.begin() + 1, offers.end(),
            [](const SourceOffer& a, const SourceOffer& b) { return a.Name < b.Name; });
  return offers;
}

std::vector<PlaceOffer> PlaceOffers(const Program& program,
                                    const std::vector<std::u16string>& volumes) {
  std::vector<PlaceOffer> offers;
  const std::u16string home = HomeFolder();
  for (const std::u16string& volume : volumes) {
    // That one is offered by its own name.
    if (PathStartsWith(home, AddBackslash(volume))) continue;
    offers.push_back({std::u16string(IsPosixPath(volume) ? PathName(volume) : volume),
                      AddBackslash(JoinPath(volume, u"Backup")), std::nullopt, true});
  }
  offers.push_back(
      {TrLaterIn("name", u"家目錄"), program.DefaultDestination(), std::nullopt, true});
  for (PlaceOffer& offer : offers) {
    if (!program.Mounts.OnNetwork(offer.Folder)) LookAt(program, offer);
  }
  return offers;
}

JobForm FirstJob(const Program& program, const SourceOffer& source, const PlaceOffer& place,
                 IntervalKind interval) {
  const DateTime now = program.Context.Time.Now();
  BackupJob job;
  NewJobDefaults(job, now, place.Folder);
  JobForm form = FormOf(job);
  form.Name = source.Name;
  form.Source = source.Folder;
  form.Enabled = true;
  form.Interval = interval;
  form.Count = 1;
  form.Start = std::chrono::floor<std::chrono::hours>(now);
  return form;
}

std::u16string MakeFirstJob(Program& program, const JobForm& form) {
  BackupJob job;
  const FormCheck check = ApplyForm(
      form, program.Store.Jobs, [&](const BackupJob& made) { return program.NextRunTimeOf(made); },
      [&](std::u16string_view path) { return program.Files.FolderExists(path); }, job);
  if (check != FormCheck::Ok) return FormCheckMessage(check, form);
  StoreJob(job, program.Store.Jobs);
  if (program.Store.SaveJobs()) return {};
  return u"備份排程無法儲存，" + std::u16string(ApiErrorText(program.Store.LastError()));
}

}  // namespace kavrel
