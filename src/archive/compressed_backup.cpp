#include "archive/compressed_backup.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <set>

#include "archive/host_monitor.h"
#include "archive/list_file.h"
#include "archive/packed_files.h"
#include "archive/recovery_data.h"
#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "base/wildcard.h"
#include "core/made_order.h"
#include "files/error_text.h"
#include "files/folder_identity.h"
#include "files/owner_mark.h"
#include "files/path.h"
#include "log/log_end.h"
#include "platform/error_codes.h"
#include "walk/same_folder.h"
#include "walk/traverse.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kRule =
    u"--------------- ------- ---------- -------- ---------- ------------------------------------";
constexpr std::u16string_view kHeading =
    // not translated: a list of files has it so
    u"  檔 案 大 小    類 型    日  期    時  間   CRC 校驗  檔 案 名 稱";
constexpr std::size_t kRowStart = 55;
// not translated: a name of files
constexpr std::u16string_view kArchiveNames = u"####年##月##日##時.7z";

/// The archive that a file tells whose it is, or has recovery data of; another name is given back.
std::u16string_view ArchiveOf(std::u16string_view name) {
  return name.ends_with(kOwnerMark) ? MarkedArchive(name) : RecoveredArchive(name);
}

/// True for an archive that a run has made, and for an unfinished one; with `marks`, for
/// what belongs to it as well.
bool IsOwnArchive(std::u16string_view name, bool marks = false) {
  if (marks) name = ArchiveOf(name);
  while (name.ends_with(kHalfEnding)) name.remove_suffix(kHalfEnding.size());
  return MatchesPattern(name, kArchiveNames);
}

/// Finds the files to pack.
class ListBuilder final : private TreeVisitor {
 public:
  /// Called with each of them and its line of the list.
  using Taker =
      std::function<void(const std::u16string& path, const FileStatus&, const std::string& line)>;
  /// With an archive that will be brought up to date, what cannot be read is not listed: it stays
  /// in the archive as it is.
  ListBuilder(ArchiveContext& context, const BackupJob& job, Taker take,
              const SevenZipLibrary::Archive* into = nullptr)
      : context_(context), job_(job), take_(std::move(take)), into_(into) {
    Result<Folder> destination = context.Files.OpenFolder(job.Destination.WorkPath);
    if (!destination) return;
    destination_ = std::move(*destination);
    destination_is_ = IdentityOf(destination_);
  }

  /// Without a place of its own: a destination in the source is packed, too, but for its archives.
  void Run() {
    Traverse(context_.Files, job_.Source.WorkPath, {}, Scope::OfArchive(job_), *this).Run();
  }

  /// The entries of the archive that cannot stay beside what is listed: a file whose name is a
  /// folder's now, and what was below a folder that is a file or a link now. No restore could make
  /// both, and none tells which of them is the newer.
  std::string DroppedLines() const {
    std::string lines;
    for (const IndividualInfo& entry : into_ ? into_->Entries : std::vector<IndividualInfo>()) {
      bool stays = entry.IsFolder || !folders_.contains(entry.FileName);
      for (std::size_t slash = entry.FileName.find(u'/'); stays && slash != entry.FileName.npos;
           slash = entry.FileName.find(u'/', slash + 1)) {
        stays = !names_.contains(std::u16string_view(entry.FileName).substr(0, slash));
      }
      if (!stays) lines += ListLine(entry.FileName) + "\r\n";
    }
    return lines;
  }

  std::uint32_t Found = 0;  ///< files that the patterns take
  std::uint32_t Files = 0;  ///< of these, the listed ones
  std::uint64_t Bytes = 0;
  std::uint32_t Linked = 0;  ///< of the listed files: names of files that have several

 private:
  bool GoesOn() override {
    context_.Host.PumpMessages();
    return !context_.State.CancelRequested;
  }

  bool Enter(const TraversedFolder& in) override {
    if (!in.IsRoot()) (prefix_ += in.Name) += u'/';
    return true;
  }
  void Leave(const TraversedFolder& in) override {
    if (!in.IsRoot()) prefix_.resize(prefix_.size() - in.Name.size() - 1);
  }

  void TakeFile(const TraversedFolder& in, const FolderEntry& file, std::uint32_t times) override {
    if (times == 0 || IsOwn(in, file.Name)) return;
    ++Found;
    Add(in, file);
  }

  void Listed(const TraversedFolder&, ErrorCode error) override {
    if (error) CountFailed(u": 讀取目錄 (失敗)：", prefix_, error);
  }
  void Fail(std::u16string_view, std::u16string_view name, ErrorCode error) override {
    CountFailed(u": 讀取目錄 (失敗)：", prefix_ + std::u16string(name), error);
  }

  /// Archives that lie in their own source must not be packed into the next one: each would hold
  /// all before it.
  bool IsOwn(const TraversedFolder& in, std::u16string_view name) const {
    return IsOwnArchive(name, true) &&
           (destination_is_.Is(in.Status) ||
            IsSeenHere(in.Opened, name, in.Rules.MayHoldStates(in.Path)));
  }

  /// One that a former run put into another folder of a destination with dates, by its mark; or any
  /// that is seen here by another way than that to the destination. A copy that somebody has made
  /// is a file like all others.
  bool IsSeenHere(const Folder& folder, std::u16string_view name, bool may_hold_states) const {
    const Result<FileStatus> status = folder.Status(name);
    if (!status) return false;
    if (IsIn(destination_, name, *status)) return true;
    const Result<OwnerMark> mark = ReadOwnerMark(folder, ArchiveOf(name));
    if (!mark || !mark->Names(job_.Extras.Id)) return false;
    if (may_hold_states) return true;
    const Result<Folder> place = OpenMarked(context_.Files, PathFolder(mark->Place));
    return place && IsIn(*place, name, *status);
  }
  static bool IsIn(const Folder& folder, std::u16string_view name, const FileStatus& status) {
    const Result<FileStatus> own =
        folder ? folder.Status(name) : Result<FileStatus>::Fail(kErrNotFound);
    return own && LooksSame(*own, status);
  }

  void Add(const TraversedFolder& in, const FolderEntry& entry) {
    const std::u16string path = prefix_ + entry.Name;
    if (const auto reason = in.Here.LeavesOut(entry)) {
      ++context_.Counters.SourceFiles;
      ++context_.Counters.ExcludedFiles;
      LogLine(LeftOutText(*reason), path);
      Note(PlanAction::LeaveOut, *reason, path);
      return;
    }
    const Result<FileStatus> status = in.Opened.Status(entry.Name);
    if (!status) {
      ++context_.Counters.SourceFiles;
      CountFailed(u": 備份檔案 (失敗)：", path, status.Error);
      return;
    }
    if (!in.Rules.WithinSizeLimit(*status)) {
      Note(PlanAction::LeaveOut, PlanReason::TooLarge, path, status->Size);
      return;
    }
    ++context_.Counters.SourceFiles;
    const std::string line = ListLine(path);
    ErrorCode why = line.empty() ? kErrInvalid : 0;
    if (into_ && status->Kind == FileKind::File && !why) {
      why = in.Opened.OpenFile(entry.Name).Error;
    }
    if (why) {
      CountFailed(u": 備份檔案 (失敗)：", path, why);
      return;
    }
    NoteListed(path);
    take_(path, *status, line);
    if (context_.Look) context_.Look(in.Opened, entry.Name, *status);
    ++Files;
    Bytes += status->Size;
    if (status->Kind == FileKind::File && status->Links > 1) ++Linked;
  }

  void NoteListed(std::u16string_view path) {
    if (!into_) return;
    names_.emplace(path);
    for (std::size_t slash = path.rfind(u'/'); slash != path.npos; slash = path.rfind(u'/')) {
      path = path.substr(0, slash);
      if (!folders_.emplace(path).second) return;
    }
  }

  void CountFailed(std::u16string_view text, std::u16string_view path, ErrorCode why) {
    ++context_.Counters.FailedFiles;
    context_.Tell(text, AddBackslash(job_.Source.WorkPath) + std::u16string(path),
                  ApiErrorText(why));
    Note(PlanAction::Fail, PlanReason::Unreadable, path);
  }

  void Note(PlanAction action, PlanReason reason, std::u16string_view path,
            std::uint64_t size = 0) {
    context_.Notes.Add(action, reason, false, path, size);
  }

  void LogLine(std::u16string_view text, std::u16string_view path) {
    context_.Log.WriteTimed(std::u16string(text) + AddBackslash(job_.Source.WorkPath) +
                            std::u16string(path));
  }

  ArchiveContext& context_;
  const BackupJob& job_;
  const Taker take_;
  const SevenZipLibrary::Archive* const into_;
  Folder destination_;  ///< closed where there is none yet
  FolderIdentity destination_is_;
  std::u16string prefix_;  ///< of the folder at work, for what is in it
  std::set<std::u16string, std::less<>> names_, folders_;  ///< what is listed, and what holds it
};

/// Removes the unfinished archives that killed runs of other hours left in the folder. One that was
/// written a short while ago may be another program's work in progress.
void RemoveOldHalves(ArchiveContext& context, std::u16string_view path) {
  const Result<Folder> folder = context.Files.OpenFolder(path);
  if (!folder) return;
  std::vector<std::u16string> halves;
  FolderReader reader(*folder);
  while (const FolderEntry* entry = reader.Next()) {
    if (entry->Kind == FileKind::File && entry->Name.ends_with(kHalfEnding) &&
        IsOwnArchive(entry->Name)) {
      halves.push_back(entry->Name);
    }
  }
  for (const std::u16string& name : halves) {
    const Result<FileStatus> status = folder->Status(name);
    if (status && context.Time.Now() - LocalTime(status->Written) > std::chrono::hours(1)) {
      folder->RemoveFile(name);
    }
  }
}

/// The number behind the last label that begins a line: before it come names, which may hold any
/// text. Nothing without one.
std::optional<std::uint32_t> NumberAfter(std::u16string_view output, std::u16string_view label) {
  const std::size_t found = output.rfind(u"\n" + std::u16string(label));
  if (found == output.npos) return std::nullopt;
  const std::u16string_view rest = output.substr(found + 1 + label.size());
  const auto count = ParseInt(rest.substr(0, rest.find_first_of(u" \r\n")));
  return count && *count >= 0 ? std::optional(static_cast<std::uint32_t>(*count)) : std::nullopt;
}

/// How many of the `listed` files a packing command that ended with warnings has packed. What it
/// says it has read does not count empty files, nor those that the archive had already; so that is
/// asked only where the output is cut off before its sums.
std::uint32_t FilesPacked(std::u16string_view output, std::uint32_t listed) {
  const auto lost = NumberAfter(output, u"Scan WARNINGS: "),
             closed = NumberAfter(output, u"WARNING: Cannot open ");
  // It would not have warned for nothing.
  const std::uint32_t missing = std::max(lost.value_or(0) + closed.value_or(0), 1U);
  if (lost || closed) return listed - std::min(listed, missing);
  return std::min(NumberAfter(output, u"Files read from disk: ").value_or(0), listed);
}

void PutRight(std::u16string& row, std::size_t last_column, std::u16string_view text) {
  const std::size_t length = std::min(text.size(), last_column);
  row.replace(last_column - length, length, text.substr(text.size() - length));
}

/// Counts a command that failed, having packed `packed` of the listed files; how many bytes these
/// have nothing says.
void CountFailure(ArchiveContext& context, std::uint32_t packed) {
  RunCounters& counters = context.Counters;
  counters.FailedFiles += std::max<std::uint32_t>(counters.CopiedFiles - packed, 1);
  counters.CopiedFiles = packed;
  if (packed == 0) counters.CopiedBytes = 0;
}

/// What the archive program has said at last.
std::u16string LastWords(std::u16string_view output) {
  std::u16string words;
  for (const std::u16string_view untrimmed : Split(output, u'\n')) {
    const std::u16string_view line = Trim(untrimmed);
    const bool rule = line.find_first_not_of(u'-') == line.npos;
    if (rule) continue;
    if (words.ends_with(u':')) {
      words += u' ';
    } else {
      words.clear();
    }
    words += line;
  }
  return words;
}

/// Counts and tells what became another one while it was packed; after a command that has warned,
/// tells also what cannot be read. Gives the number of the latter.
std::uint32_t TellDoubts(ArchiveContext& context, const BackupJob& job, const PackedFiles& listed,
                         bool warned) {
  const auto go_on = [&] {
    context.Host.PumpMessages();
    return !context.State.CancelRequested;
  };
  const PackedFiles::Doubts doubts =
      listed.LookAgain(context.Files, job.Source.WorkPath, warned, go_on);
  RunCounters& counters = context.Counters;
  // Counted with what the command has not packed.
  for (const auto& [path, why] : doubts.Unread) {
    context.Tell(u": 備份檔案 (失敗)：", AddBackslash(job.Source.WorkPath) + path,
                 ApiErrorText(why));
  }
  const auto path_of = [&](const std::u16string& path) {
    if (counters.CopiedFiles > 0) --counters.CopiedFiles;
    return AddBackslash(job.Source.WorkPath) + path;
  };
  for (const std::u16string& path : doubts.Changed) {
    ++counters.WarningFiles;
    context.Log.WriteTimed(u": 壓縮時檔案有變動 (警告)：" + path_of(path));
  }
  for (const std::u16string& path : doubts.Replaced) {
    ++counters.FailedFiles;
    context.Tell(u": 壓縮時已換成別的項目 (失敗)：", path_of(path));
  }
  return static_cast<std::uint32_t>(doubts.Unread.size());
}

}  // namespace

Secret CompressionSwitch(CompressionLevel level, const BackupJob& job) {
  Secret switches;
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
  switches += job.UsePassword ? u" -p" : u" -r";
  if (job.UsePassword) switches += job.Password;
  return switches;
}

std::u16string ArchivePath(const BackupJob& job, Clock& clock) {
  return JoinPath(job.Destination.WorkPath, ArchiveStamp(clock.Now()) + u".7z");
}

bool IsArchiveName(std::u16string_view name) {
  return EndsWithNoCase(name, u".7z");
}

void PlanCompression(ArchiveContext& context, const BackupJob& job) {
  ListBuilder builder(
      context, job, [&](const std::u16string& path, const FileStatus& status, const auto&) {
        context.Notes.Add(PlanAction::Pack, PlanReason::Always, false, path, status.Size);
      });
  builder.Run();
  if (builder.Found == 0 && context.Counters.FailedFiles == 0) {
    ++context.Counters.FailedFiles;
    context.Notes.Add(PlanAction::Fail, PlanReason::NoFiles, true, {});
  }
  context.Counters.CopiedFiles = builder.Files;
  context.Counters.CopiedBytes = builder.Bytes;
}

PackLists BuildListFile(ArchiveContext& context, const BackupJob& job,
                        std::u16string_view archive_path, PackedFiles* listed) {
  std::shared_ptr<SevenZipLibrary::Archive> into;
  if (context.Files.Status(archive_path)) into = context.Library.SevenZipOpenArchive(archive_path);
  std::string lines;
  const auto take = [&](const std::u16string& path, const FileStatus& status,
                        const std::string& line) {
    if (listed) listed->Note(path, status);
    lines += line + "\r\n";
  };
  ListBuilder builder(context, job, take, into.get());
  builder.Run();
  if (context.State.CancelRequested) return {};
  if (builder.Found == 0) {
    context.Log.WriteTimed(u": 沒有可壓縮的檔案：" + job.Source.WorkPath);
    return {};
  }
  if (builder.Linked > 0 && job.Extras.KeepHardLinks) {
    context.Log.WriteTimed(u": 壓縮檔不保留硬連結，個別存放的名稱總計：" + Grouped(builder.Linked));
  }
  const std::string dropped = builder.DroppedLines();
  PackLists lists{WriteListFile(context.Files, lines), {}};
  if (!dropped.empty()) lists.Dropped = WriteListFile(context.Files, dropped, ListKind::Dropped);
  if (lists.Entries.empty() || (lists.Dropped.empty() && !dropped.empty())) {
    context.Tell(u": 建立檔案清單 (失敗)：", context.Files.ProgramFolder());
    return {};
  }
  context.Counters.CopiedFiles = builder.Files;
  context.Counters.CopiedBytes = builder.Bytes;
  return lists;
}

int CompressBackup(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
                   CompressionLevel level) {
  if (!context.Library.Present()) return kNoArchiver;
  HostMonitor monitor(context, job.Source.WorkPath, job.Destination.WorkPath);
  ClsArc archiver(context.Library, context.Files);
  archiver.Monitor = &monitor;
  archiver.param1 = archive_path;
  archiver.param2 = AddBackslash(job.Source.WorkPath);
  PackedFiles listed;
  const std::uint64_t troubles = context.Failures.Count();
  const PackLists lists = BuildListFile(context, job, archive_path, &listed);
  if (context.State.CancelRequested) return kCommandCancelled;
  if (context.MayPack && !context.MayPack()) return kCommandCancelled;
  archiver.Param3 = u"@" + lists.Entries;
  archiver.Dropped = lists.Dropped;
  archiver.Outdated = RecoveryName(archive_path);
  archiver.Command = u"a";
  archiver.Switch = CompressionSwitch(level, job);
  archiver.BufferSize = 65536;
  if (!lists.Entries.empty()) {
    const std::u16string_view folder = PathFolder(archive_path);
    const Result<Folder> made = context.Files.MakeFolders(folder);
    if (!made) {
      CountFailure(context, 0);
      if (context.NotMade) context.NotMade();
      context.Tell(kFolderFailed, folder, ApiErrorText(made.Error));
      return made.Error;
    }
    RemoveOldHalves(context, folder);
  }
  context.Log.FlushDue(true);
  const int result = archiver.DoCommand(kZipKind);
  if (!lists.Dropped.empty()) RemoveListFile(context.Files, ListKind::Dropped);
  if (result == 0) TellDoubts(context, job, listed, false);
  if (result == 0) return 0;
  const std::uint32_t failed_before = context.Counters.FailedFiles;
  if (result == kCommandCancelled) {
    context.Counters.CopiedFiles = 0;
    context.Counters.CopiedBytes = 0;
  } else {
    CountFailure(context, result == 1
                              ? FilesPacked(archiver.ResultBuffer, context.Counters.CopiedFiles)
                              : 0);
  }
  const std::uint32_t failed = context.Counters.FailedFiles - failed_before;
  const std::uint32_t told = result == 1 ? TellDoubts(context, job, listed, true) : 0;
  if (told < failed) {
    const bool nothing = lists.Entries.empty() && context.Failures.Count() == troubles;
    context.Tell(u": 建立壓縮檔 (失敗)：", archive_path,
                 nothing ? kNothingToPack : LastWords(archiver.ResultBuffer));
  }
  context.Log.WriteTimed(u": " + archiver.DebugCommand);
  context.Log.WriteJobLog(ReplaceAll(archiver.ResultBuffer, u"\n", u"\r\n"));
  return result;
}

void WriteArchiveListing(ArchiveContext& context, const BackupJob& job,
                         std::u16string_view archive_path, std::u16string_view destination) {
  HostMonitor monitor(context, archive_path, destination);
  ClsArc archiver(context.Library, context.Files);
  archiver.Monitor = &monitor;
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
                  Fill(u"檔案 / 資料夾總計： %1 個", {Decimal(archiver.ArrayCount() + 1)}) +
                  u"\r\n" + std::u16string(kRule) + u"\r\n");
}

namespace {

std::vector<ArchiveFile> SortAsMade(std::vector<ArchiveFile> archives, std::u16string_view folder,
                                    const BackupJob* job) {
  MadeOrder order(job ? job->Extras.Made : std::vector<std::u16string>());
  for (const ArchiveFile& archive : archives) {
    order.Add(JoinPath(folder, archive.Name), LocalTime(archive.Written));
  }
  std::vector<ArchiveFile> sorted;
  for (const std::size_t i : order.NewestFirst()) sorted.push_back(std::move(archives[i]));
  return sorted;
}

}  // namespace

std::vector<ArchiveFile> ListArchives(const FileSystem& files, std::u16string_view folder,
                                      const BackupJob* job) {
  std::vector<ArchiveFile> archives;
  const Result<Folder> open = files.OpenFolder(folder);
  if (!open) return archives;
  FolderReader reader(*open);
  while (const FolderEntry* entry = reader.Next()) {
    if (entry->Kind != FileKind::File || !IsArchiveName(entry->Name)) continue;
    const Result<FileStatus> status = open->Status(entry->Name);
    if (!status) continue;
    archives.push_back({entry->Name, status->Written, status->Size});
    const Result<OwnerMark> mark =
        job ? ReadOwnerMark(*open, entry->Name) : Result<OwnerMark>::Fail(kErrNotFound);
    if (mark)
      archives.back().OfOther = !mark->Names(job->Extras.Id) && !mark->IsOf(job->Source.Path);
  }
  return SortAsMade(std::move(archives), folder, job);
}

std::optional<std::u16string> NewestArchive(const std::vector<ArchiveFile>& archives) {
  const auto newest = std::ranges::find(archives, false, &ArchiveFile::OfOther);
  return newest == archives.end() ? std::nullopt : std::optional(newest->Name);
}

}  // namespace kavrel
