#include "engine/tree_walk.h"

#include "files/error_text.h"
#include "files/path.h"

namespace kavrel {

bool NeedsNoCopy(const FileStatus* source, const FileStatus* dest, bool differential) {
  if (!differential) return false;
  if (!source) return true;
  if (!dest || source->Kind != dest->Kind) return false;
  const std::int64_t seconds = source->Written.Seconds - dest->Written.Seconds;
  if (seconds < -1 || seconds > 1) return false;
  if (seconds != 0 && std::chrono::floor<std::chrono::days>(LocalTime(source->Written)) !=
                          std::chrono::floor<std::chrono::days>(LocalTime(dest->Written))) {
    return false;
  }
  return source->Size == dest->Size;
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
      copy_{context.State, context.Clock, &context.Host, nullptr},
      ahead_(copy_, context.CopyAhead) {}

void TreeWalk::LogLine(std::u16string_view text, std::u16string_view what) {
  std::u16string line(text);
  line += what;
  context_.Log.WriteTimed(line);
}

void TreeWalk::RememberRoot(const FolderPair& pair) {
  if (dest_root_.Known || !pair.Dest) return;
  if (const Result<FileStatus> root = pair.Dest.Status()) {
    dest_root_ = {root->Device, root->Id, true};
  }
}

void TreeWalk::WalkFolder(const FolderPair* parent, std::u16string_view name) {
  if (!EnterFolder()) return;
  // A destination inside the source is never copied into itself, whatever path leads there.
  if (PathStartsWith(paths_.Source(), options_.To)) return;
  FolderPair pair = OpenPair(context_.Files, parent, name, paths_);
  RememberRoot(pair);
  if (pair.Source && dest_root_.Is(pair.SourceStatus)) return;
  const bool report = BeforeFiles(pair);
  if (Cancelled()) return;
  if (!MakeDestination(context_.Files, parent, name, paths_, pair)) {
    ++context_.Counters.FailedFiles;
    DestinationFailed();
    return;
  }
  RememberRoot(pair);
  if (!parent) local_ = pair.Source && pair.Source.OnLocalDisk() && pair.Dest.OnLocalDisk();

  std::vector<std::u16string> subfolders;
  const bool go_on = CopyFolderFiles(pair, report, subfolders);
  for (const std::u16string& subfolder : subfolders) {
    if (!go_on || Cancelled()) break;
    context_.Host.PumpMessages();
    if (Cancelled()) break;
    const WalkPaths::Step step(paths_, subfolder);
    WalkFolder(&pair, subfolder);
  }
  if (const ErrorCode error = FinishDestination(paths_, pair)) {
    ++context_.Counters.WarningFiles;
    context_.Log.WriteTimed(FailText(
        context_.State, error, u"Could Not Set Destination Folder Attributes", paths_.Dest()));
  }
}

bool TreeWalk::CopyFolderFiles(const FolderPair& pair, bool report,
                               std::vector<std::u16string>& subfolders) {
  ErrorCode error = pair.SourceError;
  if (!error) {
    FolderReader reader(pair.Source);
    HandleFiles(pair, reader, subfolders);
    FinishAhead();
    error = reader.Error();
  }
  if (error && report) {
    // Whoever reads the log must learn that something of the source is missing from the copy.
    ++context_.Counters.FailedFiles;
    LogLine(u": 讀取目錄 (失敗)：", paths_.Source());
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
  if (LeavesFileOut(paths_.SourceOf(name))) return LeaveOut(u": 排除檔案 (成功)：", name);
  // A socket, pipe or device has no content that a backup could keep.
  if (kind == FileKind::Special) return LeaveOut(u": 略過特殊檔案 (成功)：", name);
  const Result<FileStatus> source = pair.Source.Status(name);
  Result<FileStatus> dest;
  const bool dest_there =
      source && (!pair.DestIsNew || MayRepeat()) && (dest = pair.Dest.Status(name));
  const FileStatus* old = dest_there ? &*dest : nullptr;
  if (local_ && source && !MayRepeat() && ahead_.Suits(*source) && WithinSizeLimit(*source) &&
      !NeedsNoCopy(&*source, old, options_.Compare)) {
    ahead_.Add({pair.Source, pair.Dest, paths_.Source(), paths_.Dest()}, name, *source, old);
    if (ahead_.Full()) FinishOneAhead();
    return;
  }
  if (!FinishAhead()) return;
  ++context_.Counters.SourceFiles;
  CopyOneFile(pair, name, source ? &*source : nullptr, old);
}

void TreeWalk::LeaveOut(std::u16string_view text, std::u16string_view name) {
  if (!FinishAhead()) return;
  ++context_.Counters.SourceFiles;
  ++context_.Counters.ExcludedFiles;
  LogLine(text, paths_.SourceOf(name));
}

bool TreeWalk::FinishAhead() {
  while (!ahead_.Empty()) FinishOneAhead();
  return !Cancelled();
}

void TreeWalk::FinishOneAhead() {
  ++context_.Counters.SourceFiles;
  context_.Host.PumpMessages();
  if (!Cancelled()) {
    const std::u16string name(ahead_.FrontName());
    CountResult(ahead_.FinishFront(), name);
  }
  // Behind a cancel nothing has been visited.
  if (Cancelled()) ahead_.DropAll();
}

void TreeWalk::CopyOneFile(const FolderPair& pair, std::u16string_view name,
                           const FileStatus* source, const FileStatus* dest) {
  context_.Host.PumpMessages();
  // The copy clears the cancel flag when it starts; a cancel that came up to here must not get
  // lost in it.
  if (Cancelled()) return;
  if (NeedsNoCopy(source, dest, options_.Compare) && SameLinkTarget(pair, name, source)) {
    context_.Host.FillProgress();
    context_.Host.DrawCaptions(paths_.Source(), paths_.Dest(), name);
    context_.Host.PumpMessages();
    ++context_.Counters.UnchangedFiles;
    return;
  }
  CopyResult result;
  if (source && !WithinSizeLimit(*source)) {
    result.Failed = false;  // Counts as copied, with no bytes.
  } else if (source) {
    const CopySide from{pair.Source, paths_.Source(), name, source};
    const CopySide to{pair.Dest, paths_.Dest(), name, dest};
    result = CopyFileShown(copy_, from, to);
  }
  CountResult(result, name);
}

void TreeWalk::CountResult(const CopyResult& result, std::u16string_view name) {
  RunCounters& counters = context_.Counters;
  if (result.Failed) {
    ++counters.FailedFiles;
    LogLine(options_.FileFailedText, paths_.SourceOf(name));
  } else if (result.Warning) {
    ++counters.WarningFiles;
    context_.Log.WriteTimed(result.Message);
  } else {
    ++counters.CopiedFiles;
    counters.CopiedBytes += result.BytesCopied;
  }
}

}  // namespace kavrel
