#include "engine/tree_walk.h"

#include <algorithm>

#include "files/error_text.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "walk/folder_files.h"

namespace kavrel {

std::optional<PlanReason> ReasonToCopy(const FileStatus* source, const FileStatus* dest,
                                       bool differential) {
  if (!source) return differential ? std::nullopt : std::optional(PlanReason::Unreadable);
  if (!dest) return PlanReason::New;
  if (!differential) return PlanReason::Always;
  if (source->Kind != dest->Kind) return PlanReason::Kind;
  const std::int64_t seconds = source->Written.Seconds - dest->Written.Seconds;
  if (seconds < -1 || seconds > 1) return PlanReason::Time;
  if (seconds != 0 && std::chrono::floor<std::chrono::days>(LocalTime(source->Written)) !=
                          std::chrono::floor<std::chrono::days>(LocalTime(dest->Written))) {
    return PlanReason::Time;
  }
  return source->Size == dest->Size ? std::nullopt : std::optional(PlanReason::Size);
}

namespace {

constexpr std::uint64_t kLongCopy = std::uint64_t{16} << 20;

/// False for two links that point to different places, which their sizes and times do not tell.
bool SameLinkTarget(const FolderPair& pair, std::u16string_view name, const FileStatus* source) {
  if (!source || source->Kind != FileKind::Link) return true;
  const Result<std::u16string> from = pair.Source.ReadLink(name), to = pair.Dest.ReadLink(name);
  return from && to && *from == *to;
}

}  // namespace

bool TreeWalk::IsSameLink(const FolderPair& pair, std::u16string_view name,
                          const FileStatus* source, const FileStatus* dest) const {
  return options_.Compare && source && dest && source->Kind == FileKind::Link &&
         dest->Kind == FileKind::Link && !pair.DestManners.LinksAlone &&
         SameLinkTarget(pair, name, source);
}

TreeWalk::TreeWalk(RunContext& context, Scope scope, const Options& options)
    : context_(context),
      paths_(options.From, options.To),
      scope_(std::move(scope)),
      options_(options),
      dest_(context, options_.To, options_.FileFailedText),
      copy_{context.State, context.Clock, &context.Host, nullptr, &dest_.Names()},
      may_change_(!options.AsksFirst),
      root_length_(paths_.Source().size()) {}

void TreeWalk::Run() {
  WalkFolder(nullptr, {}, nullptr);
  dest_.Settle();
}

std::u16string TreeWalk::BelowRoot(std::u16string_view name) const {
  return std::u16string(paths_.Source().substr(root_length_)) += name;
}

void TreeWalk::RememberRoot(const FolderPair& pair) {
  if (!scope_.Own().Known && pair.Dest) scope_.SetOwn(pair.Dest, &pair.Source);
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
  FolderPair pair = dest_.Open(parent, name, paths_, listed ? &*listed : nullptr);
  pair.Above = parent;
  pair.Name = name;
  RememberRoot(pair);
  if (!parent && LeadsElsewhere()) return DestinationFailed(0);
  // A destination inside the source is never copied into itself, whatever path leads there.
  if (!parent && pair.Source && scope_.IsOwnRoot(paths_.Source(), pair.Source)) {
    return LeaveRootOut(PlanReason::OwnPlace);
  }
  if (scope_.IsOwn(paths_.Source(), pair.Source, pair.SourceStatus)) return;
  if (parent && IsOthers(pair, {})) return;
  if (!parent && pair.Source && pair.Dest && options_.Compare && KeepsMetadata()) {
    dest_.KeepMetadata(pair.Source, pair.Dest);
  }
  if (dest_.Metadata() && pair.Dest) {
    if (const Result<FileStatus> found = pair.Dest.Status()) pair.DestFound = *found;
  }
  if (!parent && pair.Dest) StartAhead(pair);
  const bool report = BeforeFiles(pair);
  if (Cancelled()) return;
  if (ahead_) ahead_->Expect();
  if (!pair.Dest && !PassesMayChange()) return;
  if (!ReadyDestination(parent, name, pair)) return DestinationFailed(pair.DestError);
  RememberRoot(pair);
  if (!parent && !context_.Plan) RootReady(pair);
  if (!parent && !ahead_) StartAhead(pair);

  std::vector<std::u16string> subfolders;
  if (CopyFolderFiles(pair, std::move(listed), report, subfolders) && !subfolders.empty()) {
    WalkSubfolders(pair, subfolders);
  }
  if (!parent && !Cancelled() && !context_.Plan) RootDone(pair);
  if (!FinishesFolder(pair)) return;
  if (context_.Plan) return PlanFinish(pair);
  dest_.FinishFolder(pair, IsRootPath(paths_.Source()), paths_.Dest());
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
  ahead_->BeginListing(next.Parent->Source, *next.Name);
}

bool TreeWalk::HasTwinsPlace(const FolderPair& parent, std::u16string_view name,
                             TwinNames& siblings) {
  const std::vector<std::u16string> twins = siblings.Note(parent.Source, name);
  if (twins.empty()) return false;
  // What the other names have become must be seen.
  dest_.Group().Flush();
  if (!MeansATwin(parent.Dest, twins, name)) return false;
  siblings.Forget(name);
  return true;
}

bool TreeWalk::ReadyDestination(const FolderPair* parent, std::u16string_view name,
                                FolderPair& pair) {
  if (context_.Plan && pair.Dest) pair.DestManners = pair.Dest.Manners();
  if (context_.Plan) return pair.Dest || PlanDestination(parent, pair);
  return dest_.Make(parent, name, paths_, pair);
}

bool TreeWalk::PlanDestination(const FolderPair* parent, FolderPair& pair) {
  const bool reachable = parent || context_.Files.HostPath(paths_.Dest());
  if (!reachable || (!IsNotFound(pair.DestError) && !IsPlannedGone({}))) {
    context_.Plan->Add(PlanAction::Fail, PlanReason::Blocked, true, BelowRoot({}));
    return false;
  }
  context_.Plan->Add(PlanAction::Copy, PlanReason::New, true, BelowRoot({}));
  pair.DestIsNew = true;
  return true;
}

bool TreeWalk::CopyFolderFiles(const FolderPair& pair, std::optional<CopyAhead::Listed> listed,
                               bool report, std::vector<std::u16string>& subfolders) {
  ErrorCode error = pair.SourceError;
  if (!error) {
    std::optional<FolderReader> anew;
    FolderReader& reader = listed && !listed->IsOld() ? *listed->Reader : anew.emplace(pair.Source);
    file_names_ = {};
    const FolderScope here = scope_.In(paths_.Source());
    VisitFiles(reader, scope_, here, subfolders, [&](const FolderEntry& file, bool again) {
      if (!Cancelled()) HandleFile(pair, here, file, again);
      return !Cancelled();
    });
    ListNext(pair, subfolders);
    FinishAhead(pair);
    error = reader.Error();
  }
  dest_.GiveName(pair);
  if (std::any_of(subfolders.begin(), subfolders.end(),
                  [this](const std::u16string& name) { return IsGoing(name); })) {
    dest_.Group().Flush();
  }
  if (error && report) {
    // The log must tell that something of the source is missing from the copy.
    ++context_.Counters.FailedFiles;
    context_.LogTimed(u": 讀取目錄 (失敗)：", paths_.Source());
    context_.LogWhy(error);
    if (context_.Plan) {
      context_.Plan->Add(PlanAction::Fail, PlanReason::Unreadable, true, BelowRoot({}));
    }
  }
  return !Cancelled();
}

void TreeWalk::HandleFile(const FolderPair& pair, const FolderScope& here, const FolderEntry& file,
                          bool again) {
  const std::u16string_view name = file.Name;
  if (const auto reason = here.LeavesOut(file)) return LeaveOut(pair, *reason, name, again);
  if (IsArchiveName(name) && FinishAhead(pair) && IsOthers(pair, name)) {
    ++context_.Counters.SourceFiles;
    return;
  }
  const std::vector<std::u16string> twins = file_names_.Note(pair.Source, name);
  if (DestChanges::WantsName(pair) && FinishAhead(pair)) dest_.GiveName(pair);
  const bool going = again || IsGoing(name);
  if (ahead_ && file.Kind == FileKind::File && !going && twins.empty()) {
    ahead_->Add({{pair.Source, paths_.Source(), {}, nullptr},
                 dest_.Side(pair, paths_.Dest(), {}, nullptr),
                 pair.DestIsNew},
                name);
    if (ahead_->Full()) FinishOneAhead(pair);
    return;
  }
  if (!FinishAhead(pair)) return;
  // What another name has become, or an earlier turn of this one, must be seen.
  const bool looks = going || !twins.empty();
  if (looks) dest_.Group().Flush();
  dest_.Group().Advance();
  ++context_.Counters.SourceFiles;
  const Result<FileStatus> source = pair.Source.Status(name);
  Result<FileStatus> dest;
  const bool dest_there = source && (!pair.DestIsNew || looks) && (dest = pair.Dest.Status(name)) &&
                          !(context_.Plan && IsPlannedGone(name));
  context_.Host.PumpMessages();
  const bool planned = context_.Plan && again && source && scope_.WithinSizeLimit(*source) &&
                       !(dest_there && dest->Kind == FileKind::Folder);
  // The copy clears the cancel flag when it starts; a cancel that came up to here must not get
  // lost in it.
  if (!Cancelled()) {
    if (dest_there && MeansATwin(pair.Dest, twins, name)) {
      dest_.CountFailed(paths_.SourceOf(name));
      file_names_.Forget(name);
    } else if (planned) {
      PlanAgain(*source);
    } else {
      DecideOneFile(pair, name, source ? &*source : nullptr, dest_there ? &*dest : nullptr, again);
    }
    CountSize(source ? &*source : nullptr);
  }
}

void TreeWalk::CountSize(const FileStatus* source) {
  if (!source || !scope_.WithinSizeLimit(*source)) return;
  RunCounters& counters = context_.Counters;
  counters.SourceBytes += source->Size;
  counters.LargestFile = std::max(counters.LargestFile, source->Size);
}

void TreeWalk::LeaveOut(const FolderPair& pair, PlanReason reason, std::u16string_view name,
                        bool again) {
  if (!FinishAhead(pair)) return;
  ++context_.Counters.SourceFiles;
  ++context_.Counters.ExcludedFiles;
  context_.LogTimed(LeftOutText(reason), paths_.SourceOf(name));
  if (context_.Plan && !again) {
    context_.Plan->Add(PlanAction::LeaveOut, reason, false, BelowRoot(name));
  }
}

bool TreeWalk::IsOthers(const FolderPair& pair, std::u16string_view archive) {
  if (context_.Force) return false;
  const std::u16string others(PlaceOfOthers(pair, archive));
  if (others.empty()) return false;
  ++context_.Counters.FailedFiles;
  context_.LogTimed(u": 屬於其他排程的備份，沒有處理 (失敗)：", others);
  if (context_.Plan) {
    context_.Plan->Add(PlanAction::Fail, PlanReason::Blocked, archive.empty(), BelowRoot(archive));
  }
  return true;
}

void TreeWalk::LeaveFolderOut() {
  context_.LogTimed(u"排除資料夾 (成功)：", paths_.Source());
  ++context_.Counters.ExcludedFolders;
  if (context_.Plan) {
    context_.Plan->Add(PlanAction::LeaveOut, PlanReason::Rule, true, BelowRoot({}));
  }
}

void TreeWalk::LeaveRootOut(PlanReason reason) {
  ++context_.Counters.FailedFiles;
  context_.LogTimed(reason == PlanReason::Rule ? u": 排除規則排除了整個來源，沒有備份 (失敗)："
                                               : u": 來源位於目標之內，沒有備份 (失敗)：",
                    paths_.Source());
  if (context_.Plan) context_.Plan->Add(PlanAction::Fail, reason, true, BelowRoot({}));
}

void TreeWalk::StartAhead(const FolderPair& root) {
  if (!context_.Plan && ProfitsFromThreads(context_, root)) {
    dest_.ReleaseLate();
    ahead_.emplace(copy_, [this](const FileStatus* source, const FileStatus* dest) {
      return JudgeAhead(source, dest);
    });
  }
}

CopyAhead::Verdict TreeWalk::JudgeAhead(const FileStatus* source, const FileStatus* dest) const {
  // What takes long shows its progress and can be cancelled in the midst of it.
  constexpr std::uint64_t kLargest = 8 * kCopyBlock;
  if (!source || source->Kind != FileKind::File) return CopyAhead::Verdict::Wait;
  // Whether it is copied at all depends on what comes before it.
  if (options_.KeepLinks && (source->Links > 1 || (dest && dest->Links > 1))) {
    return CopyAhead::Verdict::Wait;
  }
  if (NeedsNoCopy(source, dest, options_.Compare)) {
    const bool stays = !dest || !dest_.MayDiffer(*source, *dest);
    return stays ? CopyAhead::Verdict::Leave : CopyAhead::Verdict::Wait;
  }
  if (KeepsNewer(source, dest)) return CopyAhead::Verdict::Wait;
  const bool small = source->Size <= kLargest && source->Allocated >= source->Size;
  return small && may_change_ && scope_.WithinSizeLimit(*source) ? CopyAhead::Verdict::Copy
                                                                 : CopyAhead::Verdict::Wait;
}

bool TreeWalk::FinishAhead(const FolderPair& pair) {
  while (ahead_ && !ahead_->Empty()) FinishOneAhead(pair);
  return !Cancelled();
}

void TreeWalk::FinishOneAhead(const FolderPair& pair) {
  dest_.Group().Advance();
  ++context_.Counters.SourceFiles;
  context_.Host.PumpMessages();
  if (!Cancelled()) {
    const CopyAhead::Turn turn = ahead_->AwaitFront();
    switch (turn.Decision) {
      case CopyAhead::Verdict::Leave:
        LeaveAsItIs(turn.Name);
        break;
      case CopyAhead::Verdict::Copy: {
        StagedFile staged;
        const CopyResult result = dest_.StagePatiently([&] { return ahead_->StageFront(staged); });
        dest_.AddCopy(pair, paths_.Dest(), result, std::move(staged), paths_.SourceOf(turn.Name));
        break;
      }
      case CopyAhead::Verdict::Wait:
        DecideOneFile(pair, turn.Name, turn.Source, turn.Dest, false);
        break;
    }
    CountSize(turn.Source);
    ahead_->Pop();
  }
  // Behind a cancel nothing has been visited.
  if (Cancelled()) ahead_->DropAll();
}

void TreeWalk::DecideOneFile(const FolderPair& pair, std::u16string_view name,
                             const FileStatus* source, const FileStatus* dest, bool again) {
  const bool keeps_links = options_.KeepLinks && source && source->Kind == FileKind::File;
  if (keeps_links && source->Links > 1) {
    if (TakeAsLink(pair, name, *source, dest, again)) return links_.Forget(*source);
  }
  // Two files of the source must not stay one at the destination.
  const bool shared = keeps_links && dest && links_.IsAnothers(*source, *dest);
  const bool own_copy =
      shared || (source && dest && dest_.NeedsOwnCopy(pair, name, *source, *dest));
  if (!own_copy && NeedsNoCopy(source, dest, options_.Compare) &&
      SameLinkTarget(pair, name, source)) {
    // Nothing can be copied from it; but what is not looked at must not pass for a good backup.
    // One that is gone by now needs none.
    if (!source) {
      const ErrorCode why = pair.Source.Status(name).Error;
      if (!IsNotFound(why)) ++context_.Counters.UnseenFiles;
      context_.LogTimed(u": 讀取檔案資訊 (失敗)：", paths_.SourceOf(name));
      context_.LogWhy(why);
      if (context_.Plan) {
        context_.Plan->Add(PlanAction::Fail, PlanReason::Unreadable, false, BelowRoot(name));
      }
    }
    if (source && dest) SetRight(pair, name, *source, *dest);
    if (keeps_links && dest) NoteLeft(pair, name, *source, *dest, again);
    LeaveAsItIs(name);
  } else if (IsSameLink(pair, name, source, dest)) {
    LeaveAsItIs(name);
  } else if (KeepsNewer(source, dest)) {
    context_.LogTimed(u": 保留較新的檔案 (成功)：",
                      std::u16string(paths_.Dest()) + std::u16string(name));
    ++context_.Counters.NewerFiles;
    LeaveAsItIs(name);
  } else {
    CopyOneFile(pair, name, source, dest);
  }
  if (keeps_links) links_.Forget(*source);
}

void TreeWalk::SetRight(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                        const FileStatus& dest) {
  if (!context_.Plan) {
    if (dest_.MayDiffer(source, dest) && PassesMayChange()) {
      dest_.UpdateFile(pair, name, source, dest, paths_.Dest());
    }
    return;
  }
  if (!dest_.WouldUpdate(pair, name, source, dest)) return;
  ++context_.Counters.UpdatedAttributes;
  context_.Plan->Add(PlanAction::Update, PlanReason::Attributes, false, BelowRoot(name));
}

void TreeWalk::PlanFinish(const FolderPair& pair) {
  if (!pair.DestFound || !pair.Source || IsRootPath(paths_.Source()) ||
      !dest_.WouldUpdate(pair, {}, pair.SourceStatus, *pair.DestFound)) {
    return;
  }
  ++context_.Counters.UpdatedAttributes;
  context_.Plan->Add(PlanAction::Update, PlanReason::Attributes, true, BelowRoot({}));
}

bool TreeWalk::KeepsNewer(const FileStatus* source, const FileStatus* dest) const {
  return options_.KeepNewer && source && dest && IsNewer(dest->Written, source->Written);
}

void TreeWalk::LeaveAsItIs(std::u16string_view name) {
  ShowDone(name);
  ++context_.Counters.UnchangedFiles;
}

void TreeWalk::ShowDone(std::u16string_view name) {
  context_.Log.FlushDue();
  if (!context_.Plan) {
    context_.Host.FillProgress();
    context_.Host.DrawCaptions(paths_.Source(), paths_.Dest(), name);
  }
  context_.Host.PumpMessages();
}

void TreeWalk::CopyOneFile(const FolderPair& pair, std::u16string_view name,
                           const FileStatus* source, const FileStatus* dest) {
  if (!PassesMayChange()) return;
  // What comes now may take long: a run that is killed meanwhile leaves what it has told so far.
  context_.Log.FlushDue(source && source->Size > kLongCopy);
  CopyResult result;
  StagedFile staged;
  FileStatus opened;
  if (context_.Plan) {
    result = PlanCopy(name, source, dest);
    if (source && !result.Failed) NoteCopied(pair, name, staged, *source);
  } else if (source && !scope_.WithinSizeLimit(*source)) {
    result.Failed = false;  // Counts as copied, with no bytes.
  } else if (source) {
    const CopySide from{pair.Source, paths_.Source(), name, source};
    const CopySide to = dest_.Side(pair, paths_.Dest(), name, dest);
    result = dest_.StagePatiently([&] { return StageShown(copy_, from, to, staged, &opened); });
    if (dest) dest_.NoteOwnCopy(pair, staged, *source, *dest);
    if (staged && !result.Warning) NoteCopied(pair, name, staged, opened);
  }
  dest_.AddCopy(pair, paths_.Dest(), result, std::move(staged), paths_.SourceOf(name));
}

/// A file that this plan has a copy of already, because another of the job's patterns found it.
void TreeWalk::PlanAgain(const FileStatus& source) {
  if (options_.Compare) {
    ++context_.Counters.UnchangedFiles;
  } else {
    ++context_.Counters.CopiedFiles;
    context_.Counters.CopiedBytes += source.Size;
  }
}

bool TreeWalk::PassesMayChange() {
  if (!may_change_ && MayChange()) may_change_ = true;
  return may_change_;
}

void TreeWalk::DestinationFailed(ErrorCode why) {
  ++context_.Counters.FailedFiles;
  context_.LogTimed(u": 建立目錄 (失敗)：", paths_.Dest());
  context_.LogWhy(why);
}

CopyResult TreeWalk::PlanCopy(std::u16string_view name, const FileStatus* source,
                              const FileStatus* dest) {
  RunPlan& plan = *context_.Plan;
  const std::u16string path = BelowRoot(name);
  CopyResult result;
  result.Failed = false;
  if (source && !scope_.WithinSizeLimit(*source)) {
    plan.Add(PlanAction::LeaveOut, PlanReason::TooLarge, false, path, source->Size);
    return result;
  }
  if (!source || (dest && dest->Kind == FileKind::Folder)) {
    plan.Add(PlanAction::Fail, source ? PlanReason::Blocked : PlanReason::Unreadable, false, path);
    result.Failed = true;
    return result;
  }
  const std::optional<PlanReason> seen = ReasonToCopy(source, dest, options_.Compare);
  const PlanReason reason = seen ? *seen : ReasonBeside(*source, *dest);
  plan.Add(dest ? PlanAction::Replace : PlanAction::Copy, reason, false, path, source->Size);
  plan.NetBytes += static_cast<std::int64_t>(std::min(source->Size, source->Allocated));
  // What it replaces goes only when it is there.
  plan.PeakBytes = std::max(plan.PeakBytes, plan.NetBytes);
  if (dest) plan.NetBytes -= RoomOf(*dest);
  result.BytesCopied = source->Size;
  return result;
}

}  // namespace kavrel
