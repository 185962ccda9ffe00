// Unpacking an archive: into a folder of its own first, from where what is proved to be whole takes
// its place.
#include <algorithm>
#include <optional>

#include "archive/extraction.h"
#include "archive/list_file.h"
#include "archive/staging.h"
#include "base/text.h"
#include "files/error_text.h"
#include "files/file_sum.h"
#include "files/folder_identity.h"
#include "files/group_commit.h"
#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::int64_t kTimeGrain = 2;  // seconds; the coarsest file systems keep even ones only
constexpr int kSevenZipType = 2;
constexpr int kWarnings = 1;  // The archiver has done what it was told, with something to remark.

class Unpacking final : public Extraction {
 public:
  using Extraction::Extraction;

 private:
  std::u16string MakeDestination() override {
    const Result<Folder> made = context_.Files.MakeFolders(destination_);
    return made ? std::u16string() : destination_ + u" (" + ApiErrorText(made.Error) + u")";
  }

  int Place(int kind) override {
    staging_.emplace(context_.Files, context_.Time, context_.Staged, destination_,
                     context_.HasLostDisk);
    if (!*staging_) return Stop(destination_, PlanReason::Blocked);
    int result = 2;
    if (!BrokenOff()) {
      const std::string links = Lines(true);
      const std::u16string list =
          links.empty() ? std::u16string() : WriteListFile(context_.Files, links);
      result = links.empty() || !list.empty() ? Unpack(kind, list) : Break(2);
      if (result != kCommandCancelled && !BrokenOff()) MakeLinks();
      RemoveListFile(context_.Files);
    }
    if (result != kCommandCancelled) PlaceAll();
    return result;
  }

  /// The list of the links, or of all else.
  std::string Lines(bool links) const {
    std::string lines;
    for (const IndividualInfo& entry : archive_->Entries) {
      const bool listed = links ? IsListedLink(entry) : !entry.IsLink && !entry.IsFolder;
      if (listed) lines += ListLine(entry.FileName) + "\r\n";
    }
    return lines;
  }

  int Unpack(int kind, std::u16string_view left_out) {
    archiver_.param1 = path_;
    archiver_.param2 = staging_->Path();
    archiver_.Command = u"x";
    archiver_.Switch = u"-r -y";
    if (pick_) {
      const std::string lines = Lines(false);
      if (lines.empty()) return 0;
      const std::u16string list = WriteListFile(context_.Files, lines);
      if (list.empty()) return Fail(path_);
      archiver_.Param3 = u"@" + list;
    } else if (!left_out.empty()) {
      archiver_.Switch += u" \"-x@" + std::u16string(left_out) + u"\"";
    }
    archiver_.BufferSize = 65536;
    archiver_.Password = Password();
    const int result = archiver_.DoCommand(kind);
    if (result != 0) {
      context_.Log.WriteJobLog(ReplaceAll(archiver_.ResultBuffer, u"\n", u"\r\n"));
    }
    if (result == kWarnings) ++context_.Counters.WarningFiles;
    all_well_ = result == 0 || result == kWarnings;
    return result;
  }

  /// The archiver would bend links or leave empty files in their place; so they are made here.
  void MakeLinks() {
    for (const IndividualInfo& entry : archive_->Entries) {
      const std::string* target = entry.IsLink ? TargetOf(entry) : nullptr;
      if (!target || refused_.contains(entry.FileName)) continue;
      if (staging_->MakeLink(entry.FileName, FromUtf8(*target), entry.Modified) != 0) {
        refused_.emplace(entry.FileName, PlanReason::Unreadable);
      }
    }
  }

  /// Whether this is proved to be the whole of an entry. What the archiver says of single entries
  /// is no proof: its lines can be cut off, and a name may look like any of them.
  bool IsWhole(const IndividualInfo& entry, const Result<FileStatus>& unpacked) {
    if (BrokenOff() || !unpacked || refused_.contains(entry.FileName)) return false;
    if (entry.IsLink) return unpacked->Kind == FileKind::Link;
    if (unpacked->Kind != FileKind::File || unpacked->Size != entry.OriginalSize) return false;
    return entry.HasCrc ? HasChecksum(entry) : entry.OriginalSize == 0 || all_well_;
  }

  bool HasChecksum(const IndividualInfo& entry) {
    Result<File> file = staging_->Open(entry.FileName);
    // A file whose owner may not read it has come as its entry says.
    if (!file) return all_well_ && file.Error == kErrAccess;
    const Result<std::uint32_t> crc = sum_.Crc(*file, [this] {
      context_.Host.PumpMessages();
      return !context_.State.CancelRequested;
    });
    return crc && *crc == entry.Crc;
  }

  /// The archiver does not tell when it could not set a time. (Of a ZIP archive's times, which are
  /// local ones, it has its own opinion.)
  void KeepTime(const IndividualInfo& entry, const FileStatus& unpacked) const {
    const std::int64_t apart = unpacked.Written.Seconds - entry.Modified.Seconds;
    if (archive_->Type != kSevenZipType || entry.Modified.Seconds == 0) return;
    if (apart >= -kTimeGrain && apart <= kTimeGrain) return;
    if (staging_->SetWritten(entry.FileName, entry.Modified) != 0) ++context_.Counters.WarningFiles;
  }

  /// The archiver takes away what the user's mask does, which is for new files, not for copies.
  void KeepPermissions(const IndividualInfo& entry, const FileStatus& unpacked) const {
    constexpr std::uint32_t kBits = 0777;
    if (entry.Permissions == 0 || unpacked.Kind != FileKind::File) return;
    if ((unpacked.Mode & kBits) == entry.Permissions) return;
    if (staging_->SetPermissions(entry.FileName, entry.Permissions) != 0) {
      ++context_.Counters.WarningFiles;
    }
  }

  /// An entry that was unpacked whole and is to take its place.
  class PlaceChange final : public Change {
   public:
    PlaceChange(Unpacking& extraction, const IndividualInfo& entry,
                std::shared_ptr<const CommitFolder> root)
        : extraction_(extraction), entry_(entry), root_(std::move(root)) {}

    void Commit(GroupCommit& group) override {
      File replaced;
      const ErrorCode error = extraction_.staging_->Place(entry_.FileName, replaced);
      if (error) return GiveUp(error);
      group.LetGo(*root_, std::move(replaced));
      RunCounters& counters = extraction_.context_.Counters;
      ++counters.CopiedFiles;
      counters.CopiedBytes += entry_.OriginalSize;
    }
    void GiveUp(ErrorCode why) override {
      if (!why) return;
      const Result<FileStatus> there = extraction_.StatusAtPlace(entry_.FileName);
      const bool blocked = there && there->Kind == FileKind::Folder;
      extraction_.Fail(entry_.FileName, blocked ? PlanReason::Blocked : PlanReason::Unreadable,
                       blocked ? std::u16string() : ApiErrorText(why));
    }

   private:
    Unpacking& extraction_;
    const IndividualInfo& entry_;
    const std::shared_ptr<const CommitFolder> root_;
  };

  void PlaceAll() {
    TempNames names(context_.Time, nullptr, destination_);
    GroupCommit group(context_.State, context_.Host, names);
    const auto root = group.Share(staging_->Root(), AddBackslash(destination_));
    if (!root) {
      Stop(destination_, PlanReason::Blocked);
      return;
    }
    QueuePlaces(group, *root);
    group.Flush();
    if (!context_.State.CancelRequested) {
      group.NoteChanged(*root);
      if (staging_->FinishFolders() != 0) ++context_.Counters.WarningFiles;
      staging_->Clear();
    }
    if (const ErrorCode error = group.Settle()) {
      ++context_.Counters.FailedFiles;
      LogSyncFailure(context_.Log, context_.Failures, destination_, error);
    }
  }

  void QueuePlaces(GroupCommit& group, const std::shared_ptr<const CommitFolder>& root) {
    for (const IndividualInfo& entry : archive_->Entries) {
      if (entry.IsFolder && !BrokenOff()) staging_->NoteFolder(entry.FileName);
    }
    // Of two entries that mean the same here, the last was unpacked over the first: it comes first
    // now, and the other is missing.
    Names placed;
    for (auto entry = archive_->Entries.rbegin(); entry != archive_->Entries.rend(); ++entry) {
      context_.Host.PumpMessages();
      if (context_.State.CancelRequested) return;
      const std::u16string& name = entry->FileName;
      if (entry->IsFolder || !placed.insert(name).second) continue;
      ++context_.Counters.SourceFiles;
      const Result<FileStatus> unpacked = staging_->Status(name);
      const bool whole = IsWhole(*entry, unpacked);
      if (context_.State.CancelRequested) return;
      if (whole) {
        KeepPermissions(*entry, *unpacked);
        KeepTime(*entry, *unpacked);
      }
      if (!whole || (!root->Manners.SyncsWhole && staging_->Sync(name) != 0)) {
        const auto refused = refused_.find(name);
        Fail(name, refused == refused_.end() ? PlanReason::Unreadable : refused->second);
        continue;
      }
      group.AddStaged(root, std::make_unique<PlaceChange>(*this, *entry, root),
                      entry->OriginalSize);
      group.Advance();
    }
  }

  std::optional<Staging> staging_;
  FileSum sum_;
  bool all_well_ = false;  ///< the archiver has unpacked all without an error
};

}  // namespace

int ExtractArchive(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
                   std::u16string_view destination, const RestorePick* pick) {
  if (!context.Library.Present()) return kNoArchiver;
  return Unpacking(context, job, archive_path, destination, pick).Run();
}

}  // namespace kavrel
