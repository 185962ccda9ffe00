#include "archive/extraction.h"

#include <algorithm>

#include "archive/list_file.h"
#include "archive/staging.h"
#include "base/crc32.h"
#include "base/text.h"
#include "files/error_text.h"
#include "files/folder_identity.h"
#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kFailed = u": 還原檔案 (失敗)：",
                              kStopped = u": 無法還原壓縮檔 (失敗)：",
                              kNotReadable = u"無法讀取壓縮檔：";

/// Backslashes and colons are letters of a name here, as the archiver takes them.
bool StaysInside(std::u16string_view name) {
  const std::vector<std::u16string_view> parts = EntryParts(name);
  return !name.starts_with(u'/') && std::find(parts.begin(), parts.end(), u"..") == parts.end();
}

/// True when a link of this name leads to a place inside the folder, whose own `links` its target
/// may pass. After passing one, ".." means a folder that the text does not tell.
bool LeadsInside(std::u16string_view name, std::u16string_view target,
                 const std::set<std::u16string>& links) {
  if (target.starts_with(u'/')) return false;
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

}  // namespace

Extraction::Extraction(ArchiveContext& context, const BackupJob& job,
                       std::u16string_view archive_path, std::u16string_view destination,
                       const RestorePick* pick)
    : context_(context),
      job_(job),
      pick_(pick),
      path_(archive_path),
      destination_(destination),
      monitor_(context, archive_path, destination),
      archiver_(context.Library, context.Files) {}

int Extraction::Run() {
  archiver_.Monitor = &monitor_;
  int kind = archiver_.CheckFile(path_);
  if (kind > kEncryptedKind) kind -= kEncryptedKind;
  if (kind > 0) archive_ = context_.Library.SevenZipOpenArchive(path_, &monitor_);
  if (context_.State.CancelRequested) return kCommandCancelled;
  if (!archive_) {
    context_.Notes.Obstacle(std::u16string(kNotReadable) + path_);
    return Fail(path_);
  }
  if (pick_) TakePicked();
  const std::u16string no_place = MakeDestination();
  if (!no_place.empty()) return Stop(no_place, PlanReason::Blocked);
  if (pick_ && archive_->Entries.empty()) return 0;
  std::u16string escape, why;
  if (FindEscape(escape, why)) {
    return Stop(why.empty() ? escape : escape + u" (" + why + u")",
                why.empty() ? PlanReason::Outside : PlanReason::Blocked);
  }
  const int password = TryPassword();
  if (password == kCommandCancelled) return password;
  if (password != 0) {
    Stop(path_ + u" (密碼錯誤)", PlanReason::Unreadable);
    return kWrongPassword;
  }
  if (ReadLinks() == kCommandCancelled) return kCommandCancelled;
  return Place(kind);
}

int Extraction::Fail(const std::u16string& what, PlanReason reason, std::u16string_view why) {
  ++context_.Counters.FailedFiles;
  if (why.empty() && reason == PlanReason::Outside) why = kOutsideText;
  if (why.empty() && reason == PlanReason::Blocked) why = kBlockedText;
  context_.Tell(kFailed, what, why);
  context_.Notes.Add(PlanAction::Fail, reason, false, what);
  return 2;
}

int Extraction::Stop(const std::u16string& obstacle, PlanReason reason) {
  context_.Tell(kStopped, obstacle);
  context_.Notes.Obstacle(std::u16string(kStopped.substr(2)) + obstacle);
  const std::uint32_t failed = context_.Counters.FailedFiles;
  Names told;
  for (const IndividualInfo& entry : archive_->Entries) {
    if (entry.IsFolder || !told.insert(entry.FileName).second) continue;
    ++context_.Counters.SourceFiles;
    // The reason of all of them has been told.
    ++context_.Counters.FailedFiles;
    context_.Tell(kFailed, entry.FileName);
    context_.Notes.Add(PlanAction::Fail, reason, false, entry.FileName);
  }
  // Folders alone are not to pass for done either.
  if (context_.Counters.FailedFiles == failed) ++context_.Counters.FailedFiles;
  return 2;
}

bool Extraction::IsListedLink(const IndividualInfo& entry) {
  return entry.IsLink && !ListLine(entry.FileName).empty();
}

Result<FileStatus> Extraction::StatusAtPlace(std::u16string_view name) const {
  const Result<Folder> root = context_.Files.OpenFolder(destination_);
  const Result<Folder> parent = root ? OpenParent(*root, name) : Result<Folder>::Fail(root.Error);
  return StatusIn(parent, EntryParts(name).back());
}

const std::string* Extraction::TargetOf(const IndividualInfo& link) const {
  const auto found = targets_.find(link.FileName);
  return found == targets_.end() ? nullptr : &found->second;
}

/// Leaves of the archive's entries those that are picked and are to replace what is there.
void Extraction::TakePicked() {
  PathSet found;
  std::erase_if(archive_->Entries, [&](const IndividualInfo& entry) {
    const std::u16string* holder = pick_->Paths.HolderOf(entry.FileName);
    if (holder) found.Add(*holder);
    return !holder || Stays(entry);
  });
  for (const std::u16string& path : pick_->Paths.Paths()) {
    if (found.Holds(path)) continue;
    ++context_.Counters.FailedFiles;
    context_.Tell(u": 備份中找不到檔案 (失敗)：", path);
    context_.Notes.Add(PlanAction::Fail, PlanReason::NotInSource, false, path);
  }
  std::erase_if(archive_->Entries, [&](const IndividualInfo& entry) {
    if (entry.IsFolder || !ListLine(entry.FileName).empty()) return false;
    Fail(entry.FileName);
    return true;
  });
}

/// True when what is there already is the same as the entry, or newer and to be kept.
bool Extraction::Stays(const IndividualInfo& entry) {
  if (entry.IsFolder || !StaysInside(entry.FileName)) return false;
  const Result<FileStatus> there = StatusAtPlace(entry.FileName);
  if (!there || there->Kind == FileKind::Folder) return false;
  const bool same = !pick_->ReplaceNewer && there->Kind == FileKind::File && !entry.IsLink &&
                    there->Size == entry.OriginalSize && !IsNewer(there->Written, entry.Modified) &&
                    !IsNewer(entry.Modified, there->Written);
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
/// that link in the archive or in the folder already. `why`: where it is something else that
/// stands in its way.
bool Extraction::FindEscape(std::u16string& escape, std::u16string& why) {
  const auto found = [&](const std::u16string& name) {
    escape = name;
    return true;
  };
  Names seen;
  const Result<Folder> root = context_.Files.OpenFolder(destination_);
  // A folder that is yet to be made has nothing in it.
  const bool is_new = IsNotFound(root.Error);
  if (!root && !is_new) {
    why = ApiErrorText(root.Error);
    return found(destination_);
  }
  for (const IndividualInfo& entry : archive_->Entries) {
    if (!StaysInside(entry.FileName)) return found(entry.FileName);
    if (entry.IsLink) links_.insert(entry.FileName);
  }
  for (const IndividualInfo& entry : archive_->Entries) {
    for (std::size_t slash = entry.FileName.find(u'/'); slash != entry.FileName.npos;
         slash = entry.FileName.find(u'/', slash + 1)) {
      if (links_.contains(entry.FileName.substr(0, slash))) return found(entry.FileName);
    }
    const std::size_t last = entry.FileName.rfind(u'/');
    if (is_new || last == entry.FileName.npos ||
        !seen.insert(entry.FileName.substr(0, last)).second) {
      continue;
    }
    const Result<Folder> parent = OpenParent(*root, entry.FileName);
    // A folder that its owner has locked is none that leads elsewhere.
    if (!parent && !IsNotFound(parent.Error) && parent.Error != kErrAccess) {
      return found(entry.FileName);
    }
  }
  return false;
}

const IndividualInfo* Extraction::SmallestEncrypted() const {
  const IndividualInfo* smallest = nullptr;
  for (const IndividualInfo& entry : archive_->Entries) {
    if (!entry.Encrypted || entry.OriginalSize == 0 || ListLine(entry.FileName).empty()) continue;
    if (!smallest || entry.OriginalSize < smallest->OriginalSize) smallest = &entry;
  }
  return smallest;
}

/// The archiver replaces files before it finds that the password does not fit. So the smallest
/// encrypted entry is read first: 0 when that goes well, or when there is none.
int Extraction::TryPassword() {
  const IndividualInfo* smallest = SmallestEncrypted();
  if (!smallest) return 0;
  if (Password().empty()) return 2;
  const LookList list(context_.Files, ListLine(smallest->FileName));
  return context_.Library.TestEntries(path_, list.Path(), Password(), &monitor_);
}

/// Where the links lead decides which of them may be made. Their targets come one after the other,
/// each of a length that is known.
int Extraction::ReadLinks() {
  std::string lines;
  std::uint64_t expected = 0;
  for (const IndividualInfo& entry : archive_->Entries) {
    if (!IsListedLink(entry)) continue;
    lines += ListLine(entry.FileName) + "\r\n";
    expected += entry.OriginalSize;
  }
  std::string all;
  if (!lines.empty()) {
    const LookList list(context_.Files, lines);
    if (list.Path().empty()) return Break(2);
    Result<std::string> read =
        context_.Library.ReadEntries(path_, list.Path(), Password(), &monitor_);
    if (!read) return Break(read.Error);
    // A name that the list did not find would shift them all.
    if (read->size() != expected) return Break(2);
    all = std::move(*read);
  }
  std::string_view targets = all;
  for (const IndividualInfo& entry : archive_->Entries) {
    if (!entry.IsLink) continue;
    const std::size_t size =
        IsListedLink(entry) ? static_cast<std::size_t>(entry.OriginalSize) : std::size_t{0};
    JudgeLink(entry, targets.substr(0, size));
    targets.remove_prefix(size);
  }
  return 0;
}

void Extraction::JudgeLink(const IndividualInfo& entry, std::string_view bytes) {
  const std::u16string target = FromUtf8(bytes);
  const bool whole = !target.empty() && target.find(u'\0') == target.npos &&
                     !(entry.HasCrc && Crc32(bytes) != entry.Crc);
  if (whole && LeadsInside(entry.FileName, target, links_)) {
    targets_[entry.FileName] = bytes;
  } else {
    refused_.emplace(entry.FileName, whole ? PlanReason::Outside : PlanReason::Unreadable);
  }
}

}  // namespace kavrel
