#include "engine/tree_walk.h"

#include <algorithm>

#include "archive/recovery_data.h"
#include "engine/change_guard.h"
#include "engine/copy_reason.h"
#include "files/path.h"
#include "log/log_end.h"
#include "platform/error_codes.h"
#include "walk/folder_files.h"

namespace kavrel {

namespace {

constexpr std::uint64_t kLongCopy = std::uint64_t{16} << 20;

/// False for two links that point to different places, which their sizes and times do not tell.
bool SameLinkTarget(const FileTurn& file) {
  if (file.Source.Kind != FileKind::Link) return true;
  const Result<std::u16string> from = file.Pair.Source.ReadLink(file.Name),
                               to = file.Pair.Dest.ReadLink(file.Name);
  return from && to && *from == *to;
}

}  // namespace

bool TreeWalk::IsSameLink(const FileTurn& file) const {
  return options_.Compare && file.Dest && file.Source.Kind == FileKind::Link &&
         file.Dest->Kind == FileKind::Link && !file.Pair.DestManners.LinksAlone &&
         SameLinkTarget(file);
}

TreeWalk::TreeWalk(RunContext& context, const BackupJob& job, Effects& effects, Scope scope,
                   const Options& options)
    : context_(context),
      job_(job),
      effects_(effects),
      paths_(job.Source.WorkPath, job.Destination.WorkPath, context.Making.Place),
      scope_(std::move(scope)),
      options_(options),
      may_change_(!options.AsksFirst) {}

void TreeWalk::Run() {
  WalkFolder(nullptr, {}, nullptr);
  effects_.Settle();
}

void TreeWalk::Note(PlanAction action, PlanReason reason, bool is_folder, std::u16string_view name,
                    std::uint64_t size) {
  context_.Notes.Add(action, reason, is_folder, std::u16string(paths_.BelowRoot()) += name, size);
}

void TreeWalk::RememberRoot(const FolderPair& pair) {
  if (!scope_.Own().Known && pair.Dest) {
    scope_.SetOwn(pair.Dest, &pair.Source, effects_.Names());
  }
}

bool TreeWalk::ShowsSource(const FolderPair* parent, const FolderPair& pair) {
  if (parent) return source_place_ && source_place_->Is(pair.Dest);
  if (!scope_.HasOwn() || !pair.Source || !pair.Dest) return false;
  source_place_.emplace(context_.Files, paths_.Source(), pair.Source, pair.Dest, effects_.Names());
  return source_place_->IsIn(pair.Dest);
}

bool TreeWalk::LeadsElsewhere() const {
  const FolderIdentity& found = context_.DestRoot;
  return found.Known && scope_.Own().Known &&
         (found.Device != scope_.Own().Device || found.Id != scope_.Own().Id);
}

void TreeWalk::WalkFolder(const FolderPair* parent, std::u16string_view name, TwinNames* siblings) {
  if (!EnterFolder()) return;
  if (scope_.IsExcluded(paths_.Source())) {
    LeaveFolderOut();
    if (!parent) LeaveRootOut(PlanReason::Rule);
    return;
  }
  if (siblings && HasTwinsPlace(*parent, name, *siblings)) {
    return DestinationFailed(0);
  }
  std::optional<CopyAhead::Listed> listed;
  if (parent && ahead_) listed = ahead_->EndListing(parent->Source, name);
  FolderPair pair = effects_.Open(parent, name, paths_, listed ? &*listed : nullptr);
  here_ = listed ? std::move(next_here_) : scope_.In(paths_.Source());
  const EndsLooks ends{*this};
  pair.Above = parent;
  pair.Name = name;
  CheckMounts(context_.Mounted, parent, paths_, pair);
  RememberRoot(pair);
  if (!parent && LeadsElsewhere()) return DestinationFailed(0);
  // A destination inside the source is never copied into itself, whatever path leads there.
  if ((!parent && pair.Source && scope_.IsOwnRoot(paths_.Source(), pair.Source)) ||
      ShowsSource(parent, pair)) {
    return LeaveRootOut(PlanReason::OwnPlace);
  }
  if (parent && scope_.IsOwn(paths_.Source(), pair.Source, pair.SourceStatus)) return;
  if (parent && IsOthers(pair, {})) return;
  if (!parent && pair.Source && pair.Dest && options_.Compare && KeepsMetadata()) {
    effects_.KeepMetadata(pair.Source, pair.Dest);
  }
  if (pair.Dest) {
    const Result<FileStatus> found = pair.Dest.Status();
    if (found && context_.Mounted.IsGone(paths_.Dest(), *found)) {
      return DestinationFailed(kErrNoDevice);
    }
    if (found && effects_.KeepsMetadata()) pair.DestFound = *found;
  }
  if (!parent && pair.Dest) StartAhead(pair);
  const bool report = BeforeFiles(pair);
  if (Cancelled()) return effects_.Relock(pair);
  if (ahead_) ahead_->Expect();
  if (!pair.Dest && !PassesMayChange()) return;
  if (!effects_.Make(parent, name, paths_, pair)) return DestinationFailed(pair.DestError);
  RememberRoot(pair);
  if (!parent) RootReady(pair);
  if (!parent && !ahead_) StartAhead(pair);
  NotePlace(parent, name, pair);

  std::vector<std::u16string> subfolders;
  if (CopyFolderFiles(pair, listed, report, subfolders) && !subfolders.empty()) {
    WalkSubfolders(pair, subfolders);
  }
  if (!parent && !Cancelled()) RootDone(pair);
  if (FinishesFolder(pair)) effects_.FinishFolder(pair, paths_);
}

void TreeWalk::NotePlace(const FolderPair* parent, std::u16string_view name, FolderPair& pair) {
  const NewState& making = context_.Making;
  if (!pair.Source) return;
  if (making.Record) {
    pair.RecordAt =
        making.Record->AddFolder(parent ? parent->RecordAt : 0, name, pair.SourceStatus);
  }
  if (making.Former) making.Former->OpenFolder(parent, name, pair);
  if (context_.Changes && pair.Former) context_.Changes->LookAtFormer(pair, paths_.Source());
}

void TreeWalk::WalkSubfolders(const FolderPair& pair,
                              const std::vector<std::u16string>& subfolders) {
  TwinNames names;
  for (std::size_t i = 0; i < subfolders.size() && !Cancelled(); ++i) {
    context_.Host.PumpMessages();
    if (Cancelled()) break;
    next_ = {};
    if (i + 1 < subfolders.size()) next_ = {&pair, &subfolders[i + 1]};
    const WalkPaths::Step step(paths_, subfolders[i]);
    WalkFolder(&pair, subfolders[i], &names);
  }
  // What was asked for and is not gone into.
  if (ahead_) ahead_->DropListing();
  next_ = {};
}

void TreeWalk::ListNext(const FolderPair& pair, const std::vector<std::u16string>& subfolders) {
  const NextFolder next = subfolders.empty() ? next_ : NextFolder{&pair, &subfolders.front()};
  if (!ahead_ || !next.Parent || Cancelled()) return;
  // What is left out is not even opened: it may be what hangs.
  std::u16string path(paths_.Source());
  if (subfolders.empty()) path.resize(path.size() - pair.Name.size() - 1);
  path += *next.Name;
  path += PathSeparator(path);
  if (scope_.IsExcluded(path)) return;
  next_here_ = scope_.In(path);
  // A file that is copied in any case is looked at when it has been opened.
  const bool compares = !next.Parent->DestIsNew || context_.Making.Former;
  ahead_->BeginListing(next.Parent->Source, *next.Name, compares && next_here_.TakesAllNames());
}

bool TreeWalk::HasTwinsPlace(const FolderPair& parent, std::u16string_view name,
                             TwinNames& siblings) {
  const std::vector<std::u16string> twins = siblings.Note(parent.Source, name);
  if (twins.empty()) return false;
  // What the other names have become must be seen.
  effects_.Flush();
  if (!MeansATwin(parent.Dest, twins, name)) return false;
  siblings.Forget(name);
  return true;
}

void TreeWalk::EndLooks() {
  if (ahead_) ahead_->EndLooks();
}

bool TreeWalk::CopyFolderFiles(const FolderPair& pair, std::optional<CopyAhead::Listed>& listed,
                               bool report, std::vector<std::u16string>& subfolders) {
  ErrorCode error = pair.SourceError;
  if (!error) {
    if (listed && listed->IsOld()) {
      EndLooks();
      listed.reset();
    }
    auto reader = listed ? std::move(listed->Reader) : std::make_unique<FolderReader>(pair.Source);
    file_names_ = {};
    mount_ = pair.SourceStatus.Mount;
    VisitFiles(*reader, scope_, here_, subfolders, [&](const FolderEntry& file, bool again) {
      if (!Cancelled()) HandleFile(pair, file, again);
      return !Cancelled();
    });
    ListNext(pair, subfolders);
    FinishAhead(pair);
    error = reader->Error();
    if (ahead_) ahead_->Close(std::move(reader));
  }
  effects_.GiveName(pair);
  if (std::any_of(subfolders.begin(), subfolders.end(),
                  [this](const std::u16string& name) { return IsGoing(name); })) {
    effects_.Flush();
  }
  if (error && report) {
    // The log must tell that something of the source is missing from the copy.
    context_.Fail(u": 讀取目錄 (失敗)：", paths_.Source(), error);
    Note(PlanAction::Fail, PlanReason::Unreadable, true, {});
  }
  return !Cancelled();
}

void TreeWalk::HandleFile(const FolderPair& pair, const FolderEntry& file, bool again) {
  const std::u16string_view name = file.Name;
  if (const auto reason = here_.LeavesOut(file)) return LeaveOut(pair, *reason, name, again);
  const std::u16string_view archive = RecoveredArchive(name);
  if (IsArchiveName(archive) && FinishAhead(pair) && IsOthers(pair, archive)) {
    ++context_.Report.Counters.SourceFiles;
    return;
  }
  const std::vector<std::u16string> twins = file_names_.Note(pair.Source, name);
  if (Effects::WantsName(pair) && FinishAhead(pair)) effects_.GiveName(pair);
  const bool going = again || IsGoing(name);
  const bool mounted =
      context_.Mounted.HoldsFiles() && context_.Mounted.WasMounted(paths_.SourceOf(name));
  if (ahead_ && file.Kind == FileKind::File && !going && twins.empty() && !mounted) {
    ahead_->Add({{pair.Source, paths_.Source(), {}, nullptr},
                 SideOfCopy(pair, paths_.Dest(), {}, nullptr),
                 pair.DestIsNew,
                 pair.Former ? &pair.Former : nullptr},
                name);
    if (ahead_->Full()) FinishOneAhead(pair);
    return;
  }
  if (!FinishAhead(pair)) return;
  // What another name has become, or an earlier turn of this one, must be seen.
  const bool looks = going || !twins.empty();
  if (looks) effects_.Flush();
  effects_.Advance();
  ++context_.Report.Counters.SourceFiles;
  const Result<FileStatus> source = pair.Source.Status(name);
  Result<FileStatus> dest;
  const bool dest_there = source && (!pair.DestIsNew || looks) && (dest = pair.Dest.Status(name)) &&
                          !(looks && effects_.IsGone(std::u16string(paths_.Dest()) += name));
  context_.Host.PumpMessages();
  const bool comes_again = again && source && scope_.WithinSizeLimit(*source) &&
                           !(dest_there && dest->Kind == FileKind::Folder);
  // The copy clears the cancel flag when it starts; a cancel that came up to here must not get
  // lost in it.
  if (!Cancelled()) {
    if (dest_there && MeansATwin(pair.Dest, twins, name)) {
      effects_.CountFailed(paths_.SourceOf(name));
      file_names_.Forget(name);
    } else if (!comes_again || !effects_.TakesAgain(*source, options_.Compare)) {
      DecideOneFile(pair, name, source ? &*source : nullptr, dest_there ? &*dest : nullptr, again);
    }
    CountSeen(pair, name, source ? &*source : nullptr, dest_there ? &*dest : nullptr);
  }
}

void TreeWalk::CountSeen(const FolderPair& pair, std::u16string_view name, const FileStatus* source,
                         const FileStatus* dest) {
  if (!source || !scope_.WithinSizeLimit(*source)) return;
  if (context_.Making.Record) {
    // A file that has taken another's name since may have the size and time of that one's copy,
    // which is left as it is: no later state may share that as the file's own.
    const bool unsure = dest && dest->Kind == FileKind::File && !WhyCopy(source, dest) &&
                        !IsUntouchedSince(*source, *dest, context_.Making.Local);
    if (!unsure) context_.Making.Record->AddFile(pair.RecordAt, name, *source);
  }
  RunCounters& counters = context_.Report.Counters;
  counters.SourceBytes += source->Size;
  counters.LargestFile = std::max(counters.LargestFile, source->Size);
}

void TreeWalk::LeaveOut(const FolderPair& pair, PlanReason reason, std::u16string_view name,
                        bool again) {
  if (!FinishAhead(pair)) return;
  ++context_.Report.Counters.SourceFiles;
  ++context_.Report.Counters.ExcludedFiles;
  context_.LogTimed(LeftOutText(reason), paths_.SourceOf(name));
  if (!again) Note(PlanAction::LeaveOut, reason, false, name);
}

bool TreeWalk::IsOthers(const FolderPair& pair, std::u16string_view archive) {
  if (context_.Force) return false;
  const std::u16string others(PlaceOfOthers(pair, archive));
  if (others.empty()) return false;
  context_.Fail(u": 屬於其他排程的備份，沒有處理 (失敗)：", others);
  Note(PlanAction::Fail, PlanReason::Blocked, archive.empty(), archive);
  return true;
}

void TreeWalk::LeaveFolderOut() {
  context_.LogTimed(u"排除資料夾 (成功)：", paths_.Source());
  ++context_.Report.Counters.ExcludedFolders;
  Note(PlanAction::LeaveOut, PlanReason::Rule, true, {});
}

void TreeWalk::LeaveRootOut(PlanReason reason) {
  context_.Fail(reason == PlanReason::Rule ? u": 排除規則排除了整個來源，沒有備份 (失敗)："
                                           : u": 來源位於目標之內，沒有備份 (失敗)：",
                paths_.Source());
  Note(PlanAction::Fail, reason, true, {});
}

void TreeWalk::StartAhead(const FolderPair& root) {
  ahead_ = effects_.WorkAhead(
      root, [this](const FileStatus* source, const FileStatus* dest, const FileStatus* former) {
        return JudgeAhead(source, dest, former);
      });
}

CopyAhead::Verdict TreeWalk::JudgeAhead(const FileStatus* source, const FileStatus* dest,
                                        const FileStatus* former) const {
  // What takes long shows its progress and can be cancelled in the midst of it.
  constexpr std::uint64_t kLargest = 8 * kCopyBlock;
  if (!source || source->Kind != FileKind::File) return CopyAhead::Verdict::Wait;
  // Something is mounted over it.
  if (source->Mount != mount_) return CopyAhead::Verdict::Wait;
  // Whether it is copied at all depends on what comes before it.
  if (job_.Extras.KeepHardLinks &&
      (effects_.Links().HasSeveral(*source) || (dest && dest->Links > 1))) {
    return CopyAhead::Verdict::Wait;
  }
  if (!WhyCopy(source, dest)) {
    const bool stays = !dest || !effects_.MayDiffer(*source, *dest);
    return stays ? CopyAhead::Verdict::Leave : CopyAhead::Verdict::Wait;
  }
  if (KeepsNewer(source, dest)) return CopyAhead::Verdict::Wait;
  if (MayShare(*source, dest)) {
    const FormerMatch match = context_.Making.Former->Compare(*source, former);
    const bool same = match == FormerMatch::Same && may_change_;
    if (match != FormerMatch::Different) {
      return same ? CopyAhead::Verdict::Share : CopyAhead::Verdict::Wait;
    }
  }
  const bool small = source->Size <= kLargest && source->Allocated >= source->Size;
  return small && may_change_ && scope_.WithinSizeLimit(*source) ? CopyAhead::Verdict::Copy
                                                                 : CopyAhead::Verdict::Wait;
}

bool TreeWalk::FinishAhead(const FolderPair& pair) {
  EndLooks();
  while (ahead_ && !ahead_->Empty()) FinishOneAhead(pair);
  return !Cancelled();
}

void TreeWalk::FinishOneAhead(const FolderPair& pair) {
  EndLooks();
  effects_.Advance();
  ++context_.Report.Counters.SourceFiles;
  context_.Host.PumpMessages();
  if (!Cancelled()) {
    const CopyAhead::Turn turn = ahead_->AwaitFront();
    switch (turn.Decision) {
      case CopyAhead::Verdict::Leave:
        LeaveAsItIs(turn.Name);
        break;
      case CopyAhead::Verdict::Copy:
        if (!MayCopy(pair, turn.Name, *turn.Source, turn.Dest)) return ahead_->DropAll();
        effects_.TakeAhead(pair, paths_, turn.Name, *ahead_);
        break;
      case CopyAhead::Verdict::Share:
        if (effects_.TakeShared(pair, paths_, *ahead_)) {
          ShowDone(turn.Name);
          break;
        }
        [[fallthrough]];
      case CopyAhead::Verdict::Wait:
        DecideOneFile(pair, turn.Name, turn.Source, turn.Dest, false);
        break;
    }
    CountSeen(pair, turn.Name, turn.Source, turn.Dest);
    ahead_->Pop();
  }
  // Behind a cancel nothing has been visited.
  if (Cancelled()) ahead_->DropAll();
}

void TreeWalk::DecideOneFile(const FolderPair& pair, std::u16string_view name,
                             const FileStatus* source, const FileStatus* dest, bool again) {
  if (!source) return DecideUnseenFile(pair, name);
  if (HasOtherMount(pair, name, *source, dest != nullptr)) {
    Note(PlanAction::Fail, PlanReason::Unreadable, false, name);
    return effects_.CountFailed(paths_.SourceOf(name), ApiErrorText(kErrNoDevice));
  }
  const FileTurn file{pair, paths_, name, *source, dest};
  const bool keeps_links = job_.Extras.KeepHardLinks && source->Kind == FileKind::File;
  HardLinks& links = effects_.Links();
  if (keeps_links && links.HasSeveral(*source)) {
    if (TakeAsLink(file, again)) return links.Forget(*source);
  }
  // Two files of the source must not stay one at the destination.
  const bool shared = keeps_links && dest && links.IsAnothers(*source, *dest);
  const bool own_copy = shared || (dest && effects_.NeedsOwnCopy(file));
  const std::optional<PlanReason> reason = WhyCopy(source, dest);
  if (!own_copy && !reason && SameLinkTarget(file)) {
    if (dest && effects_.MayDiffer(*source, *dest) && PassesMayChange()) effects_.UpdateFile(file);
    if (keeps_links && dest) effects_.NoteLeft(file, again);
    LeaveAsItIs(name);
  } else if (IsSameLink(file)) {
    LeaveAsItIs(name);
  } else if (KeepsNewer(source, dest)) {
    context_.LogTimed(u": 保留較新的檔案 (成功)：",
                      std::u16string(paths_.Dest()) + std::u16string(name));
    ++context_.Report.Counters.NewerFiles;
    LeaveAsItIs(name);
  } else if (!TakeFromFormer(file)) {
    CopyOneFile(file, reason ? *reason : own_copy ? PlanReason::OwnCopy : PlanReason::LinkTarget);
  }
  if (keeps_links) links.Forget(*source);
}

bool TreeWalk::HasOtherMount(const FolderPair& pair, std::u16string_view name,
                             const FileStatus& source, bool dest_there) {
  const bool over = source.Mount != pair.SourceStatus.Mount;
  if (!over && !context_.Mounted.HoldsFiles()) return false;
  const std::u16string path(paths_.SourceOf(name));
  // Over what no backup knows of anything may be mounted.
  return context_.Mounted.IsGone(path, source) ||
         (over && dest_there && context_.Mounted.HasCome(path, pair.SourceStatus, source));
}

bool TreeWalk::TakeFromFormer(const FileTurn& file) {
  if (!MayShare(file.Source, file.Dest)) return false;
  FormerState& former = *context_.Making.Former;
  const std::optional<FormerCopy> copy = former.Find(file.Pair, file.Name, file.Source);
  if (!copy) return false;
  // Each name is to have a file of its own.
  const bool elsewhere = copy->Path != file.Pair.FormerPath + std::u16string(file.Name);
  if (elsewhere && file.Source.Links > 1 && !job_.Extras.KeepHardLinks) return false;
  // By name and time alone two files that were one may still seem to be.
  const bool known = former.KnowsEntries(file.Pair);
  if (!known && effects_.Links().IsAnothers(file.Source, copy->Status)) return false;
  if (!PassesMayChange()) return true;
  if (!effects_.TakeFormer(file, *copy)) return false;
  if (!known) effects_.Links().NoteOwner(file.Source, copy->Status);
  ShowDone(file.Name);
  return true;
}

void TreeWalk::DecideUnseenFile(const FolderPair& pair, std::u16string_view name) {
  if (options_.Compare) {
    // Nothing can be copied from it; but what is not looked at must not pass for a good backup. One
    // that is gone by now needs none.
    const ErrorCode why = pair.Source.Status(name).Error;
    if (!IsNotFound(why)) ++context_.Report.Counters.UnseenFiles;
    context_.Tell(u": 讀取檔案資訊 (失敗)：", paths_.SourceOf(name),
                  why ? ApiErrorText(why) : std::u16string());
    Note(PlanAction::Fail, PlanReason::Unreadable, false, name);
    LeaveAsItIs(name);
  } else if (PassesMayChange()) {
    context_.Log.FlushDue();
    Note(PlanAction::Fail, PlanReason::Unreadable, false, name);
    effects_.CountFailed(paths_.SourceOf(name));
  }
}

bool TreeWalk::TakeAsLink(const FileTurn& file, bool again) {
  const FileStatus& source = file.Source;
  const FileStatus* const dest = file.Dest;
  HardLinks::FirstCopy* const first = effects_.Links().Find(source, again);
  const bool in_the_way = dest && dest->Kind == FileKind::Folder;
  if (!first || in_the_way || !scope_.WithinSizeLimit(source)) return false;
  const bool equal = !WhyCopy(&source, dest);
  if (!equal && KeepsNewer(&source, dest)) return false;
  if (equal && dest && first->Is(*dest)) {
    if (!again) effects_.Links().NoteOwner(source, *dest);
    LeaveAsItIs(file.Name);
    return true;
  }
  if (!effects_.MayBecome(*first, file)) return Cancelled();
  if (!PassesMayChange()) return true;
  if (!effects_.Link(*first, file, equal)) return false;
  ShowDone(file.Name);
  return true;
}

std::optional<PlanReason> TreeWalk::WhyCopy(const FileStatus* source,
                                            const FileStatus* dest) const {
  const std::optional<PlanReason> reason = ReasonToCopy(source, dest, options_.Compare);
  const NewState& making = context_.Making;
  // What an interrupted run has left may be of any age.
  if (!reason && making.TakenUp && source && dest && source->Kind == FileKind::File &&
      !IsUntouchedSince(*source, *dest, making.Local)) {
    return PlanReason::Time;
  }
  return reason;
}

bool TreeWalk::KeepsNewer(const FileStatus* source, const FileStatus* dest) const {
  // A folder in a file's place is no newer version of it.
  return options_.KeepNewer && source && dest && dest->Kind != FileKind::Folder &&
         IsNewer(dest->Written, source->Written);
}

void TreeWalk::LeaveAsItIs(std::u16string_view name) {
  ShowDone(name);
  ++context_.Report.Counters.UnchangedFiles;
}

void TreeWalk::ShowDone(std::u16string_view name) {
  context_.Log.FlushDue();
  context_.Host.FillProgress();
  context_.Host.DrawCaptions(paths_.Source(), paths_.Dest(), name);
  context_.Host.PumpMessages();
}

void TreeWalk::CopyOneFile(const FileTurn& file, PlanReason reason) {
  if (!PassesMayChange() || !MayCopy(file.Pair, file.Name, file.Source, file.Dest)) return;
  // What comes now may take long: a run that is killed meanwhile leaves what it has told so far.
  context_.Log.FlushDue(file.Source.Size > kLongCopy);
  if (scope_.WithinSizeLimit(file.Source)) return effects_.Copy(file, reason);
  // Counts as copied, with no bytes.
  Note(PlanAction::LeaveOut, PlanReason::TooLarge, false, file.Name, file.Source.Size);
  ++context_.Report.Counters.CopiedFiles;
}

bool TreeWalk::PassesMayChange() {
  if (!may_change_ && MayChange()) may_change_ = true;
  return may_change_;
}

bool TreeWalk::MayCopy(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                       const FileStatus* dest) {
  return !context_.Changes || context_.Changes->MayCopy(pair, paths_, name, source, dest);
}

void TreeWalk::DestinationFailed(ErrorCode why) {
  context_.Fail(kFolderFailed, paths_.Dest(), why);
}

}  // namespace kavrel
