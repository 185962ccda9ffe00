// Unpacking an archive, which may come from anywhere: nothing lands outside the folder it is
// unpacked into.
#include <algorithm>
#include <optional>
#include <set>

#include "archive/compressed_backup.h"
#include "archive/host_monitor.h"
#include "archive/list_file.h"
#include "archive/staging.h"
#include "base/crc32.h"
#include "base/text.h"
#include "files/error_text.h"
#include "files/folder_identity.h"
#include "files/group_commit.h"
#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kFailed = u": 還原檔案 (失敗)：";
constexpr std::int64_t kTimeGrain = 2;  // seconds; the coarsest file systems keep even ones only
constexpr int kSevenZipType = 2;
constexpr int kWarnings = 1;  // The archiver has done what it was told, with something to remark.
constexpr std::size_t kReadAtOnce = std::size_t{256} << 10;

/// Backslashes and colons are letters of a name here, as the archiver takes them.
bool StaysInside(std::u16string_view name) {
  const std::vector<std::u16string_view> parts = EntryParts(name);
  return !name.starts_with(u'/') && std::find(parts.begin(), parts.end(), u"..") == parts.end();
}

using Names = std::set<std::u16string>;

/// True when a link of this name leads to a place inside the folder, whose own `links` its target
/// may pass. After passing one, ".." means a folder that the text does not tell.
bool LeadsInside(std::u16string_view name, std::u16string_view target, const Names& links) {
  if (target.empty() || target.starts_with(u'/') || target.find(u'\0') != target.npos) return false;
  std::vector<std::u16string_view> at = EntryParts(name);
  at.pop_back();
  bool known = true;
  for (const std::u16string_view part : EntryParts(target)) {
    if (part == u"..") {
      if (at.empty() || !known) return false;
      at.pop_back();
    } else if (part != u".") {
      at.push_back(part);
      std::u16string path;
      for (const std::u16string_view above : at) (path += path.empty() ? u"" : u"/") += above;
      known = known && !links.contains(path);
    }
  }
  return true;
}

/// What is asked of an archive, and of where it is to go, before anything is done.
class Extraction {
 public:
  Extraction(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
             std::u16string_view destination, const RestorePick* pick)
      : context_(context),
        job_(job),
        pick_(pick),
        path_(archive_path),
        destination_(destination),
        monitor_(context, archive_path, destination),
        archiver_(context.Library, context.Files) {}
  virtual ~Extraction() = default;

  int Run() {
    archiver_.Monitor = &monitor_;
    int kind = archiver_.CheckFile(path_);
    if (kind > kEncryptedKind) kind -= kEncryptedKind;
    if (kind > 0) archive_ = context_.Library.SevenZipOpenArchive(path_, &monitor_);
    if (context_.State.CancelRequested) return kCommandCancelled;
    if (!archive_) return Fail(path_);
    if (pick_) TakePicked();
    if (!MakeDestination()) return Stop(destination_);
    if (pick_ && archive_->Entries.empty()) return 0;
    const std::u16string escape = FindEscape();
    return escape.empty() ? Place(kind) : Stop(escape);
  }

 protected:
  virtual bool MakeDestination() { return true; }
  /// Each entry takes its place.
  virtual int Place(int kind) = 0;

  /// Logs and counts what cannot be restored; gives the archiver's code for an error.
  int Fail(const std::u16string& what, PlanReason reason = PlanReason::Unreadable) {
    ++context_.Counters.FailedFiles;
    context_.Log.WriteTimed(std::u16string(kFailed) + what);
    context_.Notes.Add(PlanAction::Fail, reason, false, what);
    return 2;
  }

  /// Tells of the one obstacle that lets nothing be restored, and counts what that costs.
  int Stop(const std::u16string& obstacle) {
    context_.Log.WriteTimed(u": 無法還原壓縮檔 (失敗)：" + obstacle);
    const std::uint32_t failed = context_.Counters.FailedFiles;
    Names told;
    for (const IndividualInfo& entry : archive_->Entries) {
      if (entry.IsFolder || !told.insert(entry.FileName).second) continue;
      ++context_.Counters.SourceFiles;
      Fail(entry.FileName);
    }
    // Folders alone are not to pass for done either.
    if (context_.Counters.FailedFiles == failed) ++context_.Counters.FailedFiles;
    return 2;
  }

  int RefusePassword() {
    Stop(path_ + u" (密碼錯誤)");
    return kWrongPassword;
  }

  Secret Password() const { return job_.UsePassword ? job_.Password : Secret(); }

  const IndividualInfo* SmallestEncrypted() const {
    const IndividualInfo* smallest = nullptr;
    for (const IndividualInfo& entry : archive_->Entries) {
      if (!entry.Encrypted || entry.OriginalSize == 0 || ListLine(entry.FileName).empty()) continue;
      if (!smallest || entry.OriginalSize < smallest->OriginalSize) smallest = &entry;
    }
    return smallest;
  }

  static bool IsListedLink(const IndividualInfo& entry) {
    return entry.IsLink && !ListLine(entry.FileName).empty();
  }

  /// What is in the entry's place already.
  Result<FileStatus> StatusAtPlace(std::u16string_view name) const {
    const Result<Folder> root = context_.Files.OpenFolder(destination_);
    const Result<Folder> parent = root ? OpenParent(*root, name) : Result<Folder>::Fail(root.Error);
    return StatusIn(parent, EntryParts(name).back());
  }

  ArchiveContext& context_;
  const BackupJob& job_;
  const RestorePick* const pick_;
  const std::u16string path_, destination_;
  HostMonitor monitor_;
  ClsArc archiver_;
  std::shared_ptr<SevenZipLibrary::Archive> archive_;
  Names links_;

 private:
  /// Leaves of the archive's entries those that are picked and are to replace what is there.
  void TakePicked() {
    PathSet found;
    std::erase_if(archive_->Entries, [&](const IndividualInfo& entry) {
      const std::u16string* holder = pick_->Paths.HolderOf(entry.FileName);
      if (holder) found.Add(*holder);
      return !holder || Stays(entry);
    });
    for (const std::u16string& path : pick_->Paths.Paths()) {
      if (found.Holds(path)) continue;
      ++context_.Counters.FailedFiles;
      context_.Log.WriteTimed(u": 備份中找不到檔案 (失敗)：" + path);
      context_.Notes.Add(PlanAction::Fail, PlanReason::NotInSource, false, path);
    }
    std::erase_if(archive_->Entries, [&](const IndividualInfo& entry) {
      if (entry.IsFolder || !ListLine(entry.FileName).empty()) return false;
      Fail(entry.FileName);
      return true;
    });
  }

  /// True when what is there already is the same as the entry, or newer and to be kept.
  bool Stays(const IndividualInfo& entry) {
    if (entry.IsFolder || !StaysInside(entry.FileName)) return false;
    const Result<FileStatus> there = StatusAtPlace(entry.FileName);
    if (!there || there->Kind == FileKind::Folder) return false;
    const bool same =
        there->Kind == FileKind::File && !entry.IsLink && there->Size == entry.OriginalSize &&
        !IsNewer(there->Written, entry.Modified) && !IsNewer(entry.Modified, there->Written);
    const bool newer = !pick_->ReplaceNewer && IsNewer(there->Written, entry.Modified);
    if (!same && !newer) return false;
    ++context_.Counters.SourceFiles;
    ++context_.Counters.UnchangedFiles;
    if (newer) {
      ++context_.Counters.NewerFiles;
      context_.Log.WriteTimed(u": 保留較新的檔案 (成功)：" + AddBackslash(destination_) +
                              entry.FileName);
    }
    return true;
  }

  /// The first entry that must not be unpacked: one outside the folder, or one below a link, be
  /// that link in the archive or in the folder already.
  std::u16string FindEscape() {
    Names seen;
    const Result<Folder> root = context_.Files.OpenFolder(destination_);
    // A folder that is yet to be made has nothing in it.
    const bool is_new = IsNotFound(root.Error);
    if (!root && !is_new) return destination_;
    for (const IndividualInfo& entry : archive_->Entries) {
      if (!StaysInside(entry.FileName)) return entry.FileName;
      if (entry.IsLink) links_.insert(entry.FileName);
    }
    for (const IndividualInfo& entry : archive_->Entries) {
      for (std::size_t slash = entry.FileName.find(u'/'); slash != entry.FileName.npos;
           slash = entry.FileName.find(u'/', slash + 1)) {
        if (links_.contains(entry.FileName.substr(0, slash))) return entry.FileName;
      }
      const std::size_t last = entry.FileName.rfind(u'/');
      if (is_new || last == entry.FileName.npos ||
          !seen.insert(entry.FileName.substr(0, last)).second) {
        continue;
      }
      const Result<Folder> parent = OpenParent(*root, entry.FileName);
      if (!parent && !IsNotFound(parent.Error)) return entry.FileName;
    }
    return {};
  }
};

/// Notes what would take which place.
class ExtractionPlan final : public Extraction {
 public:
  using Extraction::Extraction;

 private:
  int Place(int) override {
    if (SmallestEncrypted() && Password().empty()) return RefusePassword();
    Names placed;
    for (auto entry = archive_->Entries.rbegin(); entry != archive_->Entries.rend(); ++entry) {
      context_.Host.PumpMessages();
      if (context_.State.CancelRequested) return kCommandCancelled;
      const std::u16string& name = entry->FileName;
      if (!placed.insert(name).second) continue;
      if (entry->IsFolder) {
        PlanFolders(name + u"/");
        continue;
      }
      const Result<FileStatus> there = StatusAtPlace(name);
      ++context_.Counters.SourceFiles;
      if (entry->IsLink && !IsListedLink(*entry)) {
        Fail(name);
      } else if (there && there->Kind == FileKind::Folder) {
        Fail(name, PlanReason::Blocked);
      } else {
        PlanFolders(name);
        context_.Notes.Add(there ? PlanAction::Replace : PlanAction::Copy,
                           there ? ReasonToReplace(*entry, *there) : PlanReason::New, false, name,
                           entry->OriginalSize);
        ++context_.Counters.CopiedFiles;
        context_.Counters.CopiedBytes += entry->OriginalSize;
      }
    }
    return 0;
  }

  /// The folders that an entry lies in, as far as they are not there.
  void PlanFolders(std::u16string_view name) {
    for (std::size_t slash = name.find(u'/'); slash != name.npos;
         slash = name.find(u'/', slash + 1)) {
      const std::u16string folder(name.substr(0, slash));
      if (planned_folders_.insert(folder).second && !StatusAtPlace(folder)) {
        context_.Notes.Add(PlanAction::Copy, PlanReason::New, true, folder);
      }
    }
  }

  PlanReason ReasonToReplace(const IndividualInfo& entry, const FileStatus& there) const {
    if (!pick_) return PlanReason::Always;
    if (entry.IsLink || there.Kind != FileKind::File) return PlanReason::Kind;
    return there.Size == entry.OriginalSize ? PlanReason::Time : PlanReason::Size;
  }

  Names planned_folders_;
};

class Unpacking final : public Extraction {
 public:
  using Extraction::Extraction;

 private:
  bool MakeDestination() override { return bool(context_.Files.MakeFolders(destination_)); }

  int Place(int kind) override {
    int result = TryPassword();
    if (result == kCommandCancelled) return result;
    if (result != 0) return RefusePassword();
    staging_.emplace(context_.Files, context_.Clock, context_.Staged, destination_);
    if (!*staging_) return Stop(destination_);
    const std::string links = Lines(true);
    if (!links.empty()) {
      const std::u16string list = WriteListFile(context_.Files, links);
      result = UnpackWithLinks(kind, list);
    } else {
      result = Unpack(kind, {});
    }
    RemoveListFile(context_.Files);
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

  /// The archiver replaces files before it finds that the password does not fit. So the smallest
  /// encrypted entry is read first: 0 when that goes well, or when there is none.
  int TryPassword() {
    const IndividualInfo* smallest = SmallestEncrypted();
    if (!smallest) return 0;
    if (Password().empty()) return 2;
    const std::u16string list = WriteListFile(context_.Files, ListLine(smallest->FileName));
    const int result = context_.Library.TestEntries(path_, list, Password(), &monitor_);
    RemoveListFile(context_.Files);
    return result;
  }

  int UnpackWithLinks(int kind, const std::u16string& list) {
    if (list.empty()) return Break(2);
    const Result<std::string> targets =
        context_.Library.ReadEntries(path_, list, Password(), &monitor_);
    if (!targets) return Break(targets.Error);
    // Each target's length is known. A name that the list did not find would shift them all.
    std::uint64_t expected = 0;
    for (const IndividualInfo& entry : archive_->Entries) {
      if (IsListedLink(entry)) expected += entry.OriginalSize;
    }
    if (targets->size() != expected) return Break(2);
    const int result = Unpack(kind, list);
    if (result != kCommandCancelled && !broken_off_) MakeLinks(*targets);
    return result;
  }

  /// Nothing that was unpacked can be trusted.
  int Break(int result) {
    broken_off_ = true;
    return result;
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

  /// The archiver would bend links or leave empty files in their place; so they are made here, from
  /// their targets, which came one after the other.
  void MakeLinks(std::string_view targets) {
    for (const IndividualInfo& entry : archive_->Entries) {
      if (!entry.IsLink) continue;
      std::string_view bytes;
      if (IsListedLink(entry)) {
        bytes = targets.substr(0, static_cast<std::size_t>(entry.OriginalSize));
        targets.remove_prefix(bytes.size());
      }
      const std::u16string target = FromUtf8(bytes);
      if (!LeadsInside(entry.FileName, target, links_) ||
          (entry.HasCrc && Crc32(bytes) != entry.Crc) ||
          staging_->MakeLink(entry.FileName, target, entry.Modified) != 0) {
        refused_.insert(entry.FileName);
      }
    }
  }

  /// Whether this is proved to be the whole of an entry. What the archiver says of single entries
  /// is no proof: its lines can be cut off, and a name may look like any of them.
  bool IsWhole(const IndividualInfo& entry, const Result<FileStatus>& unpacked) {
    if (broken_off_ || !unpacked || refused_.contains(entry.FileName)) return false;
    if (entry.IsLink) return unpacked->Kind == FileKind::Link;
    if (unpacked->Kind != FileKind::File || unpacked->Size != entry.OriginalSize) return false;
    return entry.HasCrc ? HasChecksum(entry) : entry.OriginalSize == 0 || all_well_;
  }

  bool HasChecksum(const IndividualInfo& entry) {
    Result<File> file = staging_->Open(entry.FileName);
    // A file whose owner may not read it has come as its entry says.
    if (!file) return all_well_ && file.Error == kErrAccess;
    file->HintSequential();
    std::uint32_t crc = 0;
    for (;;) {
      const Result<std::size_t> got = file->Read(buffer_);
      if (!got) return false;
      crc = Crc32({buffer_.data(), *got}, crc);
      if (*got < buffer_.size()) return crc == entry.Crc;
      context_.Host.PumpMessages();
      if (context_.State.CancelRequested) return false;
    }
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
      if (extraction_.staging_->Place(entry_.FileName, replaced)) return GiveUp(-1);
      group.LetGo(*root_, std::move(replaced));
      RunCounters& counters = extraction_.context_.Counters;
      ++counters.CopiedFiles;
      counters.CopiedBytes += entry_.OriginalSize;
    }
    void GiveUp(ErrorCode why) override {
      if (why) extraction_.Fail(entry_.FileName);
    }

   private:
    Unpacking& extraction_;
    const IndividualInfo& entry_;
    const std::shared_ptr<const CommitFolder> root_;
  };

  void PlaceAll() {
    TempNames names(context_.Clock, nullptr, destination_);
    GroupCommit group(context_.State, context_.Host, names);
    const auto root = group.Share(staging_->Root(), AddBackslash(destination_));
    if (!root) {
      Stop(destination_);
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
      context_.Log.WriteTimed(SyncFailedText(destination_, error));
    }
  }

  void QueuePlaces(GroupCommit& group, const std::shared_ptr<const CommitFolder>& root) {
    for (const IndividualInfo& entry : archive_->Entries) {
      if (entry.IsFolder && !broken_off_) staging_->NoteFolder(entry.FileName);
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
        Fail(name);
        continue;
      }
      group.AddStaged(root, std::make_unique<PlaceChange>(*this, *entry, root),
                      entry->OriginalSize);
      group.Advance();
    }
  }

  std::optional<Staging> staging_;
  Names refused_;
  std::vector<char> buffer_ = std::vector<char>(kReadAtOnce);
  bool broken_off_ = false;
  bool all_well_ = false;  ///< the archiver has unpacked all without an error
};

}  // namespace

int ExtractArchive(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
                   std::u16string_view destination, const RestorePick* pick) {
  if (!context.Library.Present()) return kNoArchiver;
  return Unpacking(context, job, archive_path, destination, pick).Run();
}

void PlanExtraction(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
                    std::u16string_view destination, const RestorePick* pick) {
  if (!context.Library.Present()) return;
  ExtractionPlan(context, job, archive_path, destination, pick).Run();
}

}  // namespace kavrel
