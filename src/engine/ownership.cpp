#include "engine/ownership.h"

#include <algorithm>

#include "base/translation.h"
#include "engine/job_disks.h"
#include "engine/refusal.h"
#include "engine/run_context.h"
#include "engine/run_driver.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "rules/date_tokens.h"

namespace kavrel {

namespace {

bool IsEmpty(const Folder& folder) {
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (!IsKeptByDisk(folder, entry->Name) && !IsBackupsOwn(entry->Name)) return false;
  }
  return reader.Error() == 0;
}

/// Whom a restore of the job does not take for its own. A source that has moved is the job's own
/// still; one that is there beside today's is another.
std::vector<OwnerMark::Owner> StrangersOf(const FileSystem& files, const OwnerMark& mark,
                                          const BackupJob& job) {
  std::vector<OwnerMark::Owner> others = mark.Owners;
  std::erase_if(others, [&](const OwnerMark::Owner& owner) {
    return IsSamePath(owner.Source, job.Source.Path) ||
           (owner.Id == job.Extras.Id && mark.IsAlone(owner.Id) &&
            files.Answers(owner.Source, kMarkPatience) && !files.FolderExists(owner.Source));
  });
  return others;
}

/// The names of jobs in brackets of the language.
template <typename List, typename NameOf>
std::u16string Quoted(const List& jobs, NameOf&& name_of) {
  std::u16string text;
  for (const auto& job : jobs) {
    if (!text.empty()) text += u"、";
    text += u"「" + std::u16string(name_of(job)) + u"」";
  }
  return text;
}

std::vector<OwnerMark::Owner> OthersOf(const OwnerMark& mark, const BackupJob& job) {
  std::vector<OwnerMark::Owner> others = mark.Owners;
  std::erase_if(others, [&](const OwnerMark::Owner& owner) { return owner.Id == job.Extras.Id; });
  return others;
}

std::u16string BelongsText(const std::vector<OwnerMark::Owner>& others, std::u16string_view path) {
  const std::u16string names =
      Quoted(others, [](const OwnerMark::Owner& owner) { return owner.Name; });
  return Fill(u"%1 是排程%2的備份，來源：%3", {path, names, others.front().Source});
}

std::u16string UnreadableText(std::u16string_view path) {
  return Fill(u"無法得知是哪一個排程的備份：%1", {path});
}

/// Jobs that have run into this folder, in the same way: plain ones, or compressed ones, whose
/// archives of one hour are one.
std::vector<const BackupJob*> RanHere(const RunContext& context, const BackupJob& job,
                                      std::u16string_view folder) {
  std::vector<const BackupJob*> jobs =
      JobsOfFolder(context.Files, context.Time, context.Store.Jobs, folder, job.JobIndex);
  std::erase_if(jobs, [&](const BackupJob* other) {
    return other->LastRun == kZeroDate || other->Compressed != job.Compressed;
  });
  return jobs;
}

std::u16string SharedText(const std::vector<const BackupJob*>& jobs, std::u16string_view folder) {
  return Fill(u"排程%1也備份到同一個資料夾：%2",
              {Quoted(jobs, [](const BackupJob* job) { return job->Name; }), folder});
}

/// The mark of the first archive in a folder for which `takes` is true, asked with its name.
Result<OwnerMark> FindArchiveMark(
    const Folder& folder, const std::function<bool(const OwnerMark&, std::u16string_view)>& takes) {
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (!IsArchiveName(entry->Name)) continue;
    Result<OwnerMark> mark = ReadOwnerMark(folder, entry->Name);
    if (mark && takes(*mark, entry->Name)) return mark;
  }
  return Result<OwnerMark>::Fail(kErrNotFound);
}

/// The archives of other jobs in a folder.
std::vector<OwnerMark::Owner> OwnersOfArchives(const FileSystem& files, const BackupJob& job,
                                               std::u16string_view path) {
  const Result<Folder> folder = files.OpenFolder(path);
  if (!folder) return {};
  return FindArchiveMark(*folder, [&](const OwnerMark& mark,
                                      std::u16string_view) { return !mark.Names(job.Extras.Id); })
      ->Owners;
}

OwnerMark::Owner OwnerOf(const BackupJob& job) {
  return {job.Extras.Id, job.Name, job.Source.Path};
}

/// Whether the path is the one that the mark of a folder names, or leads to the same.
bool IsNamedPlace(const FileSystem& files, const Folder& folder, const OwnerMark& mark,
                  std::u16string_view path) {
  if (IsSamePath(mark.Place, path)) return true;
  const Result<FileStatus> there = StatusOf(OpenMarked(files, mark.Place));
  return there && IdentityOf(folder).Is(*there);
}

/// Whether a path is where the backup that a mark tells of was written, or that is not there any
/// more, because its disk is somewhere else now: not a copy.
bool IsOriginal(const FileSystem& files, const Folder& folder, const OwnerMark& mark,
                std::u16string_view archive, std::u16string_view path) {
  if (IsSamePath(mark.Place, path)) return true;
  const std::u16string_view name = archive.empty() ? archive : PathName(mark.Place);
  const Result<Folder> place =
      OpenMarked(files, archive.empty() ? std::u16string_view(mark.Place) : PathFolder(mark.Place));
  const Result<FileStatus> there = StatusOf(place);
  if (!there) return true;
  // A link may lead to the same place.
  if (IdentityOf(folder).Is(*there) && name == archive) return true;
  // So may another way to it, on which nothing tells it from a copy.
  if (folder.Manners().Relayed || place->Manners().Relayed) return true;
  const Result<OwnerMark> original = ReadOwnerMark(*place, name);
  return !original || original->Number != mark.Number || !original->Names(mark.Owners.back().Id);
}

/// Whether the marked folder is a copy of the one that the job's runs wrote into; a mirror, which
/// removes what it does not know, has to know that it is none.
bool IsElsewhere(const FileSystem& files, const Folder& folder, const OwnerMark& mark,
                 const BackupJob& job) {
  const std::u16string place = AddBackslash(job.Destination.WorkPath);
  if (!job.Synchronise) return !IsOriginal(files, folder, mark, {}, place);
  const std::optional<bool> last = IsLastPlace(files, job);
  return last ? !*last || !IsOriginal(files, folder, mark, {}, place)
              : !IsNamedPlace(files, folder, mark, place);
}

/// As IsPlaceOfOthers, for a mark that has been read.
bool TellsOfOthers(const FileSystem& files, const Folder& folder, const OwnerMark& mark,
                   std::u16string_view archive, std::u16string_view path, const BackupJob& job) {
  if (mark.Names(job.Extras.Id)) return false;
  // A source that somebody copied back by hand bears the mark of its backup.
  if (std::any_of(mark.Owners.begin(), mark.Owners.end(),
                  [&](const OwnerMark::Owner& owner) { return IsSamePath(owner.Source, path); })) {
    return false;
  }
  return IsOriginal(files, folder, mark, archive, path);
}

/// Whose archives make a folder the place of a backup that nothing should be restored into; nobody
/// where there are none.
std::vector<OwnerMark::Owner> ArchivesIn(const FileSystem& files, const Folder& folder,
                                         const std::u16string& place, const BackupJob& job) {
  const Result<OwnerMark> mark =
      FindArchiveMark(folder, [&](const OwnerMark& found, std::u16string_view name) {
        return found.Names(job.Extras.Id) ||
               TellsOfOthers(files, folder, found, name, place + std::u16string(name), job);
      });
  if (!mark) return {};
  return mark->Names(job.Extras.Id) ? std::vector{OwnerOf(job)} : mark->Owners;
}

/// The nearest folder from this one upwards that is the backup of other jobs alone, or, asked for
/// it, one that this job has a part in or that holds archives; in words.
std::u16string InsideText(const FileSystem& files, const BackupJob& job, std::u16string_view path,
                          bool own_too = false) {
  for (path = DropBackslash(path); !path.empty(); path = PathFolder(path)) {
    const Result<Folder> folder = files.OpenFolder(path);
    if (!folder) continue;
    const std::u16string place = AddBackslash(path);
    if (own_too) {
      const std::vector<OwnerMark::Owner> owners = ArchivesIn(files, *folder, place, job);
      if (!owners.empty()) return BelongsText(owners, place);
    }
    const Result<OwnerMark> mark = ReadOwnerMark(*folder);
    if (!mark) continue;
    if (own_too && mark->Names(job.Extras.Id)) return BelongsText({OwnerOf(job)}, place);
    if (TellsOfOthers(files, *folder, *mark, {}, place, job)) {
      return BelongsText(mark->Owners, place);
    }
  }
  return {};
}

/// The mark that a run into the place which was found is to leave.
OwnerMark MarkOf(const PlaceFound& found, const BackupJob& job, std::u16string_view place) {
  OwnerMark mark = found.Mark;
  if (!found.Marked) mark = {};
  if (!found.Marked || found.Elsewhere) {
    // No copy of another one any more.
    mark.Number = NewOwnerId();
    mark.Found = mark.Found || !found.Empty;
  }
  mark.Place = place;
  // Until this run is whole, nobody knows what is there.
  mark.Begun = job.Compressed || HasDateTags(job.Destination.Path) ? job.RunStarted : kZeroDate;
  mark.Figures.reset();
  if (job.Extras.Adopt) {
    mark.Found = mark.Found || !OthersOf(mark, job).empty();
    mark.Owners.clear();
  }
  // What the job had from another source is not what it would restore now, nor let go by age.
  for (OwnerMark::Owner& owner : mark.Owners) {
    if (owner.Id == job.Extras.Id && !IsSamePath(owner.Source, job.Source.Path)) owner.Id.clear();
  }
  std::erase_if(mark.Owners, [&](const OwnerMark::Owner& owner) {
    return owner.Id == job.Extras.Id ||
           (owner.Id.empty() && IsSamePath(owner.Source, job.Source.Path));
  });
  mark.Owners.push_back(OwnerOf(job));
  return mark;
}

bool Differ(const OwnerMark& a, const OwnerMark& b) {
  const auto same = [](const OwnerMark::Owner& x, const OwnerMark::Owner& y) {
    return x.Id == y.Id && x.Name == y.Name && x.Source == y.Source;
  };
  return a.Place != b.Place || a.Number != b.Number || a.Found != b.Found ||
         a.Mirrored != b.Mirrored || a.Archive != b.Archive || a.Begun != b.Begun ||
         a.Figures != b.Figures ||
         !std::equal(a.Owners.begin(), a.Owners.end(), b.Owners.begin(), b.Owners.end(), same);
}

/// No file is missing, but later runs will not know the place again.
void CountUnmarked(RunContext& context, std::u16string_view path) {
  ++context.Report.Counters.WarningFiles;
  context.Tell(u": 寫入備份標記 (失敗)：", path);
}

void Write(RunContext& context, const Folder& folder, const OwnerMark& mark,
           std::u16string_view archive = {}) {
  if (WriteOwnerMark(folder, mark, archive)) return CountUnmarked(context, mark.Place);
  context.Place.Written = mark;
}

}  // namespace

PlaceFound LookAtPlace(const RunContext& context, const BackupJob& job,
                       std::u16string_view archive) {
  PlaceFound found;
  const Result<Folder> folder = context.Files.OpenFolder(
      archive.empty() ? DestinationPlace(context, job) : PathFolder(archive));
  if (!folder) {
    found.Empty = IsNotFound(folder.Error);
    return found;
  }
  Result<OwnerMark> mark = ReadOwnerMark(*folder, PathName(archive));
  found.Empty =
      archive.empty() ? IsEmpty(*folder) : IsNotFound(folder->Status(PathName(archive)).Error);
  found.Marked = bool(mark) && !found.Empty;
  if (mark) found.Mark = std::move(*mark);
  // In a folder that was emptied, the mark alone still tells whose it is.
  if (archive.empty() && mark) found.Marked = true;
  if (mark.Error && !IsNotFound(mark.Error) && !found.Empty) found.Unreadable = mark.Error;
  // What an interrupted run has left was moved by this one, not by somebody.
  const bool may_be_copy = archive.empty() && !context.Making.TakenUp;
  if (may_be_copy && found.Marked && found.Mark.Names(job.Extras.Id)) {
    found.Elsewhere = IsElsewhere(context.Files, *folder, found.Mark, job);
  }
  if (!archive.empty()) found.Archive = *ArchiveFingerprint(*folder, PathName(archive));
  return found;
}

std::u16string EntryObjection(const RunContext& context, const BackupJob& job,
                              std::u16string_view archive) {
  const PlaceFound& found = context.Place;
  const std::u16string_view path = archive.empty() ? job.Destination.WorkPath : archive;
  const std::u16string& folder = job.Destination.WorkPath;
  if (found.Unreadable) return UnreadableText(path);
  if (found.Marked) {
    if (found.Mark.Names(job.Extras.Id)) return {};
    return BelongsText(found.Mark.Owners, path);
  }
  if (!archive.empty()) {
    // Archives that go into the folder of a plain job mix with its files.
    const Result<Folder> opened = context.Files.OpenFolder(folder);
    const Result<OwnerMark> mark =
        opened ? ReadOwnerMark(*opened) : Result<OwnerMark>::Fail(opened.Error);
    if (mark && !mark->Names(job.Extras.Id)) return BelongsText(mark->Owners, folder);
  }
  std::u16string inside = InsideText(context.Files, job, PathFolder(DropBackslash(folder)));
  if (!inside.empty() || found.Empty) return inside;
  if (archive.empty()) {
    const std::vector<OwnerMark::Owner> owners = OwnersOfArchives(context.Files, job, folder);
    if (!owners.empty()) return BelongsText(owners, folder);
  }
  const std::vector<const BackupJob*> others = RanHere(context, job, folder);
  return others.empty() ? std::u16string() : SharedText(others, folder);
}

bool GiveIdentity(RunContext& context, BackupJob& job) {
  if (!job.Extras.Id.empty()) return true;
  job.Extras.Id = NewOwnerId();
  if (context.Store.SaveJobs()) return true;
  job.Extras.Id.clear();
  return false;
}

bool EnterPlace(RunContext& context, BackupJob& job, std::u16string_view archive) {
  const bool known = GiveIdentity(context, job);
  if (!known) job.Extras.Id = NewOwnerId();
  context.Place = LookAtPlace(context, job, archive);
  context.Place.Write = known;
  const std::u16string objection = EntryObjection(context, job, archive);
  context.Place.Agreed = context.Force || job.Extras.Adopt;
  const bool agreed =
      objection.empty() || context.Place.Agreed ||
      AskToGoOn(context, job, RunRefusal::PlaceOfOthers, u"目標歸屬檢查", objection);
  if (!known) job.Extras.Id.clear();
  return agreed;
}

void MarkFolder(RunContext& context, const BackupJob& job, const Folder& dest) {
  const PlaceFound& found = context.Place;
  OwnerMark mark = MarkOf(found, job, AddBackslash(job.Destination.WorkPath));
  // What a mirror has left is one no longer when a run adds to it.
  const bool alone = found.Marked && found.Mark.IsAlone(job.Extras.Id);
  mark.Mirrored = job.Synchronise && (found.Marked ? alone && found.Mark.Mirrored : found.Empty);
  // Until a mirror of it is whole, the old source is what the place shows.
  if (job.Synchronise && alone) mark.Owners = found.Mark.Owners;
  DropHalfMark(dest);
  // Until its guard has passed, a mirror claims nothing of what was there before.
  if (job.Synchronise && (!found.Marked || found.Elsewhere) && !found.Empty) return;
  if (found.Marked && !Differ(mark, found.Mark)) return;
  if (!found.Write) return CountUnmarked(context, mark.Place);
  Write(context, dest, mark);
}

void MarkMirrored(RunContext& context, const BackupJob& job, const Folder& dest) {
  const PlaceFound& place = context.Place;
  const bool marked = place.Marked || !place.Written.Owners.empty();
  const OwnerMark now = place.Written.Owners.empty() ? place.Mark : place.Written;
  const bool anew = !marked || (place.Elsewhere && place.Written.Owners.empty());
  OwnerMark mark = anew ? MarkOf(place, job, AddBackslash(job.Destination.WorkPath)) : now;
  mark.Mirrored = true;
  mark.Owners = {OwnerOf(job)};
  if (marked && !Differ(mark, now)) return;
  if (!place.Write) return CountUnmarked(context, mark.Place);
  Write(context, dest, mark);
}

void MarkWhole(RunContext& context, const BackupJob& job, std::u16string_view unit) {
  const std::u16string& place = context.Making.Place;
  const Result<Folder> folder =
      context.Files.OpenFolder(place.empty() ? UnitFolder(unit) : std::u16string_view(place));
  if (!folder || !context.Place.Write) return;
  const std::u16string_view archive = PathName(unit);
  Result<OwnerMark> mark = ReadOwnerMark(*folder, archive);
  if (!mark || !mark->Names(job.Extras.Id)) return;
  const RunCounters& counters = context.Report.Counters;
  mark->Begun = job.RunStarted;
  mark->Figures = {std::uint64_t{counters.CopiedFiles} + counters.UnchangedFiles,
                   job.Compressed ? counters.CopiedBytes : counters.SourceBytes,
                   counters.CopiedFiles, counters.CopiedBytes,
                   std::uint64_t{counters.FailedFiles} + counters.UnseenFiles};
  // A mark that is a file changes the time of its folder, which is that of the source's.
  const Result<FileStatus> before = folder->Status();
  Write(context, *folder, *mark, archive);
  if (before && archive.empty()) folder->SetTimes(*before);
}

void MarkArchive(RunContext& context, const BackupJob& job, std::u16string_view archive) {
  const Result<Folder> folder = context.Files.OpenFolder(PathFolder(archive));
  const Result<std::u16string> print = folder ? ArchiveFingerprint(*folder, PathName(archive))
                                              : Result<std::u16string>::Fail(folder.Error);
  if (folder) DropHalfMark(*folder, PathName(archive));
  // No archive was made, or the earlier one was left as it was.
  if (IsNotFound(print.Error)) return;
  const bool as_it_was = print && *print == context.Place.Archive;
  // An archive that was written anew may be the same to the last byte, and have lost its mark.
  if (as_it_was && (!context.Place.Marked || ReadOwnerMark(*folder, PathName(archive)))) return;
  OwnerMark mark = MarkOf(context.Place, job, archive);
  mark.Archive = *print;
  if (!print || !context.Place.Write) return CountUnmarked(context, archive);
  Write(context, *folder, mark, PathName(archive));
}

bool IsOwnAfterRun(const PlaceFound& place, const BackupJob& job) {
  const OwnerMark& mark = place.Written.Owners.empty() ? place.Mark : place.Written;
  return mark.IsAlone(job.Extras.Id) && (mark.Mirrored || !job.Synchronise);
}

bool IsOwnMirror(const PlaceFound& place, const BackupJob& job) {
  const OwnerMark& mark = place.Mark;
  return place.Marked && !place.Elsewhere && mark.Mirrored && mark.IsAlone(job.Extras.Id) &&
         IsSamePath(mark.Owners.front().Source, job.Source.Path);
}

Result<OwnerMark> ReadJobMark(const FileSystem& files, const Folder& folder,
                              std::u16string_view archive, const BackupJob& job) {
  Result<OwnerMark> mark = ReadOwnerMark(folder, archive);
  const bool others = mark && StrangersOf(files, *mark, job).size() == mark->Owners.size();
  return others ? Result<OwnerMark>::Fail(kErrNotFound) : std::move(mark);
}

bool IsShared(const FileSystem& files, const OwnerMark& mark, const BackupJob& job) {
  return !StrangersOf(files, mark, job).empty();
}

bool IsMadeBy(const OwnerMark& mark, const BackupJob& job, std::u16string_view unit) {
  return !mark.Found && mark.IsAlone(job.Extras.Id) && IsSamePath(mark.Place, unit);
}

Result<bool> IsMadeBy(const FileSystem& files, const BackupJob& job, std::u16string_view unit) {
  const Result<Folder> folder = files.OpenFolder(UnitFolder(unit));
  if (!folder) return Result<bool>::Fail(folder.Error);
  const Result<OwnerMark> mark =
      ReadOwnerMark(*folder, EndsWithSeparator(unit) ? std::u16string_view() : PathName(unit));
  if (!mark && !IsNotFound(mark.Error)) return Result<bool>::Fail(mark.Error);
  return {mark && IsMadeBy(*mark, job, unit), 0};
}

bool IsPlaceOfOthers(const FileSystem& files, const Folder& folder, std::u16string_view archive,
                     std::u16string_view path, const BackupJob& job) {
  const Result<OwnerMark> mark = ReadOwnerMark(folder, archive);
  return mark && TellsOfOthers(files, folder, *mark, archive, path, job);
}

namespace {

/// True for a folder in which something is found, or that cannot be looked through.
bool IsHolder(const FileSystem& files, const Folder& folder, std::u16string& path,
              const FileStatus& root, const BackupJob& job) {
  FolderReader reader(folder);
  const std::size_t length = path.size();
  while (const FolderEntry* entry = reader.Next()) {
    path.resize(length);
    path += entry->Name;
    if (entry->Kind != FileKind::Folder) {
      const bool archive = IsArchiveName(entry->Name);
      if (archive && IsPlaceOfOthers(files, folder, entry->Name, path, job)) return true;
      continue;
    }
    path += PathSeparator(path);
    const Result<Folder> below = folder.OpenFolder(entry->Name);
    const Result<FileStatus> status = StatusOf(below);
    if (!status || status->Device != root.Device || status->Mount != root.Mount) return true;
    if (IsPlaceOfOthers(files, *below, {}, path, job)) return true;
    if (IsHolder(files, *below, path, root, job)) return true;
  }
  return reader.Error() != 0;
}

}  // namespace

bool HoldsPlaceOfOthers(const FileSystem& files, std::u16string_view path, const BackupJob& job) {
  const Result<Folder> folder = files.OpenFolder(path);
  const Result<FileStatus> status = StatusOf(folder);
  std::u16string at(path);
  return !status || IsHolder(files, *folder, at, *status, job);
}

std::u16string TargetObjection(const FileSystem& files, const BackupJob& job,
                               std::u16string_view target) {
  return InsideText(files, job, target, true);
}

std::u16string RestoreObjection(const RunContext& context, const BackupJob& job,
                                std::u16string_view folder, std::u16string_view archive) {
  const std::u16string_view path = archive.empty() ? folder : archive;
  const Result<Folder> opened = context.Files.OpenFolder(folder);
  if (!opened) return {};
  const Result<OwnerMark> mark = ReadOwnerMark(*opened, PathName(archive));
  if (!mark && !IsNotFound(mark.Error)) return UnreadableText(path);
  if (mark) {
    const std::vector<OwnerMark::Owner> others = StrangersOf(context.Files, *mark, job);
    return others.empty() ? std::u16string() : BelongsText(others, path);
  }
  // Written by a version that left no marks: only the store tells who may have been here.
  const std::vector<const BackupJob*> others = RanHere(context, job, folder);
  return others.empty() ? std::u16string() : SharedText(others, folder);
}

std::vector<const BackupJob*> JobsOfFolder(const FileSystem& files, Clock& clock,
                                           const std::vector<BackupJob>& jobs,
                                           std::u16string_view folder, std::int32_t own,
                                           const PathTest& may_look) {
  std::vector<const BackupJob*> found;
  const bool looks = !may_look || may_look(folder);
  const Result<Folder> opened =
      looks ? files.OpenFolder(folder) : Result<Folder>::Fail(kErrNotFound);
  const FolderIdentity identity = opened ? IdentityOf(*opened) : FolderIdentity();
  for (const BackupJob& job : jobs) {
    if (job.Deleted || job.JobIndex == own || job.Destination.Path.empty()) continue;
    const std::u16string place = ExpandedDestination(job, clock);
    bool same = IsSamePath(place, folder);
    if (!same && identity.Known && (!may_look || may_look(place))) {
      const Result<Folder> other = files.OpenFolder(place);
      const Result<FileStatus> status = StatusOf(other);
      same = status && identity.Is(*status);
    }
    if (same) found.push_back(&job);
  }
  return found;
}

}  // namespace kavrel
