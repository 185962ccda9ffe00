#include "engine/into_plan.h"

#include <algorithm>

#include "files/path.h"
#include "files/place.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// What the disk gets back when a name goes: of a file with several names a share, as all of them
/// may go.
std::int64_t RoomOf(const FileStatus& dest) {
  const std::uint64_t names = std::max<std::uint64_t>(dest.Links, 1);
  return static_cast<std::int64_t>(std::min(dest.Size, dest.Allocated) / names);
}

/// Whether the owner of a folder has to be let look into it.
bool IsLocked(const Folder& folder) {
  const Result<FileStatus> status = folder ? folder.Status() : Result<FileStatus>{};
  return status && status->Mode != 0 && (status->Mode & kOwnerMayLook) != kOwnerMayLook;
}

}  // namespace

PlanningContext::PlanningContext(const RunContext& run, RunState& state, MessagePump& pump,
                                 RunPlan& plan)
    : host_(pump), log_(run.Files, run.Time, true), Context(run.With(state, host_, log_, plan)) {
  Context.Making.Record = nullptr;
}

bool IntoPlan::Takes(const Folder& folder, std::u16string_view path) {
  if (!folder) return true;
  if (asked_ != path) {
    asked_ = path;
    takes_ = folder.MayWrite();
    // One that only its permissions lock is unlocked by the run.
    const Result<FileStatus> status = takes_ ? Result<FileStatus>{} : folder.Status();
    if (status && status->Mode != 0) takes_ = !OwnerMayAll(*status);
  }
  return takes_;
}

bool IntoPlan::Refuses(const FileTurn& file) {
  if (Takes(file.Pair.Dest, file.Paths.Dest())) return false;
  FailFile(file, PlanReason::NotWritable);
  return true;
}

void IntoPlan::FailFile(const FileTurn& file, PlanReason reason) {
  plan_.Add(PlanAction::Fail, reason, false, PathOf(file));
  CountFailed(file.Paths.SourceOf(file.Name));
}

std::u16string IntoPlan::PathOf(const FileTurn& file) const {
  return std::u16string(file.Paths.BelowRoot()) += file.Name;
}

bool IntoPlan::Make(const FolderPair* parent, std::u16string_view, const WalkPaths& paths,
                    FolderPair& pair) {
  if (pair.Dest) {
    pair.DestManners = pair.Dest.Manners();
    return true;
  }
  const std::u16string_view path = paths.Dest();
  if (parent && pair.DestError == kErrAccess && IsLocked(parent->Dest)) {
    // The run unlocks it. What it holds cannot be seen before.
    pair.DestIsNew = true;
    return true;
  }
  // A backup's preview shows what would be copied, and warns; a restore's is held against the run.
  const bool reachable = parent || (plan_.OfRestore ? NoPlaceText(context_.Files, path).empty()
                                                    : context_.Files.HostPath(path).has_value());
  if (!reachable || (!IsNotFound(pair.DestError) && !IsGone(DropBackslash(path)))) {
    plan_.Add(PlanAction::Fail, PlanReason::Blocked, true, paths.BelowRoot());
    return false;
  }
  plan_.Add(PlanAction::Copy, PlanReason::New, true, paths.BelowRoot());
  pair.DestIsNew = true;
  return true;
}

void IntoPlan::FinishFolder(const FolderPair& pair, const WalkPaths& paths) {
  if (!pair.DestFound || !pair.Source || IsRootPath(paths.Source()) ||
      !WouldUpdate(pair, {}, pair.SourceStatus, *pair.DestFound)) {
    return;
  }
  CountUpdated(paths.Dest());
  plan_.Add(PlanAction::Update, PlanReason::Attributes, true, paths.BelowRoot());
}

void IntoPlan::Copy(const FileTurn& file, PlanReason reason) {
  const std::u16string path = PathOf(file);
  const FileStatus& source = file.Source;
  if (file.Dest && file.Dest->Kind == FileKind::Folder) {
    return FailFile(file, PlanReason::Blocked);
  }
  if (Refuses(file)) return;
  plan_.Add(file.Dest ? PlanAction::Replace : PlanAction::Copy, reason, false, path, source.Size);
  plan_.NetBytes += static_cast<std::int64_t>(std::min(source.Size, source.Allocated));
  // What it replaces goes only when it is there.
  plan_.PeakBytes = std::max(plan_.PeakBytes, plan_.NetBytes);
  if (file.Dest) plan_.NetBytes -= RoomOf(*file.Dest);
  if (job_.Extras.KeepHardLinks && source.Kind == FileKind::File && links_.HasSeveral(source)) {
    NoteFirst(file.Pair, file.Paths, file.Name, {}, source, nullptr);
  }
  ++context_.Report.Counters.CopiedFiles;
  context_.Report.Counters.CopiedBytes += source.Size;
}

bool IntoPlan::Link(HardLinks::FirstCopy&, const FileTurn& file, bool equal) {
  if (!equal && Refuses(file)) return true;
  const PlanAction action = equal       ? PlanAction::Update
                            : file.Dest ? PlanAction::Replace
                                        : PlanAction::Copy;
  plan_.Add(action, PlanReason::Linked, false, PathOf(file));
  if (file.Dest) plan_.NetBytes -= RoomOf(*file.Dest);
  ++(equal ? context_.Report.Counters.UnchangedFiles : context_.Report.Counters.CopiedFiles);
  return true;
}

bool IntoPlan::TakeFormer(const FileTurn& file, const FormerCopy& copy) {
  const FormerState& former = *context_.Making.Former;
  const bool rights = former.RightsKnown() && former.RightsDiffer(file.Source, copy.Status);
  if (rights || !former.SameAttributes(file.Pair, file.Name, file.Source, copy)) return false;
  if (!HasItsContent(copy, file)) return false;
  if (job_.Extras.KeepHardLinks && links_.HasSeveral(file.Source)) {
    NoteFirst(file.Pair, file.Paths, file.Name, {}, file.Source, nullptr);
  }
  ++context_.Report.Counters.UnchangedFiles;
  return true;
}

bool IntoPlan::TakesAgain(const FileStatus& source, bool compare) {
  if (compare) {
    ++context_.Report.Counters.UnchangedFiles;
  } else {
    ++context_.Report.Counters.CopiedFiles;
    context_.Report.Counters.CopiedBytes += source.Size;
  }
  return true;
}

void IntoPlan::UpdateFile(const FileTurn& file) {
  if (!WouldUpdate(file.Pair, file.Name, file.Source, *file.Dest)) return;
  CountUpdated(file.Paths.Dest());
  plan_.Add(PlanAction::Update, PlanReason::Attributes, false, PathOf(file));
}

void IntoPlan::Enter(const Folder& folder, std::u16string_view path, Emptying&) {
  NotePlace(folder, {}, path);
}

void IntoPlan::RemoveFile(const RemovalPlace& from, const FolderEntry& file,
                          std::u16string_view path) {
  if (IsArchiveName(file.Name)) {
    NotePlace(from.Opened, file.Name, std::u16string(path) += file.Name);
  }
  if (!Takes(from.Opened, path)) {
    plan_.Add(PlanAction::Fail, PlanReason::NotWritable, false,
              std::u16string(BelowRoot(path)) += file.Name);
    return CountFileGone(kErrAccess, file.Name, from.In);
  }
  if (plan_.Wants(RunPlan::Level::Sizes)) {
    const Result<FileStatus> status = from.Opened.Status(file.Name);
    const std::uint64_t size = status ? status->Size : 0;
    if (status && !job_.UseRecycleBin) {
      plan_.NetBytes -= static_cast<std::int64_t>(std::min(size, status->Allocated));
    }
    plan_.Add(Removal(), PlanReason::NotInSource, false,
              std::u16string(BelowRoot(path)) += file.Name, size);
  }
  CountFileGone(0, file.Name, from.In);
}

void IntoPlan::RemoveFolder(const RemovalPlace& from, std::u16string_view, std::u16string_view path,
                            const SharedEmptying&) {
  context_.State.LastApiError = 0;
  plan_.Add(Removal(), PlanReason::NotInSource, true, BelowRoot(path));
  CountFolderGone(0, path, from.In);
}

bool IntoPlan::MayBeSeen(const FolderPair& pair, std::u16string_view name,
                         std::u16string_view path) {
  // Only what the source has as another kind will be looked at once more.
  if (!pair.Source.Status(name)) return false;
  gone_.insert(std::u16string(path) += name);
  return true;
}

void IntoPlan::NotePlace(const Folder& folder, std::u16string_view archive,
                         std::u16string_view path) {
  if (!place_of_others_.empty()) return;
  if (IsPlaceOfOthers(context_.Files, folder, archive, path, job_)) place_of_others_ = path;
}

}  // namespace kavrel
