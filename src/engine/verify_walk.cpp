#include "engine/verify_walk.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "engine/folder_pair.h"
#include "engine/kept_entries.h"
#include "engine/rule_check.h"
#include "engine/tree_walk.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "walk/scope.h"

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
  bool SameBlock(const Side& other) const {
    return size_ == other.size_ && std::memcmp(buffer_.data(), other.buffer_.data(), size_) == 0;
  }

 private:
  File file_;
  std::vector<char> buffer_;
  std::size_t size_ = 0;
};

class VerifyWalk {
 public:
  VerifyWalk(RunContext& context, const BackupJob& job, VerifyReport& report)
      : context_(context),
        job_(job),
        report_(report),
        scope_(job, context.Exclusions, job.Destination.WorkPath),
        paths_(job.Source.WorkPath, job.Destination.WorkPath) {}

  void Run() { WalkFolder(nullptr, {}); }

 private:
  enum class Content { Same, Different, Unreadable, Cancelled };

  void WalkFolder(const FolderPair* parent, std::u16string_view name);
  bool HasItsCopy(const FolderPair* parent, std::u16string_view name, FolderPair& pair);
  void FindExtras(const FolderPair& pair, bool at_root, const std::set<std::u16string>& files,
                  const std::set<std::u16string>& folders);
  void VerifyFile(const FolderPair& pair, const FolderScope& here, const FolderEntry& file);
  /// What a run would leave out as a whole is no good backup.
  void LeaveRootOut();
  void Compare(const FolderPair& pair, std::u16string_view name, const FileStatus& source);
  Content CompareContent(const FolderPair& pair, std::u16string_view name, std::uint64_t size);
  bool IsExtra(const Folder& folder, std::u16string_view name) const;

  void Differs(std::uint32_t VerifyCounters::*kind, std::u16string_view text,
               std::u16string_view path) {
    NoteDifference(report_, kind, path);
    context_.Log.WriteTimed(std::u16string(text) + std::u16string(path));
  }
  std::u16string DestOf(std::u16string_view name) const {
    return std::u16string(paths_.Dest()) + std::u16string(name);
  }
  bool Cancelled() const { return context_.State.CancelRequested; }

  RunContext& context_;
  const BackupJob& job_;
  VerifyReport& report_;
  Scope scope_;
  WalkPaths paths_;
  std::vector<FileStatus> source_lineage_;
  Side source_side_, dest_side_;
};

void VerifyWalk::WalkFolder(const FolderPair* parent, std::u16string_view name) {
  if (Cancelled()) return;
  if (scope_.IsExcluded(paths_.Source())) return parent ? void() : LeaveRootOut();
  FolderPair pair = OpenPair(context_.Files, parent, name, paths_);
  if (pair.SourceError) {
    return Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", paths_.Source());
  }
  if (!parent) {
    scope_.SetOwn(pair.Dest, &pair.Source);
    if (scope_.IsOwnRoot(paths_.Source(), pair.Source)) return LeaveRootOut();
    source_lineage_ = *pair.Source.Lineage();
  }
  // What a run leaves out because it is the backup itself is no part of the source.
  if (parent && scope_.IsOwn(paths_.Source(), pair.Source, pair.SourceStatus)) return;
  if (!HasItsCopy(parent, name, pair)) return;

  const FolderScope here = scope_.In(paths_.Source());
  std::set<std::u16string> files, folders;
  FolderReader reader(pair.Source);
  while (const FolderEntry* entry = reader.Next()) {
    (entry->Kind == FileKind::Folder ? folders : files).insert(entry->Name);
    if (entry->Kind != FileKind::Folder) VerifyFile(pair, here, *entry);
    if (Cancelled()) return;
  }
  if (reader.Error()) {
    Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", paths_.Source());
  } else if (job_.Synchronise && pair.Dest && !pair.KeptByDisk) {
    FindExtras(pair, !parent, files, folders);
  }
  for (const std::u16string& subfolder : folders) {
    if (!here.TakesFolder(subfolder)) continue;
    context_.Host.PumpMessages();
    if (Cancelled()) return;
    const WalkPaths::Step step(paths_, subfolder);
    WalkFolder(&pair, subfolder);
  }
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
  return !here || !there || MayBeLeftOver(*there, *here, source_lineage_);
}

/// What a synchronisation would remove: whatever the source has under no such name and kind. It
/// never removes a disk that is mounted there, nor a folder that the source lies in.
void VerifyWalk::FindExtras(const FolderPair& pair, bool at_root,
                            const std::set<std::u16string>& files,
                            const std::set<std::u16string>& folders) {
  KeptEntries kept(pair);
  FolderReader reader(pair.Dest);
  while (const FolderEntry* entry = reader.Next()) {
    const bool folder = entry->Kind == FileKind::Folder;
    if ((folder ? folders : files).contains(entry->Name) || kept.Keeps(*entry)) continue;
    if (at_root && IsOwnerMark(entry->Name)) continue;
    if (folder && !IsExtra(pair.Dest, entry->Name)) continue;
    Differs(&VerifyCounters::Extra, folder ? u": 驗證資料夾 (多出)：" : u": 驗證檔案 (多出)：",
            DestOf(entry->Name));
  }
  if (reader.Error())
    Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", paths_.Dest());
}

void VerifyWalk::LeaveRootOut() {
  Differs(&VerifyCounters::Unreadable, u": 驗證資料夾 (沒有備份)：", paths_.Source());
}

void VerifyWalk::VerifyFile(const FolderPair& pair, const FolderScope& here,
                            const FolderEntry& file) {
  const std::u16string_view name = file.Name;
  if (here.TimesTaken(name) == 0) return;
  RunCounters& counters = context_.Report.Counters;
  ++counters.SourceFiles;
  context_.Host.PumpMessages();
  if (Cancelled()) return;
  if (here.LeavesOut(file)) {
    ++counters.ExcludedFiles;
    return;
  }
  const Result<FileStatus> source = pair.Source.Status(name);
  if (!source) {
    // Gone since the folder was listed: no part of the source any more.
    if (IsNotFound(source.Error)) return;
    return Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", paths_.SourceOf(name));
  }
  if (!scope_.WithinSizeLimit(*source)) {
    ++counters.ExcludedFiles;
    return;
  }
  if (pair.DestIsNew) {
    ++report_.Counters.Missing;
  } else {
    context_.Host.DrawCaptions(paths_.Source(), paths_.Dest(), name);
    Compare(pair, name, *source);
  }
  counters.SourceBytes += source->Size;
}

void VerifyWalk::Compare(const FolderPair& pair, std::u16string_view name,
                         const FileStatus& source) {
  VerifyCounters& found = report_.Counters;
  const Result<FileStatus> dest = pair.Dest.Status(name);
  if (IsNotFound(dest.Error)) {
    return Differs(&VerifyCounters::Missing, u": 驗證檔案 (缺少)：", paths_.SourceOf(name));
  }
  if (!dest) return Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", DestOf(name));
  if (dest->Kind != source.Kind) {
    return Differs(&VerifyCounters::Changed, u": 驗證檔案 (種類不同)：", paths_.SourceOf(name));
  }
  Content content = Content::Same;
  if (source.Kind == FileKind::Link) {
    const Result<std::u16string> from = pair.Source.ReadLink(name), to = pair.Dest.ReadLink(name);
    content = !from || !to   ? Content::Unreadable
              : *from == *to ? Content::Same
                             : Content::Different;
  } else if (dest->Size != source.Size) {
    return Differs(&VerifyCounters::Changed, u": 驗證檔案 (大小不同)：", paths_.SourceOf(name));
  } else {
    content = CompareContent(pair, name, source.Size);
  }
  if (content == Content::Same) {
    ++found.Equal;
    report_.Bytes += source.Size;
  } else if (content == Content::Unreadable) {
    Differs(&VerifyCounters::Unreadable, u": 驗證檔案 (無法讀取)：", paths_.SourceOf(name));
  } else if (content == Content::Different) {
    // A link to another place is always copied, whatever its time.
    const bool passed_over = source.Kind == FileKind::File && NeedsNoCopy(&source, &*dest, true);
    if (passed_over) {
      Differs(&VerifyCounters::Damaged, u": 驗證檔案 (內容損壞)：", paths_.SourceOf(name));
    } else {
      Differs(&VerifyCounters::Changed, u": 驗證檔案 (內容不同)：", paths_.SourceOf(name));
    }
  }
}

VerifyWalk::Content VerifyWalk::CompareContent(const FolderPair& pair, std::u16string_view name,
                                               std::uint64_t size) {
  if (source_side_.Open(pair.Source, name) || dest_side_.Open(pair.Dest, name)) {
    return Content::Unreadable;
  }
  dest_side_.ForgetCached();
  for (std::uint64_t done = 0;;) {
    if (source_side_.Read() || dest_side_.Read()) return Content::Unreadable;
    if (!source_side_.SameBlock(dest_side_)) return Content::Different;
    const std::size_t block = source_side_.Size();
    done += block;
    context_.Host.ApiFileCopyCallback(std::max(size, done), done, 0, size, done, kBlock);
    if (Cancelled()) return Content::Cancelled;
    if (block < kBlock) return Content::Same;
  }
}

}  // namespace

void VerifyFolders(RunContext& context, const BackupJob& job, VerifyReport& report) {
  // What the rules leave out is missing in the backup.
  if (!MakeSureOfRules(context)) ++report.Counters.Unreadable;
  VerifyWalk(context, job, report).Run();
}

}  // namespace kavrel
