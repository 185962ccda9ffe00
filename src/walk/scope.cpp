#include "walk/scope.h"

#include <algorithm>

#include "base/text.h"
#include "base/wildcard.h"
#include "files/owner_mark.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "platform/trace.h"
#include "rules/file_filters.h"
#include "walk/same_folder.h"

namespace kavrel {

namespace {

void TraceLeftOut(std::u16string_view why, std::u16string_view folder, std::u16string_view name) {
  if (Tracing()) Trace("scope", {u"left out ", folder, name, u": ", why});
}

}  // namespace

Scope::Scope(const FileSystem& files, const BackupJob& job, const ExclusionSet& rules,
             std::u16string_view own)
    : system_(&files),
      rules_(&rules),
      own_path_(AddBackslash(own)),
      subfolders_(job.IncludeSubfolders) {
  TakeTypes(job);
  TakeStates(job);
}

Scope Scope::OfArchive(const BackupJob& job) {
  Scope scope;
  scope.TakeTypes(job);
  scope.TakeStates(job);
  return scope;
}

Scope Scope::OfRestore(bool subfolders, bool files) {
  Scope scope;
  scope.subfolders_ = subfolders;
  scope.files_ = files;
  return scope;
}

Scope Scope::OfPicked(std::u16string_view root, const PathSet& only) {
  Scope scope;
  scope.only_ = &only;
  scope.root_length_ = AddBackslash(root).size();
  return scope;
}

void Scope::TakeTypes(const BackupJob& job) {
  job_ = &job;
  if (job.ExcludeFileTypes) return;
  for (std::u16string_view pattern : SplitPatterns(job.FileTypes)) patterns_.emplace_back(pattern);
  if (patterns_.size() == 1 && patterns_[0] == kAllFiles) patterns_.clear();
}

void Scope::TakeStates(const BackupJob& job) {
  const std::u16string& entered = job.Destination.Path;
  if (!HasDateTags(entered)) return;
  dated_.emplace(entered);
  if (PathStartsWith(entered, AddBackslash(job.Source.WorkPath))) own_states_ = dated_->Fixed();
}

bool Scope::IsNamedAsState(std::u16string_view name) const {
  DatedPath::Moment moment;
  return dated_ && dated_->Depth() > 0 && dated_->Takes(dated_->Depth() - 1, name, moment);
}

bool Scope::IsExcluded(std::u16string_view folder) const {
  if (!rules_ || !rules_->IsFolderExcluded(folder)) return false;
  TraceLeftOut(u"a rule excludes the folder", folder, {});
  return true;
}

void Scope::SetOwn(const Folder& folder, const Folder* source, TempNames* names) {
  own_ = IdentityOf(folder);
  own_folder_ = own_path_.empty() ? nullptr : &folder;
  names_ = names;
  // Only a destination behind something else is seen in the source under any name; to ask a server
  // for the mark of each folder of the source costs more than the files, but for that.
  own_has_views_ = source && folder && *source && folder.Manners().Relayed;
  numbers_differ_ = own_has_views_ || (source && folder && *source && source->Manners().Relayed);
}

bool Scope::IsOwnPath(std::u16string_view path) const {
  if (own_path_.empty() ||
      !(PathStartsWith(path, own_path_) || PathStartsWith(path, UnfinishedPath(own_path_)))) {
    return false;
  }
  TraceLeftOut(u"the destination, by its path", path, {});
  return true;
}

bool Scope::IsOwn(std::u16string_view path, const Folder& folder, const FileStatus& status) const {
  if (IsOwnPath(path)) return true;
  if (!folder) return false;
  if (own_.Is(status)) {
    TraceLeftOut(u"the destination, by its identity", path, {});
    return true;
  }
  if (!IsOwnByMark(path, folder)) return false;
  TraceLeftOut(u"the destination, by its mark", path, {});
  return true;
}

std::optional<bool> Scope::IsOneWith(const Folder& folder, const Folder& other) const {
  if (!numbers_differ_ || !names_) return std::nullopt;
  const MadeFile made = MakeFileIn(other, {&folder}, *names_);
  return made.Made ? std::optional(made.Shown) : std::nullopt;
}

/// A mirror claims nothing of what it finds before its guard has passed, and not each place takes a
/// mark. Until there is one, its name and what it holds tell what is worth a closer look.
bool Scope::MayBeOwn(const Folder& folder, bool named_so, bool marked) const {
  if (!numbers_differ_ || !names_ || !own_folder_) return false;
  if (named_so || marked) return true;
  own_marked_ = own_marked_ || ReadOwnerMark(*own_folder_);
  return own_has_views_ && !own_marked_ && HasEntryOf(folder, *own_folder_);
}

bool Scope::IsOwnByMark(std::u16string_view path, const Folder& folder) const {
  if (own_path_.empty()) return false;
  const bool may_be_state = MayHoldStates(path);
  // Through most things it bears its own name, or the one that it has until it is whole.
  std::u16string_view name = PathName(DropBackslash(path));
  const std::u16string_view own_name = PathName(DropBackslash(own_path_));
  if (name != own_name && name.ends_with(kUnfinished)) name.remove_suffix(kUnfinished.size());
  const bool may_be_view = own_has_views_ || name == own_name;
  if (!may_be_state && !may_be_view && !IsNamedAsState(name)) return false;
  const Result<OwnerMark> mark = ReadOwnerMark(folder);
  const std::optional<bool> is_own = MayBeOwn(folder, name == own_name, !IsNotFound(mark.Error))
                                         ? IsOneWith(folder, *own_folder_)
                                         : std::nullopt;
  if (is_own.value_or(false)) return true;
  if (IsNotFound(mark.Error)) {
    return !is_own && numbers_differ_ && own_folder_ && name == own_name &&
           LooksAlike(folder, *own_folder_, true);
  }
  if (!mark || !mark->Names(job_->Extras.Id)) return false;
  if (may_be_state) return true;
  if (IsSamePath(mark->Place, own_path_)) {
    // What joins several folders may have made the file in another one than that.
    return own_folder_ && IsSeenTwice(folder, *own_folder_, false, is_own.has_value());
  }
  // A former state, reached by another way than that to the destination; or somebody's copy of one.
  if (!dated_) return false;
  Result<Folder> made = OpenMarked(*system_, mark->Place);
  if (!made) made = OpenMarked(*system_, UnfinishedPath(mark->Place));
  if (!made) return false;
  const std::optional<bool> is_made = IsOneWith(folder, *made);
  return is_made.value_or(false) || IsSeenTwice(folder, *made, true, is_made.has_value());
}

bool Scope::IsOwnRoot(std::u16string_view path, const Folder& root) const {
  if (own_path_.empty()) return false;
  if (IsOwnPath(path)) return true;
  const Result<std::vector<FileStatus>> lineage = root.Lineage();
  return lineage && std::any_of(lineage->begin(), lineage->end(),
                                [&](const FileStatus& above) { return own_.Is(above); });
}

FolderScope Scope::In(std::u16string_view folder) const {
  FolderScope here;
  here.scope_ = this;
  if (rules_) here.exclusions_ = rules_->In(folder);
  if (only_) here.at_ = Relative(folder);
  if (Tracing()) here.path_ = folder;
  return here;
}

bool Scope::WithinSizeLimit(const FileStatus& file) const {
  return !job_ || !job_->LimitFileSize || file.Kind != FileKind::File ||
         static_cast<std::int64_t>(file.Size) <= std::int64_t{job_->MaxFileSizeKB} * 1024;
}

std::u16string Scope::Relative(std::u16string_view folder) const {
  if (folder.size() <= root_length_) return {};
  const std::u16string below(folder.substr(root_length_, folder.size() - root_length_ - 1));
  return PathSeparator(folder) == u'\\' ? ReplaceAll(below, u"\\", u"/") : below;
}

std::u16string_view LeftOutText(PlanReason reason) {
  if (reason == PlanReason::Rule) return u": 排除檔案 (成功)：";
  return reason == PlanReason::OwnerMark ? u": 略過備份標記 (成功)：" : u": 略過特殊檔案 (成功)：";
}

std::uint32_t FolderScope::TimesTaken(std::u16string_view name) const {
  const std::uint32_t times = CountTaken(name);
  if (times == 0) TraceLeftOut(u"not among the job's files", path_, name);
  return times;
}

std::uint32_t FolderScope::CountTaken(std::u16string_view name) const {
  // The mark of a backup is no part of it.
  if (!scope_->job_ && IsBackupsOwn(name)) return 0;
  if (scope_->only_) return scope_->only_->Holds(RelativePath(at_, name)) ? 1 : 0;
  const BackupJob* job = scope_->job_;
  if (!job) return scope_->files_ ? 1 : 0;
  if (job->ExcludeFileTypes) return MatchesPatternList(name, job->FileTypes) ? 0 : 1;
  const std::vector<std::u16string>& patterns = scope_->patterns_;
  if (patterns.empty()) return 1;
  return static_cast<std::uint32_t>(
      std::count_if(patterns.begin(), patterns.end(),
                    [&](const std::u16string& pattern) { return MatchesFileMask(name, pattern); }));
}

bool FolderScope::TakesAllNames() const {
  const BackupJob* const job = scope_->job_;
  const bool all_types = !job || !job->ExcludeFileTypes || job->FileTypes.empty();
  return all_types && scope_->patterns_.empty() && !scope_->only_ && scope_->files_ &&
         exclusions_.Empty();
}

std::optional<PlanReason> FolderScope::LeavesOut(const FolderEntry& file) const {
  if (exclusions_.IsFileExcluded(file.Name)) {
    TraceLeftOut(u"a rule excludes the file", path_, file.Name);
    return PlanReason::Rule;
  }
  // A socket, pipe or device has no content that a backup could keep.
  if (file.Kind == FileKind::Special) {
    TraceLeftOut(u"no file, folder or link", path_, file.Name);
    return PlanReason::Special;
  }
  // In the place of such a file at the destination lies the mark of this backup; elsewhere it would
  // make the copy another job's place.
  if (IsBackupsOwn(file.Name)) {
    TraceLeftOut(u"the mark of a backup", path_, file.Name);
    return PlanReason::OwnerMark;
  }
  return std::nullopt;
}

bool FolderScope::TakesFolder(std::u16string_view name) const {
  bool takes = scope_->subfolders_;
  if (scope_->only_) {
    const std::u16string path = RelativePath(at_, name);
    takes = scope_->only_->Holds(path) || scope_->only_->LeadsTo(path);
  }
  // What a verification has put aside is no part of a backup, nor of what comes back.
  takes = takes && name != kDamagedFolder;
  if (!takes) TraceLeftOut(u"not among the job's folders", path_, name);
  return takes;
}

}  // namespace kavrel
