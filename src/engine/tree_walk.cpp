#include "engine/tree_walk.h"

#include <algorithm>

#include "files/error_text.h"
#include "files/path.h"
#include "platform/error_codes.h"

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

/// False for two links that point to different places, which their sizes and times do not tell.
bool SameLinkTarget(const FolderPair& pair, std::u16string_view name, const FileStatus* source) {
  if (!source || source->Kind != FileKind::Link) return true;
  const Result<std::u16string> from = pair.Source.ReadLink(name), to = pair.Dest.ReadLink(name);
  return from && to && *from == *to;
}

}  // namespace

TreeWalk::TreeWalk(RunContext& context, const Options& options)
    : context_(context),
      paths_(options.From, options.To),
      options_(options),
      names_(context.Clock, &context.Staged, options.To),
      group_(context.State, context.Host, names_),
      copy_{context.State, context.Clock, &context.Host, nullptr, &names_},
      root_length_(paths_.Source().size()) {}

/// A copy that is to get its name.
class TreeWalk::CopyChange final : public Change {
 public:
  CopyChange(TreeWalk& walk, std::shared_ptr<const CommitFolder> folder, StagedFile staged,
             const CopyResult& result, std::u16string source_path)
      : walk_(walk),
        folder_(std::move(folder)),
        staged_(std::move(staged)),
        bytes_(result.BytesCopied),
        warning_(result.Warning),
        source_path_(std::move(source_path)) {}

  void Commit(GroupCommit& group) override {
    walk_.names_.NoteOwn(folder_->Path, staged_.Name);
    File replaced;
    if (staged_.Commit(folder_->Folder, &replaced)) {
      RollBack();
      return walk_.CountFailed(source_path_);
    }
    group.LetGo(*folder_, std::move(replaced));
    RunCounters& counters = walk_.context_.Counters;
    if (warning_) {
      ++counters.WarningFiles;
    } else {
      ++counters.CopiedFiles;
      counters.CopiedBytes += bytes_;
    }
  }

  void GiveUp(ErrorCode why) override {
    RollBack();
    if (why) walk_.CountFailed(source_path_);
  }

  std::optional<NameChange> Naming() const override {
    return NameChange{folder_->Path, staged_.TempName, staged_.Name};
  }

 private:
  void RollBack() {
    if (staged_.RollBack(folder_->Folder)) walk_.names_.NoteLeft();
  }

  TreeWalk& walk_;
  const std::shared_ptr<const CommitFolder> folder_;
  const StagedFile staged_;
  const std::uint64_t bytes_;
  const bool warning_;
  const std::u16string source_path_;
};

/// A folder that gets its times when what was changed in it is done.
class TreeWalk::FolderChange final : public Change {
 public:
  FolderChange(TreeWalk& walk, FolderPair pair)
      : walk_(walk),
        pair_(std::move(pair)),
        source_is_root_(IsRootPath(walk.paths_.Source())),
        path_(walk.paths_.Dest()) {
    pair_.Dest = Folder();  // One handle is enough.
  }

  void Commit(GroupCommit&) override { walk_.FinishFolderNow(pair_, source_is_root_, path_); }
  // The folder is there whatever became of its files.
  void GiveUp(ErrorCode) override { walk_.FinishFolderNow(pair_, source_is_root_, path_); }

 private:
  TreeWalk& walk_;
  FolderPair pair_;
  const bool source_is_root_;
  const std::u16string path_;
};

void TreeWalk::Run() {
  WalkFolder(nullptr, {}, {});
  const ErrorCode error = group_.Settle();
  if (!error) return;
  ++context_.Counters.FailedFiles;
  context_.LogTimed(SyncFailedText(options_.To, error));
}

const std::shared_ptr<const CommitFolder>& TreeWalk::SharedDest(const FolderPair& pair) {
  if (!pair.Shared) {
    Result<std::shared_ptr<const CommitFolder>> shared = group_.Share(pair.Dest, paths_.Dest());
    if (shared) pair.Shared = std::move(*shared);
  }
  return pair.Shared;
}

FolderPair TreeWalk::OpenPairPatiently(const FolderPair* parent, std::u16string_view name) {
  FolderPair pair = OpenPair(context_.Files, parent, name, paths_);
  if (!group_.Pending() || !(IsExhausted(pair.SourceError) || IsExhausted(pair.DestError))) {
    return pair;
  }
  group_.Flush();
  return OpenPair(context_.Files, parent, name, paths_);
}

std::u16string TreeWalk::BelowRoot(std::u16string_view name) const {
  return std::u16string(paths_.Source().substr(root_length_)) += name;
}

void TreeWalk::LogLine(std::u16string_view text, std::u16string_view what) {
  std::u16string line(text);
  line += what;
  context_.LogTimed(line);
}

void TreeWalk::RememberRoot(const FolderPair& pair) {
  if (!dest_root_.Known && pair.Dest) dest_root_ = IdentityOf(pair.Dest);
}

bool TreeWalk::LeadsElsewhere() const {
  const FolderIdentity& found = context_.DestRoot;
  return found.Known && dest_root_.Known &&
         (found.Device != dest_root_.Device || found.Id != dest_root_.Id);
}

void TreeWalk::WalkFolder(const FolderPair* parent, std::u16string_view name,
                          std::u16string_view twin) {
  if (!EnterFolder()) return;
  // A destination inside the source is never copied into itself, whatever path leads there.
  if (!options_.MayLieInside && PathStartsWith(paths_.Source(), options_.To)) return;
  if (!twin.empty() && MeanTheSame(parent->Dest, twin, name)) {
    ++context_.Counters.FailedFiles;
    LogLine(u": 建立目錄 (失敗)：", paths_.Dest());
    return;
  }
  FolderPair pair = OpenPairPatiently(parent, name);
  RememberRoot(pair);
  if (!parent && LeadsElsewhere()) {
    ++context_.Counters.FailedFiles;
    return DestinationFailed();
  }
  if (pair.Source && dest_root_.Is(pair.SourceStatus)) return;
  if (!parent && pair.Dest) MayGoAhead(pair);
  const bool report = BeforeFiles(pair);
  if (Cancelled()) return;
  if (!ReadyDestination(parent, name, pair)) {
    ++context_.Counters.FailedFiles;
    DestinationFailed();
    return;
  }
  RememberRoot(pair);
  if (!parent && !ahead_) MayGoAhead(pair);

  std::vector<std::u16string> subfolders;
  const bool go_on = CopyFolderFiles(pair, report, subfolders);
  TwinNames folder_names;
  for (const std::u16string& subfolder : subfolders) {
    if (!go_on || Cancelled()) break;
    context_.Host.PumpMessages();
    if (Cancelled()) break;
    const WalkPaths::Step step(paths_, subfolder);
    WalkFolder(&pair, subfolder, folder_names.Note(pair.Source, subfolder));
  }
  if (!context_.Plan && FinishesFolder(pair)) FinishFolder(std::move(pair));
}

void TreeWalk::FinishFolder(FolderPair pair) {
  if (const std::shared_ptr<const CommitFolder> shared = pair.Shared) {
    return group_.Add(shared, std::make_unique<FolderChange>(*this, std::move(pair)));
  }
  FinishFolderNow(pair, IsRootPath(paths_.Source()), paths_.Dest());
}

void TreeWalk::FinishFolderNow(const FolderPair& pair, bool source_is_root,
                               std::u16string_view path) {
  const ErrorCode error = FinishDestination(pair, source_is_root);
  if (!error) return;
  ++context_.Counters.WarningFiles;
  context_.Log.WriteTimed(
      FailText(context_.State, error, u"Could Not Set Destination Folder Attributes", path));
}

bool TreeWalk::ReadyDestination(const FolderPair* parent, std::u16string_view name,
                                FolderPair& pair) {
  if (context_.Plan) return pair.Dest || PlanDestination(parent, pair);
  if (!MakeDestination(context_.Files, parent, name, paths_, pair)) return false;
  // The new name in the folder above is to reach the disk, too; its times change with it.
  if (pair.DestIsNew) {
    const FolderPair& changed = parent ? *parent : pair;
    if (SharedDest(changed)) group_.NoteChanged(changed.Shared);
  }
  return true;
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

bool TreeWalk::CopyFolderFiles(const FolderPair& pair, bool report,
                               std::vector<std::u16string>& subfolders) {
  ErrorCode error = pair.SourceError;
  if (!error) {
    FolderReader reader(pair.Source);
    file_names_ = {};
    HandleFiles(pair, reader, subfolders);
    FinishAhead(pair);
    error = reader.Error();
  }
  if (error && report) {
    // Whoever reads the log must learn that something of the source is missing from the copy.
    ++context_.Counters.FailedFiles;
    LogLine(u": 讀取目錄 (失敗)：", paths_.Source());
    if (context_.Plan) {
      context_.Plan->Add(PlanAction::Fail, PlanReason::Unreadable, true, BelowRoot({}));
    }
  }
  return !Cancelled();
}

void TreeWalk::HandleFiles(const FolderPair& pair, FolderReader& reader,
                           std::vector<std::u16string>& subfolders) {
  while (const FolderEntry* entry = reader.Next()) {
    if (Cancelled()) return;
    if (entry->Kind == FileKind::Folder) {
      NoteSubfolder(*entry, subfolders);
    } else {
      HandleFile(pair, entry->Name, entry->Kind);
    }
  }
}

void TreeWalk::HandleFile(const FolderPair& pair, std::u16string_view name, FileKind kind) {
  if (Cancelled()) return;
  if (LeavesFileOut(name)) return LeaveOut(pair, PlanReason::Rule, name);
  // A socket, pipe or device has no content that a backup could keep.
  if (kind == FileKind::Special) return LeaveOut(pair, PlanReason::Special, name);
  const std::u16string_view twin = file_names_.Note(pair.Source, name);
  if (ahead_ && kind == FileKind::File && !MayRepeat() && twin.empty()) {
    ahead_->Add({pair.Source, pair.Dest, paths_.Source(), paths_.Dest(), pair.DestIsNew,
                 !pair.DestManners.SyncsWhole},
                name);
    if (ahead_->Full()) FinishOneAhead(pair);
    return;
  }
  if (!FinishAhead(pair)) return;
  // What another name has become, or an earlier turn of this one, must be seen.
  if (!twin.empty() || MayRepeat()) group_.Flush();
  group_.Advance();
  ++context_.Counters.SourceFiles;
  const Result<FileStatus> source = pair.Source.Status(name);
  Result<FileStatus> dest;
  const bool dest_there = source && (!pair.DestIsNew || MayRepeat() || !twin.empty()) &&
                          (dest = pair.Dest.Status(name)) &&
                          !(context_.Plan && IsPlannedGone(name));
  context_.Host.PumpMessages();
  // The copy clears the cancel flag when it starts; a cancel that came up to here must not get
  // lost in it.
  if (!Cancelled()) {
    if (dest_there && !twin.empty() && MeanTheSame(pair.Dest, twin, name)) {
      CountFailed(paths_.SourceOf(name));
    } else {
      DecideOneFile(pair, name, source ? &*source : nullptr, dest_there ? &*dest : nullptr);
    }
    CountSize(source ? &*source : nullptr);
  }
}

void TreeWalk::CountSize(const FileStatus* source) {
  if (source && WithinSizeLimit(*source)) context_.Counters.SourceBytes += source->Size;
}

void TreeWalk::LeaveOut(const FolderPair& pair, PlanReason reason, std::u16string_view name) {
  if (!FinishAhead(pair)) return;
  ++context_.Counters.SourceFiles;
  ++context_.Counters.ExcludedFiles;
  LogLine(reason == PlanReason::Rule ? u": 排除檔案 (成功)：" : u": 略過特殊檔案 (成功)：",
          paths_.SourceOf(name));
  if (context_.Plan) context_.Plan->Add(PlanAction::LeaveOut, reason, false, BelowRoot(name));
}

void TreeWalk::MayGoAhead(const FolderPair& root) {
  const bool pays = context_.CopyAhead && !context_.Plan && std::thread::hardware_concurrency() > 1;
  if (pays && root.Source && root.Source.OnLocalDisk() && root.Dest.OnLocalDisk()) {
    release_.emplace();
    group_.UseRelease(&*release_);
    ahead_.emplace(copy_, [this](const FileStatus* source, const FileStatus* dest) {
      return JudgeAhead(source, dest);
    });
  }
}

CopyAhead::Verdict TreeWalk::JudgeAhead(const FileStatus* source, const FileStatus* dest) const {
  // What takes long shows its progress and can be cancelled in the midst of it.
  constexpr std::uint64_t kLargest = 8 * kCopyBlock;
  if (!source || source->Kind != FileKind::File) return CopyAhead::Verdict::Wait;
  if (NeedsNoCopy(source, dest, options_.Compare)) return CopyAhead::Verdict::Leave;
  if (KeepsNewer(source, dest)) return CopyAhead::Verdict::Wait;
  const bool small = source->Size <= kLargest && source->Allocated >= source->Size;
  return small && WithinSizeLimit(*source) ? CopyAhead::Verdict::Copy : CopyAhead::Verdict::Wait;
}

bool TreeWalk::FinishAhead(const FolderPair& pair) {
  while (ahead_ && !ahead_->Empty()) FinishOneAhead(pair);
  return !Cancelled();
}

void TreeWalk::FinishOneAhead(const FolderPair& pair) {
  group_.Advance();
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
        const CopyResult result = StagePatiently([&] { return ahead_->StageFront(staged); });
        FinishCopy(pair, result, std::move(staged), turn.Name);
        break;
      }
      case CopyAhead::Verdict::Wait:
        DecideOneFile(pair, turn.Name, turn.Source, turn.Dest);
        break;
    }
    CountSize(turn.Source);
    ahead_->Pop();
  }
  // Behind a cancel nothing has been visited.
  if (Cancelled()) ahead_->DropAll();
}

void TreeWalk::DecideOneFile(const FolderPair& pair, std::u16string_view name,
                             const FileStatus* source, const FileStatus* dest) {
  if (NeedsNoCopy(source, dest, options_.Compare) && SameLinkTarget(pair, name, source)) {
    // Nothing can be copied from it; but what is not looked at must not pass for a good backup.
    // One that is gone by now needs none.
    if (!source) {
      if (!IsNotFound(pair.Source.Status(name).Error)) ++context_.Counters.UnseenFiles;
      LogLine(u": 讀取檔案資訊 (失敗)：", paths_.SourceOf(name));
      if (context_.Plan) {
        context_.Plan->Add(PlanAction::Fail, PlanReason::Unreadable, false, BelowRoot(name));
      }
    }
    LeaveAsItIs(name);
  } else if (KeepsNewer(source, dest)) {
    LogLine(u": 保留較新的檔案 (成功)：", std::u16string(paths_.Dest()) + std::u16string(name));
    ++context_.Counters.NewerFiles;
    LeaveAsItIs(name);
  } else {
    CopyOneFile(pair, name, source, dest);
  }
}

bool TreeWalk::KeepsNewer(const FileStatus* source, const FileStatus* dest) const {
  return options_.KeepNewer && source && dest && IsNewer(dest->Written, source->Written);
}

void TreeWalk::LeaveAsItIs(std::u16string_view name) {
  if (!context_.Plan) {
    context_.Host.FillProgress();
    context_.Host.DrawCaptions(paths_.Source(), paths_.Dest(), name);
  }
  context_.Host.PumpMessages();
  ++context_.Counters.UnchangedFiles;
}

void TreeWalk::CopyOneFile(const FolderPair& pair, std::u16string_view name,
                           const FileStatus* source, const FileStatus* dest) {
  CopyResult result;
  StagedFile staged;
  if (context_.Plan) {
    result = PlanCopy(name, source, dest);
  } else if (source && !WithinSizeLimit(*source)) {
    result.Failed = false;  // Counts as copied, with no bytes.
  } else if (source) {
    const CopySide from{pair.Source, paths_.Source(), name, source};
    const CopySide to{pair.Dest, paths_.Dest(), name, dest, !pair.DestManners.SyncsWhole};
    result = StagePatiently([&] { return StageShown(copy_, from, to, staged); });
  }
  FinishCopy(pair, result, std::move(staged), name);
}

CopyResult TreeWalk::StagePatiently(const std::function<CopyResult()>& stage) {
  const CopyResult result = stage();
  const bool exhausted = result.Failed && !Cancelled() && IsExhausted(context_.State.LastApiError);
  if (!exhausted || !(group_.Pending() || release_)) return result;
  group_.Flush();
  if (release_) release_->Drain();
  return Cancelled() ? result : stage();
}

CopyResult TreeWalk::PlanCopy(std::u16string_view name, const FileStatus* source,
                              const FileStatus* dest) {
  RunPlan& plan = *context_.Plan;
  const std::u16string path = BelowRoot(name);
  CopyResult result;
  result.Failed = false;
  if (source && !WithinSizeLimit(*source)) {
    plan.Add(PlanAction::LeaveOut, PlanReason::TooLarge, false, path, source->Size);
    return result;
  }
  if (!source || (dest && dest->Kind == FileKind::Folder)) {
    plan.Add(PlanAction::Fail, source ? PlanReason::Blocked : PlanReason::Unreadable, false, path);
    result.Failed = true;
    return result;
  }
  const PlanReason reason =
      ReasonToCopy(source, dest, options_.Compare).value_or(PlanReason::LinkTarget);
  plan.Add(dest ? PlanAction::Replace : PlanAction::Copy, reason, false, path, source->Size);
  plan.NetBytes += static_cast<std::int64_t>(std::min(source->Size, source->Allocated));
  if (dest) plan.NetBytes -= static_cast<std::int64_t>(std::min(dest->Size, dest->Allocated));
  result.BytesCopied = source->Size;
  return result;
}

void TreeWalk::CountFailed(std::u16string_view source_path) {
  ++context_.Counters.FailedFiles;
  LogLine(options_.FileFailedText, source_path);
}

void TreeWalk::FinishCopy(const FolderPair& pair, const CopyResult& result, StagedFile staged,
                          std::u16string_view name) {
  if (result.Failed) return CountFailed(paths_.SourceOf(name));
  if (result.Warning) context_.LogTimed(result.Message);
  if (!staged) {
    ++context_.Counters.CopiedFiles;
    context_.Counters.CopiedBytes += result.BytesCopied;
    return;
  }
  if (const std::shared_ptr<const CommitFolder>& shared = SharedDest(pair)) {
    group_.AddStaged(shared,
                     std::make_unique<CopyChange>(*this, shared, std::move(staged), result,
                                                  std::u16string(paths_.SourceOf(name))),
                     result.BytesCopied);
    return;
  }
  if (staged.RollBack(pair.Dest)) names_.NoteLeft();
  CountFailed(paths_.SourceOf(name));
}

}  // namespace kavrel
