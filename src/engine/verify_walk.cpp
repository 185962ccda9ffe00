#include "engine/verify_walk.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <optional>
#include <set>
#include <span>

#include "base/number.h"
#include "base/text.h"
#include "engine/content_sums.h"
#include "engine/copy_reason.h"
#include "engine/damaged_copies.h"
#include "engine/folder_pair.h"
#include "engine/kept_entries.h"
#include "engine/read_sum.h"
#include "engine/rule_check.h"
#include "files/file_copy.h"
#include "files/open_along.h"
#include "files/path.h"
#include "files/path_set.h"
#include "files/temp_names.h"
#include "platform/error_codes.h"
#include "walk/source_place.h"
#include "walk/traverse.h"

namespace kavrel {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 20;

/// One side of a comparison, read a block at a time.
class Side {
 public:
  Side() : buffer_(kBlock) {}

  ErrorCode Open(const Folder& folder, std::u16string_view name) {
    Result<File> file = folder.OpenFile(name);
    if (!file) return file.Error;
    file_ = std::move(*file);
    file_.HintSequential();
    return 0;
  }
  void ForgetCached() { file_.ForgetCached(); }
  ErrorCode Read() {
    const Result<std::size_t> got = file_.Read(buffer_);
    size_ = *got;
    return got.Error;
  }
  std::size_t Size() const { return size_; }
  std::span<const char> Block() const { return {buffer_.data(), size_}; }
  bool SameBlock(const Side& other) const {
    return size_ == other.size_ && std::memcmp(buffer_.data(), other.buffer_.data(), size_) == 0;
  }

 private:
  File file_;
  std::vector<char> buffer_;
  std::size_t size_ = 0;
};

class VerifyWalk final : private TreeVisitor {
 public:
  VerifyWalk(RunContext& context, const BackupJob& job, VerifyReport& report, bool mend)
      : context_(context),
        job_(job),
        report_(report),
        mend_(mend),
        paths_(job.Source.WorkPath, job.Destination.WorkPath),
        reader_(context) {}

  void Run() {
    const std::u16string& own = job_.Destination.WorkPath;
    Traverse(context_.Files, job_.Source.WorkPath, own,
             Scope(context_.Files, job_, context_.Exclusions, own), *this)
        .Run();
    if (!sums_) return;
    if (GoesOn()) DropGone();
    if (const ErrorCode error = sums_->Finish(true)) {
      ++report_.Counters.Unreadable;
      LogFailure(context_.Log, report_.Failures, kListFailed, own, ApiErrorText(error));
    }
  }

 private:
  enum class Content { Same, Different, Unreadable, Cancelled };

  /// A folder of the source, and its copy.
  struct Level {
    std::optional<WalkPaths::Step> Step;
    FolderPair Pair;                          ///< without the source
    std::set<std::u16string> Files, Folders;  ///< of a mirror's source, while it is listed
  };

  bool GoesOn() override { return !context_.State.CancelRequested; }
  bool Enter(const TraversedFolder& in) override;
  void TakeFile(const TraversedFolder& in, const FolderEntry& file, std::uint32_t times) override;
  bool TakeSubfolder(const TraversedFolder& in, const FolderEntry& folder, bool taken) override;
  void Listed(const TraversedFolder& in, ErrorCode error) override;
  void Leave(const TraversedFolder&) override { levels_.pop_back(); }
  void LeaveOut(std::u16string_view path, std::u16string_view name, PlanReason) override {
    // What a run would leave out as a whole is no good backup.
    if (name.empty()) Differs(&VerifyCounters::Unreadable, u": 驗證資料夾 (沒有備份)：", path);
  }
  void Fail(std::u16string_view path, std::u16string_view, ErrorCode) override {
    Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", path);
  }

  bool ShowsSource(const TraversedFolder& root, const Folder& dest);
  bool HasItsCopy(const FolderPair* parent, std::u16string_view name, FolderPair& pair);
  void FindExtras(const TraversedFolder& in, const Level& level);
  void Compare(const TraversedFolder& in, const Folder& to, std::u16string_view name,
               const FileStatus& source);
  Content CompareContent(const Folder& from, const Folder& to, std::u16string_view name,
                         std::uint64_t size);
  bool IsExtra(const Folder& folder, std::u16string_view name) const;
  /// From now on sums that the backup does not have are added to its list.
  void KeepSums(const Folder& root);
  /// The content of a copy, which is that of its source, has this sum.
  void NoteSum(std::u16string_view name, const ContentSum& sum);

  void Differs(std::uint32_t VerifyCounters::*kind, std::u16string_view text,
               std::u16string_view path, ChangedSide side = ChangedSide::Unknown,
               std::u16string_view why = {}) {
    TellDifference(context_, report_, kind, text, path, why, side);
  }
  /// Of a file whose content differs: the kind, and the side that its sum convicts.
  void TellContent(const TraversedFolder& in, const Folder& to, std::u16string_view name,
                   const FileStatus& source, const FileStatus& dest);
  /// Makes the copy anew, whose source has the sum that the list tells; the damaged one keeps a
  /// name beside it, which is given back. Empty where that failed, and nothing has changed.
  std::u16string Mend(const TraversedFolder& in, const Folder& to, std::u16string_view name,
                      const FileStatus& source);
  /// Takes out of the list what it tells of files that are not there.
  void DropGone();
  ChangedSide Judge(const Folder& from, const Folder& to, std::u16string_view name);
  /// Below the root, as the list of sums has it.
  std::string SumPath(std::u16string_view name) const;
  std::u16string DestOf(std::u16string_view name) const {
    return std::u16string(paths_.Dest()) + std::u16string(name);
  }

  RunContext& context_;
  const BackupJob& job_;
  VerifyReport& report_;
  const bool mend_;
  WalkPaths paths_;
  std::deque<Level> levels_;
  std::vector<FileStatus> source_lineage_;
  std::optional<SourcePlace> source_place_;
  Side source_side_, dest_side_;
  SumReader reader_;
  ContentSum sum_{};  ///< of the copy that was compared last, and is the same
  std::optional<SumIndex> known_;
  std::optional<ContentSums> sums_;
  std::optional<TempNames> names_;
  Folder root_;  ///< of the backup, where sums are kept
};

bool VerifyWalk::Enter(const TraversedFolder& in) {
  context_.Host.PumpMessages();
  const FolderPair* parent = in.IsRoot() ? nullptr : &levels_.back().Pair;
  Level& level = levels_.emplace_back();
  if (parent) level.Step.emplace(paths_, in.Name);
  OpenDest(context_.Files, parent, in.Name, paths_, level.Pair);
  if (!(in.IsRoot() && ShowsSource(in, level.Pair.Dest)) &&
      HasItsCopy(parent, in.Name, level.Pair)) {
    if (in.IsRoot() && level.Pair.Dest && job_.Extras.KeepSums) KeepSums(level.Pair.Dest);
    return true;
  }
  levels_.pop_back();
  return false;
}

void VerifyWalk::KeepSums(const Folder& root) {
  Result<Folder> own = root.Reopen();
  if (!own) return;
  known_.emplace(root);
  sums_.emplace(std::move(*own), true);
  if (Result<Folder> again = root.Reopen()) root_ = std::move(*again);
}

void VerifyWalk::NoteSum(std::u16string_view name, const ContentSum& sum) {
  if (!sums_) return;
  const std::string path = SumPath(name);
  if (!known_->Has({sum, path})) sums_->Note(FromUtf8(path), sum, true);
}

std::string VerifyWalk::SumPath(std::u16string_view name) const {
  return ToUtf8(ListedPath(paths_.Source(), paths_.BelowRoot()) += name);
}

/// Two against one: what the backup's list tells, and the side that agrees with it.
ChangedSide VerifyWalk::Judge(const Folder& from, const Folder& to, std::u16string_view name) {
  if (!known_) return ChangedSide::Unknown;
  const std::string path = SumPath(name);
  if (!known_->Knows(path)) return ChangedSide::Unknown;
  const auto is_told = [&](const std::optional<ContentSum>& sum) {
    return sum && known_->Has({*sum, path});
  };
  if (is_told(reader_.Read(to, name))) return ChangedSide::Source;
  if (is_told(reader_.Read(from, name))) return ChangedSide::Copy;
  return ChangedSide::Unknown;
}

void VerifyWalk::TellContent(const TraversedFolder& in, const Folder& to, std::u16string_view name,
                             const FileStatus& source, const FileStatus& dest) {
  const bool is_file = source.Kind == FileKind::File;
  const ChangedSide side = is_file ? Judge(in.Opened, to, name) : ChangedSide::Unknown;
  if (!GoesOn()) return;
  // A link to another place is always copied, whatever its time.
  const bool passed_over = is_file && NeedsNoCopy(&source, &dest, true) &&
                           !(side == ChangedSide::Source && IsChangedLater(source, dest));
  const std::u16string_view path = paths_.SourceOf(name);
  if (side == ChangedSide::Copy) {
    ++report_.BadCopies;
    Differs(&VerifyCounters::Damaged, u": 驗證檔案 (內容損壞)：", path, side,
            u"備份的檔案已損壞，來源與備份時相同");
    const std::u16string kept = mend_ ? Mend(in, to, name, source) : std::u16string();
    if (!mend_) return;
    if (kept.empty()) return context_.LogTimed(u": 修復備份的檔案 (失敗)：", DestOf(name));
    ++report_.Mended;
    return context_.LogTimed(u": 備份的檔案已用來源修復，損壞的保留為：",
                             FileBelow(job_.Destination.WorkPath, kept));
  }
  if (passed_over) {
    return Differs(&VerifyCounters::Damaged, u": 驗證檔案 (內容損壞)：", path, side,
                   side == ChangedSide::Source
                       ? u"來源在備份之後損壞，時間與大小沒有變；備份的檔案完好"
                       : u"");
  }
  Differs(
      &VerifyCounters::Changed,
      is_file && source.Size != dest.Size ? u": 驗證檔案 (大小不同)：" : u": 驗證檔案 (內容不同)：",
      path, side);
}

void VerifyWalk::DropGone() {
  if (!root_) return;
  SumListReader list(root_, kSumList);
  while (const SumLine* line = list.Next()) {
    context_.Host.PumpMessages();
    const std::u16string path = FromUtf8(line->Path);
    const Result<Folder> folder = OpenBelow(root_.Reopen(), RelativeFolder(path));
    const Result<FileStatus> status =
        folder ? folder->Status(RelativeName(path)) : Result<FileStatus>::Fail(folder.Error);
    const bool away = status ? status->Kind != FileKind::File : IsNotFound(status.Error);
    if (away) sums_->Drop(path);
  }
}

std::u16string VerifyWalk::Mend(const TraversedFolder& in, const Folder& to,
                                std::u16string_view name, const FileStatus& source) {
  if (!names_) names_.emplace(context_.Time, &context_.Staged, job_.Destination.WorkPath);
  CopySide dest{to, paths_.Dest(), name, nullptr};
  dest.Summed = true;
  StagedFile staged;
  if (!StageQuietly(*names_, {in.Opened, paths_.Source(), name, &source}, dest, staged)) return {};
  const bool proved = staged.Sum && known_->Has({*staged.Sum, SumPath(name)});
  // The old one gives up the name only for what is on the disk.
  ErrorCode error = proved ? to.SyncFile(staged.TempName) : kErrAccess;
  std::u16string kept;
  const Result<Folder> aside =
      error ? Result<Folder>::Fail(error) : PlaceForDamaged(root_, name, kept);
  if (!error) error = aside.Error;
  if (!error) error = aside->TakeOver(to, name);
  if (!error && (error = staged.Commit(to))) to.TakeOver(*aside, name);
  if (error) {
    if (staged.RollBack(to)) names_->NoteLeft();
    return {};
  }
  aside->Sync();
  to.Sync();
  return kept;
}

bool VerifyWalk::TakeSubfolder(const TraversedFolder&, const FolderEntry& folder, bool taken) {
  if (job_.Synchronise) levels_.back().Folders.insert(folder.Name);
  return taken;
}

void VerifyWalk::Listed(const TraversedFolder& in, ErrorCode error) {
  Level& level = levels_.back();
  if (error) {
    Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", paths_.Source());
  } else if (job_.Synchronise && level.Pair.Dest && !level.Pair.KeptByDisk) {
    FindExtras(in, level);
  }
  level.Files.clear();
  level.Folders.clear();
}

/// Whether the destination is the source, or holds it, under another path and number; told.
bool VerifyWalk::ShowsSource(const TraversedFolder& root, const Folder& dest) {
  source_lineage_ = *root.Opened.Lineage();
  source_place_.emplace(context_.Files, root.Path, root.Opened, dest);
  if (!source_place_->IsIn(dest)) return false;
  LeaveOut(root.Path, {}, PlanReason::OwnPlace);
  return true;
}

/// Looks at the copy of a folder. False when there is nothing to compare with. One that is missing
/// is told once; its files are only counted.
bool VerifyWalk::HasItsCopy(const FolderPair* parent, std::u16string_view name, FolderPair& pair) {
  if (pair.Dest) return true;
  if (IsNotFound(pair.DestError)) {
    pair.DestIsNew = true;
    if (parent && !parent->DestIsNew) {
      Differs(&VerifyCounters::Missing, u": 驗證資料夾 (缺少)：", paths_.Source());
    }
    return true;
  }
  const Result<FileStatus> there = parent ? parent->Dest.Status(name) : Result<FileStatus>();
  if (parent && there && there->Kind != FileKind::Folder) {
    Differs(&VerifyCounters::Changed, u": 驗證資料夾 (種類不同)：", paths_.Source());
  } else {
    Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", paths_.Dest());
  }
  return false;
}

/// A folder that cannot be looked at is told, too.
bool VerifyWalk::IsExtra(const Folder& folder, std::u16string_view name) const {
  const Result<Folder> below = folder.OpenFolder(name);
  const Result<FileStatus> here = folder.Status();
  const Result<FileStatus> there = StatusOf(below);
  if (!here || !there) return true;
  return MayBeLeftOver(*there, *here, source_lineage_) && !source_place_->Is(*below);
}

/// What a synchronisation would remove: whatever the source has under no such name and kind. It
/// never removes a disk that is mounted there, nor a folder that the source lies in.
void VerifyWalk::FindExtras(const TraversedFolder& in, const Level& level) {
  const Folder& dest = level.Pair.Dest;
  KeptEntries kept(in.Opened, dest);
  FolderReader reader(dest);
  while (const FolderEntry* entry = reader.Next()) {
    const bool folder = entry->Kind == FileKind::Folder;
    if ((folder ? level.Folders : level.Files).contains(entry->Name) || kept.Keeps(*entry)) {
      continue;
    }
    if (in.IsRoot() && IsBackupsOwn(entry->Name)) continue;
    if (folder && !IsExtra(dest, entry->Name)) continue;
    Differs(&VerifyCounters::Extra, folder ? u": 驗證資料夾 (多出)：" : u": 驗證檔案 (多出)：",
            DestOf(entry->Name));
  }
  if (reader.Error())
    Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", paths_.Dest());
}

void VerifyWalk::TakeFile(const TraversedFolder& in, const FolderEntry& file, std::uint32_t times) {
  const std::u16string_view name = file.Name;
  Level& level = levels_.back();
  if (job_.Synchronise) level.Files.insert(file.Name);
  if (times == 0) return;
  RunCounters& counters = context_.Report.Counters;
  ++counters.SourceFiles;
  context_.Host.PumpMessages();
  if (!GoesOn()) return;
  if (in.Here.LeavesOut(file)) {
    ++counters.ExcludedFiles;
    return;
  }
  const Result<FileStatus> source = in.Opened.Status(name);
  if (!source) {
    // Gone since the folder was listed: no part of the source any more.
    if (IsNotFound(source.Error)) return;
    return Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", paths_.SourceOf(name));
  }
  if (!in.Rules.WithinSizeLimit(*source)) {
    ++counters.ExcludedFiles;
    return;
  }
  if (level.Pair.DestIsNew) {
    ++report_.Counters.Missing;
  } else {
    context_.Host.DrawCaptions(paths_.Source(), paths_.Dest(), name);
    Compare(in, level.Pair.Dest, name, *source);
  }
  counters.SourceBytes += source->Size;
}

void VerifyWalk::Compare(const TraversedFolder& in, const Folder& to, std::u16string_view name,
                         const FileStatus& source) {
  VerifyCounters& found = report_.Counters;
  const Result<FileStatus> dest = to.Status(name);
  if (IsNotFound(dest.Error)) {
    const bool was_there = known_ && known_->Knows(SumPath(name));
    const ChangedSide side = was_there ? ChangedSide::Copy : ChangedSide::Unknown;
    return Differs(&VerifyCounters::Missing, u": 驗證檔案 (缺少)：", paths_.SourceOf(name), side);
  }
  if (!dest) return Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", DestOf(name));
  if (dest->Kind != source.Kind) {
    return Differs(&VerifyCounters::Changed, u": 驗證檔案 (種類不同)：", paths_.SourceOf(name));
  }
  Content content = Content::Same;
  if (source.Kind == FileKind::Link) {
    const Result<std::u16string> from = in.Opened.ReadLink(name), copy = to.ReadLink(name);
    content = !from || !copy   ? Content::Unreadable
              : *from == *copy ? Content::Same
                               : Content::Different;
  } else if (dest->Size != source.Size) {
    content = Content::Different;
  } else {
    content = CompareContent(in.Opened, to, name, source.Size);
  }
  if (content == Content::Same) {
    ++found.Equal;
    report_.Bytes += source.Size;
    if (source.Kind == FileKind::File) NoteSum(name, sum_);
  } else if (content == Content::Unreadable) {
    Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", paths_.SourceOf(name));
  } else if (content == Content::Different) {
    TellContent(in, to, name, source, *dest);
  }
}

VerifyWalk::Content VerifyWalk::CompareContent(const Folder& from, const Folder& to,
                                               std::u16string_view name, std::uint64_t size) {
  if (source_side_.Open(from, name) || dest_side_.Open(to, name)) {
    return Content::Unreadable;
  }
  dest_side_.ForgetCached();
  Summing sum;
  for (std::uint64_t done = 0;;) {
    if (source_side_.Read() || dest_side_.Read()) return Content::Unreadable;
    if (!source_side_.SameBlock(dest_side_)) return Content::Different;
    const std::size_t block = source_side_.Size();
    sum.Add(dest_side_.Block());
    done += block;
    context_.Host.ApiFileCopyCallback(std::max(size, done), done, 0, size, done, kBlock);
    if (!GoesOn()) return Content::Cancelled;
    if (block < kBlock) {
      sum_ = sum.End();
      return Content::Same;
    }
  }
}

}  // namespace

void VerifyFolders(RunContext& context, const BackupJob& job, VerifyReport& report, bool mend) {
  // What the rules leave out is missing in the backup.
  if (!MakeSureOfRules(context)) ++report.Counters.Unreadable;
  VerifyWalk(context, job, report, mend).Run();
}

}  // namespace kavrel
