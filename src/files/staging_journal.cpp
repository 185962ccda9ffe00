#include "files/staging_journal.h"

#include <algorithm>
#include <charconv>

#include "base/number.h"
#include "base/text.h"
#include "files/folder_identity.h"
#include "files/path.h"
#include "files/remove_tree.h"
#include "platform/error_codes.h"
#include "platform/mounts.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kPrefix = u"pt", kEnding = u".tmp";
constexpr std::string_view kHeading = "Kavrel staging 1";

/// Takes field after field; what is not there, or no number, makes the rest unreadable.
class Fields {
 public:
  explicit Fields(std::string_view text) : rest_(text) {}

  bool Good() const { return good_; }
  bool AtEnd() const { return rest_.empty(); }
  std::string_view Next() {
    const std::size_t end = rest_.find('\0');
    good_ = good_ && end != rest_.npos;
    if (!good_) return {};
    const std::string_view field = rest_.substr(0, end);
    rest_.remove_prefix(end + 1);
    return field;
  }
  std::u16string Text() { return FromUtf8(Next()); }
  std::uint64_t Number() {
    const std::string_view field = Next();
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
    good_ = good_ && error == std::errc() && end == field.data() + field.size();
    return good_ ? number : 0;
  }

 private:
  std::string_view rest_;
  bool good_ = true;
};

}  // namespace

std::u16string TempName(std::uint64_t number) {
  return std::u16string(kPrefix) + FromUtf8(std::to_string(number)) + std::u16string(kEnding);
}

std::optional<std::uint64_t> TempNumber(std::u16string_view name) {
  constexpr std::size_t kMostDigits = 19;
  if (!name.starts_with(kPrefix) || !name.ends_with(kEnding)) return std::nullopt;
  name.remove_prefix(kPrefix.size());
  name.remove_suffix(kEnding.size());
  if (name.empty() || name.size() > kMostDigits || name.front() == u'0') return std::nullopt;
  std::uint64_t number = 0;
  for (const char16_t c : name) {
    if (c < u'0' || c > u'9') return std::nullopt;
    number = number * 10 + (c - u'0');
  }
  return number;
}

StagingJournal::StagingJournal(const FileSystem& files)
    : files_(files), path_(JoinPath(files.ProgramFolder(), u"Staging.jnl")) {}

std::string StagingJournal::Write(const std::vector<Record>& records) {
  std::string text;
  const auto put = [&](std::string_view field) { (text += field) += '\0'; };
  put(kHeading);
  for (const Record& record : records) {
    if (record.Ended) continue;
    const std::string kind = record.IsFolder ? "folder" : "files";
    put(record.Disk.empty() ? kind : kind + ' ' + ToUtf8(record.Disk));
    put(ToUtf8(record.Root));
    for (const std::uint64_t number : {record.First, record.Count}) put(std::to_string(number));
    put(std::to_string(record.Changes.size()));
    for (const NameChange& change : record.Changes) {
      for (const std::u16string* part : {&change.Folder, &change.Temp, &change.Name}) {
        put(ToUtf8(*part));
      }
    }
  }
  return text;
}

std::vector<StagingJournal::Record> StagingJournal::Read(std::string_view text) {
  std::vector<Record> records;
  Fields fields(text);
  if (fields.Next() != kHeading) return records;
  while (!fields.AtEnd()) {
    Record record;
    const std::string_view kind = fields.Next();
    const std::size_t end = std::min(kind.find(' '), kind.size());
    record.IsFolder = kind.substr(0, end) == "folder";
    record.Disk = FromUtf8(kind.substr(std::min(end + 1, kind.size())));
    record.Root = fields.Text();
    record.First = fields.Number();
    record.Count = fields.Number();
    for (std::uint64_t left = fields.Number(); left > 0 && fields.Good(); --left) {
      std::u16string folder = fields.Text(), temp = fields.Text();
      record.Changes.push_back({std::move(folder), std::move(temp), fields.Text()});
    }
    if (!fields.Good()) break;
    records.push_back(std::move(record));
  }
  return records;
}

std::u16string StagingJournal::DiskOf(std::u16string_view folder) const {
  const std::u16string place = RealPlace(files_, folder);
  return std::u16string(DiskOfMark(place.empty() ? place : MountTable().MarkOf(place)));
}

int StagingJournal::Begin(Record record) {
  record.Root = AddBackslash(record.Root);
  record.Disk = DiskOf(record.Root);
  const std::lock_guard lock(mutex_);
  if (!loaded_) {
    // Nothing of an earlier run must be lost where nobody has healed yet.
    const Result<std::string> bytes = files_.ReadWhole(path_);
    unreadable_ = !bytes && !IsNotFound(bytes.Error);
    if (bytes) records_ = Read(*bytes);
    loaded_ = true;
  }
  records_.push_back(std::move(record));
  if (Save()) return static_cast<int>(records_.size() - 1);
  records_.pop_back();
  return kNoRecord;
}

int StagingJournal::BeginFiles(std::u16string_view root, std::uint64_t first) {
  Record record;
  record.Root = root;
  record.First = first;
  record.Count = kNumbers;
  return Begin(std::move(record));
}

int StagingJournal::BeginFolder(std::u16string_view root, std::uint64_t number) {
  Record record;
  record.IsFolder = true;
  record.Root = root;
  record.First = number;
  record.Count = 1;
  return Begin(std::move(record));
}

void StagingJournal::Extend(int record) {
  if (record == kNoRecord) return;
  const std::lock_guard lock(mutex_);
  records_[static_cast<std::size_t>(record)].Count += kNumbers;
  Save();
}

void StagingJournal::NoteChanges(int record, std::span<const NameChange> changes) {
  if (record == kNoRecord) return;
  const std::lock_guard lock(mutex_);
  records_[static_cast<std::size_t>(record)].Changes.assign(changes.begin(), changes.end());
  Save();
}

void StagingJournal::End(int record) {
  if (record == kNoRecord) return;
  const std::lock_guard lock(mutex_);
  records_[static_cast<std::size_t>(record)].Ended = true;
  const auto open = [](const Record& one) { return !one.Ended; };
  if (std::any_of(records_.begin(), records_.end(), open)) {
    Save();
  } else {
    records_.clear();
    if (!unreadable_) files_.RemoveFile(path_);
  }
}

bool StagingJournal::Save() {
  return !unreadable_ && files_.ReplaceWhole(path_, Write(records_)) == 0;
}

/// Goes through what a record covers.
class StagingJournal::Healer {
 public:
  Healer(const FileSystem& files, const Record& record, const Report& report)
      : files_(files), record_(record), report_(report), path_(record.Root) {}

  /// False when something is left for a later run.
  bool Run() {
    const Result<Folder> root = files_.OpenFolder(record_.Root);
    if (!root) return false;
    if (record_.IsFolder) {
      RemoveFolder(*root);
      return whole_;
    }
    // Nothing at all is what a disk looks like that is not mounted.
    if (!FolderReader(*root).Next()) return false;
    for (const NameChange& change : record_.Changes) Complete(change);
    Search(*root);
    return whole_;
  }

 private:
  void Tell(Healing what, ErrorCode error, std::u16string_view name) {
    if (IsNotFound(error)) return;
    if (error) whole_ = false;
    report_(error ? Healing::Failed : what, path_ + std::u16string(name));
  }

  void RemoveFolder(const Folder& root) {
    const std::u16string name = TempName(record_.First);
    const Result<FileStatus> there = root.Status(name);
    if (there && there->Kind == FileKind::Folder) {
      Tell(Healing::PartRemoved, RemoveTree(root, name), name);
    }
  }

  void Complete(const NameChange& change) {
    if (!change.Folder.starts_with(record_.Root) || !TempNumber(change.Temp)) return;
    const Result<Folder> folder = files_.OpenFolder(change.Folder);
    if (!folder) return;
    const Result<FileStatus> temp = folder->Status(change.Temp), own = folder->Status(change.Name);
    if (!temp || temp->Kind == FileKind::Folder || !IsNotFound(own.Error)) return;
    path_ = change.Folder;
    Tell(Healing::Completed, folder->Rename(change.Temp, change.Name), change.Name);
    path_ = record_.Root;
  }

  void Search(const Folder& folder) {
    std::vector<std::u16string> found, subfolders;
    FolderReader reader(folder);
    while (const FolderEntry* entry = reader.Next()) {
      const auto number = TempNumber(entry->Name);
      if (number && *number >= record_.First && *number - record_.First < record_.Count) {
        found.push_back(entry->Name);
      } else if (entry->Kind == FileKind::Folder) {
        subfolders.push_back(entry->Name);
      }
    }
    if (reader.Error()) Tell(Healing::Failed, reader.Error(), {});
    for (const std::u16string& name : found) {
      const Result<FileStatus> status = folder.Status(name);
      const bool is_folder = status && status->Kind == FileKind::Folder;
      const ErrorCode error = !status     ? status.Error
                              : is_folder ? RemoveTree(folder, name)
                                          : folder.RemoveFile(name);
      Tell(Healing::PartRemoved, error, name);
    }
    for (const std::u16string& name : subfolders) {
      const Result<Folder> subfolder = folder.OpenFolder(name);
      const std::size_t length = path_.size();
      (path_ += name) += PathSeparator(record_.Root);
      if (subfolder) {
        Search(*subfolder);
      } else if (subfolder.Error != kErrAccess) {
        // Where this user may not look, the run could not write either.
        Tell(Healing::Failed, subfolder.Error, {});
      }
      path_.resize(length);
    }
  }

  const FileSystem& files_;
  const Record& record_;
  const Report& report_;
  std::u16string path_;
  bool whole_ = true;
};

void StagingJournal::Heal(const Report& report) {
  const std::lock_guard lock(mutex_);
  const Result<std::string> bytes = files_.ReadWhole(path_);
  unreadable_ = !bytes && !IsNotFound(bytes.Error);
  loaded_ = true;
  if (unreadable_) return;
  records_ = bytes ? Read(*bytes) : std::vector<Record>();
  if (!bytes) return;
  for (Record& record : records_) {
    // On disks that take turns at one place, each keeps what was left on it.
    const bool there = record.Disk.empty() || record.Disk == DiskOf(record.Root);
    record.Ended = there && Healer(files_, record, report).Run();
  }
  const std::size_t before = records_.size();
  std::erase_if(records_, [](const Record& record) { return record.Ended; });
  if (records_.empty()) {
    files_.RemoveFile(path_);
  } else if (records_.size() < before) {
    Save();
  }
}

}  // namespace kavrel
