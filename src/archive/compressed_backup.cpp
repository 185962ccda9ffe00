#include "archive/compressed_backup.h"

#include <algorithm>

#include "archive/host_monitor.h"
#include "archive/list_file.h"
#include "base/number.h"
#include "base/text.h"
#include "base/wildcard.h"
#include "files/path.h"
#include "rules/date_tokens.h"
#include "rules/file_filters.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kRule =
    u"--------------- ------- ---------- -------- ---------- ------------------------------------";
constexpr std::u16string_view kHeading =
    u"  檔 案 大 小    類 型    日  期    時  間   CRC 校驗  檔 案 名 稱";
constexpr std::size_t kRowStart = 55;

/// Collects the files to pack, below the open source folder.
class ListBuilder {
 public:
  ListBuilder(ArchiveContext& context, const BackupJob& job)
      : context_(context), job_(job), patterns_(SplitPatterns(job.FileTypes)) {}

  void Walk(const Folder& folder, const std::u16string& prefix) {
    std::vector<std::u16string> subfolders;
    FolderReader reader(folder);
    while (const FolderEntry* entry = reader.Next()) {
      context_.Host.PumpMessages();
      if (context_.State.CancelRequested) return;
      if (entry->Kind == FileKind::Folder) {
        subfolders.push_back(entry->Name);
      } else if (entry->Kind != FileKind::Special && Takes(entry->Name)) {
        Add(folder, prefix, entry->Name);
      }
    }
    if (reader.Error()) Fail(u": 讀取目錄 (失敗)：", prefix);
    for (const std::u16string& name : subfolders) {
      const Result<Folder> subfolder = folder.OpenFolder(name);
      if (subfolder) {
        Walk(*subfolder, prefix + name + u"/");
      } else {
        Fail(u": 讀取目錄 (失敗)：", prefix + name);
      }
    }
  }

  std::string Lines;
  std::uint32_t Files = 0;
  std::uint64_t Bytes = 0;

 private:
  bool Takes(std::u16string_view name) const {
    if (job_.ExcludeFileTypes) return !MatchesPatternList(name, job_.FileTypes);
    return std::any_of(patterns_.begin(), patterns_.end(),
                       [&](std::u16string_view pattern) { return MatchesFileMask(name, pattern); });
  }

  void Add(const Folder& folder, const std::u16string& prefix, std::u16string_view name) {
    const Result<FileStatus> status = folder.Status(name);
    if (!status) return;
    if (job_.LimitFileSize && status->Kind == FileKind::File &&
        static_cast<std::int64_t>(status->Size) > std::int64_t{job_.MaxFileSizeKB} * 1024) {
      return;
    }
    const std::u16string path = prefix + std::u16string(name);
    ++context_.Counters.SourceFiles;
    const std::string line = ListLine(path);
    if (line.empty()) {
      Fail(u": 備份檔案 (失敗)：", path);
      return;
    }
    Lines += line + "\r\n";
    ++Files;
    Bytes += status->Size;
  }

  void Fail(std::u16string_view text, std::u16string_view path) {
    ++context_.Counters.FailedFiles;
    context_.Log.WriteTimed(std::u16string(text) + job_.Source.WorkPath + std::u16string(path));
  }

  ArchiveContext& context_;
  const BackupJob& job_;
  const std::vector<std::u16string_view> patterns_;
};

void PutRight(std::u16string& row, std::size_t last_column, std::u16string_view text) {
  const std::size_t length = std::min(text.size(), last_column);
  row.replace(last_column - length, length, text.substr(text.size() - length));
}

}  // namespace

std::u16string CompressionSwitch(CompressionLevel level, const BackupJob& job) {
  std::u16string switches;
  switch (level) {
    case CompressionLevel::Store:
      switches = u"-t7z -m0=Copy";
      break;
    case CompressionLevel::Fast:
      switches = u"-t7z -m0=Deflate";
      break;
    case CompressionLevel::Full:
      switches = u"-t7z -m0=BCJ2 -m1=LZMA:d23 -m2=LZMA:d19 -m3=LZMA:d19 -mb0:1 -mb0s1:2 -mb0s2:3";
      break;
    default:
      return {};
  }
  return switches + (job.UsePassword ? u" -p" + job.Password : u" -r");
}

std::u16string ArchivePath(const BackupJob& job, Clock& clock) {
  return JoinPath(ExpandDateTokens(job.Destination.WorkPath, clock),
                  ArchiveStamp(clock.Now()) + u".7z");
}

std::u16string BuildListFile(ArchiveContext& context, const BackupJob& job) {
  const Result<Folder> source = context.Files.OpenFolder(job.Source.WorkPath);
  if (!source) return {};
  ListBuilder builder(context, job);
  builder.Walk(*source, {});
  if (builder.Lines.empty() || context.State.CancelRequested) return {};
  const std::u16string list = WriteListFile(context.Files, builder.Lines);
  if (list.empty()) return {};
  context.Counters.CopiedFiles = builder.Files;
  context.Counters.CopiedBytes = builder.Bytes;
  return list;
}

int CompressBackup(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
                   CompressionLevel level) {
  if (!context.Library.Present()) return kNoArchiver;
  HostMonitor monitor(context, job.Source.WorkPath, job.Destination.WorkPath);
  ClsArc archiver(context.Library, context.Files);
  archiver.Monitor = &monitor;
  archiver.param1 = archive_path;
  archiver.param2 = AddBackslash(job.Source.WorkPath);
  const std::u16string list = BuildListFile(context, job);
  if (context.State.CancelRequested) return kCommandCancelled;
  int result = 2;
  if (!list.empty() && context.Files.MakeFolders(PathFolder(archive_path))) {
    archiver.Param3 = u"@" + list;
    archiver.Command = u"a";
    archiver.Switch = CompressionSwitch(level, job);
    archiver.BufferSize = 65536;
    result = archiver.DoCommand(kZipKind);
  }
  if (result == 0) return 0;
  // Nothing says which files a failed command packed.
  context.Counters.CopiedFiles = 0;
  context.Counters.CopiedBytes = 0;
  context.Counters.FailedFiles += result == kCommandCancelled ? 0 : 1;
  context.Log.WriteTimed(u": " + archiver.DebugCommand);
  context.Log.WriteJobLog(ReplaceAll(archiver.ResultBuffer, u"\n", u"\r\n"));
  return result;
}

void WriteArchiveListing(ArchiveContext& context, const BackupJob& job,
                         std::u16string_view archive_path, std::u16string_view destination) {
  ClsArc archiver(context.Library, context.Files);
  archiver.OpenArchive(archive_path);
  if (archiver.ArrayCount() == -1) return;
  JobLog& log = context.Log;
  log.WriteJobLog({});
  log.WriteJobLog(u"來源資料夾：" + std::u16string(DropBackslash(job.Source.Path)));
  log.WriteJobLog(u"目標資料夾：" + std::u16string(destination));
  log.WriteJobLog(u"壓縮檔名稱：" + std::u16string(archive_path) + u"\r\n\r\n" +
                  std::u16string(kRule) + u"\r\n" + std::u16string(kHeading) + u"\r\n" +
                  std::u16string(kRule));
  for (const ArchiveEntry& entry : archiver.Entries) {
    if (entry.FileName.empty()) continue;
    std::u16string row(kRowStart, u' ');
    PutRight(row, 15, Grouped(std::stoull(ToUtf8(entry.FileSize))));
    PutRight(row, 22, entry.FileType);
    PutRight(row, 43, entry.FileDateTime);
    PutRight(row, 53, entry.FileCRC);
    log.WriteJobLog(row + entry.FileName);
  }
  log.WriteJobLog(std::u16string(kRule) + u"\r\n" + std::u16string(kRowStart, u' ') +
                  u"檔案 / 資料夾總計： " + Decimal(archiver.ArrayCount() + 1) + u" 個\r\n" +
                  std::u16string(kRule) + u"\r\n");
}

std::vector<ArchiveFile> ListArchives(const FileSystem& files, std::u16string_view folder) {
  std::vector<ArchiveFile> archives;
  const Result<Folder> open = files.OpenFolder(folder);
  if (!open) return archives;
  FolderReader reader(*open);
  while (const FolderEntry* entry = reader.Next()) {
    if (entry->Kind != FileKind::File || !MatchesFileMask(entry->Name, u"*.7z")) continue;
    const Result<FileStatus> status = open->Status(entry->Name);
    if (status) archives.push_back({entry->Name, status->Written, status->Size});
  }
  return archives;
}

}  // namespace kavrel
