#include "files/aside_journal.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "base/text.h"
#include "files/path.h"
#include "files/remove_tree.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::size_t kSlotSize = 65536;
constexpr std::size_t kNumber = 16;  // hexadecimal digits
/// A slot: the new file's identity, a check sum of what follows it, that part's length, the fields.
constexpr std::size_t kSumAt = kNumber, kLengthAt = 2 * kNumber, kFieldsAt = 3 * kNumber;
constexpr std::int64_t kTimeGrain = 2;  // seconds; the coarsest file systems keep even ones only

std::string Hex(std::uint64_t value) {
  char digits[kNumber + 1];
  std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(value));
  return digits;
}

std::uint64_t ReadHex(std::string_view text, std::size_t at) {
  std::uint64_t value = 0;
  if (at + kNumber <= text.size()) {
    std::from_chars(text.data() + at, text.data() + at + kNumber, value, 16);
  }
  return value;
}

/// FNV-1a: tells a record that was cut short from a whole one.
std::uint64_t Sum(std::string_view text) {
  std::uint64_t sum = 0xcbf29ce484222325U;
  for (const char c : text) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  return sum;
}

std::string Marks(const FileStatus& status) {
  const char kind = status.Kind == FileKind::Link     ? 'L'
                    : status.Kind == FileKind::Folder ? 'D'
                                                      : 'F';
  return std::string(1, kind) + Hex(status.Size) +
         Hex(static_cast<std::uint64_t>(status.Written.Seconds));
}

/// Whether a file is the one that these marks were taken of. A link's time is not asked for: a link
/// is whole as soon as it is there.
bool Bears(std::string_view marks, const FileStatus& status) {
  const bool link = marks.starts_with('L');
  if (link != (status.Kind == FileKind::Link) || status.Size != ReadHex(marks, 1)) return false;
  const auto written = static_cast<std::int64_t>(ReadHex(marks, 1 + kNumber));
  const std::int64_t apart = status.Written.Seconds - written;
  return link || (status.Kind == FileKind::File && apart >= -kTimeGrain && apart <= kTimeGrain);
}

bool IsTempName(std::u16string_view name) {
  return name.starts_with(u"pt") && name.ends_with(u".tmp");
}

/// What stands in a slot; nothing in one that was never, or not wholly, written.
struct Slot {
  std::uint64_t Made = 0;
  std::vector<std::u16string> Names;  ///< folder, temporary name, name
  std::string_view OldMarks, NewMarks;
};

bool ReadSlot(std::string_view bytes, Slot& slot) {
  const std::uint64_t length = ReadHex(bytes, kLengthAt);
  if (length == 0 || length > bytes.size() || bytes.size() - length < kFieldsAt) return false;
  const std::string_view fields = bytes.substr(kFieldsAt, static_cast<std::size_t>(length));
  if (Sum(fields) != ReadHex(bytes, kSumAt)) return false;
  slot.Made = ReadHex(bytes, 0);
  std::vector<std::string_view> pieces;
  for (std::size_t at = 0; at <= fields.size();) {
    const std::size_t end = std::min(fields.find('\0', at), fields.size());
    pieces.push_back(fields.substr(at, end - at));
    at = end + 1;
  }
  if (pieces.size() != 5) return false;
  for (std::size_t i = 0; i < 3; ++i) slot.Names.push_back(FromUtf8(pieces[i]));
  slot.OldMarks = pieces[3];
  slot.NewMarks = pieces[4];
  return true;
}

}  // namespace

AsideJournal::AsideJournal(const FileSystem& files)
    : files_(files), path_(JoinPath(files.ProgramFolder(), u"Aside.jnl")) {}

int AsideJournal::Begin(const AsideRecord& record) {
  std::string fields = ToUtf8(record.Folder);
  for (const std::u16string_view name : {record.Aside, record.Name}) fields += '\0' + ToUtf8(name);
  fields += '\0' + (record.Old ? Marks(*record.Old) : std::string());
  fields += '\0' + Marks(*record.New);
  if (fields.size() > kSlotSize - kFieldsAt) return kNoSlot;
  const std::string bytes = Hex(0) + Hex(Sum(fields)) + Hex(fields.size()) + fields;

  const std::lock_guard lock(mutex_);
  if (!file_ && !failed_) {
    Result<File> file = files_.OpenForUpdate(path_);
    failed_ = !file;
    if (file) file_ = std::move(*file);
  }
  if (!file_) return kNoSlot;
  const auto free = std::find(taken_.begin(), taken_.end(), false);
  const auto slot = static_cast<std::size_t>(free - taken_.begin());
  if (file_.WriteAt(slot * kSlotSize, bytes) != 0) return kNoSlot;
  if (free == taken_.end()) taken_.push_back(false);
  taken_[slot] = true;
  return static_cast<int>(slot);
}

void AsideJournal::NoteMade(int slot, const Result<FileStatus>& made) {
  if (slot == kNoSlot || !made) return;
  file_.WriteAt(static_cast<std::size_t>(slot) * kSlotSize, Hex(made->Id));
}

void AsideJournal::End(int slot) {
  if (slot == kNoSlot) return;
  const std::lock_guard lock(mutex_);
  taken_[static_cast<std::size_t>(slot)] = false;
}

void AsideJournal::Heal(const Report& report) {
  const std::lock_guard lock(mutex_);
  file_.Close();
  taken_.clear();
  const Result<std::string> bytes = files_.ReadWhole(path_);
  // Records that cannot be read now must not be written over.
  failed_ = !bytes && !IsNotFound(bytes.Error);
  if (!bytes) return;
  for (std::size_t at = 0; at < bytes->size(); at += kSlotSize) {
    const std::string_view slot = std::string_view(*bytes).substr(at, kSlotSize);
    taken_.push_back(Settle(slot, report) == Outcome::Open);
  }
  if (std::find(taken_.begin(), taken_.end(), true) == taken_.end()) {
    taken_.clear();
    files_.RemoveFile(path_);
  }
}

AsideJournal::Outcome AsideJournal::Settle(std::string_view bytes, const Report& report) const {
  Slot slot;
  if (!ReadSlot(bytes, slot)) return Outcome::Settled;
  const std::u16string &aside = slot.Names[1], &name = slot.Names[2];
  const auto tell = [&](Healing what, ErrorCode error, std::u16string_view which) {
    report(error ? Healing::Failed : what, slot.Names[0] + std::u16string(which));
    return error ? Outcome::Open : Outcome::Settled;
  };
  const Result<Folder> folder = files_.OpenFolder(slot.Names[0]);
  if (!folder) return Outcome::Open;
  const Result<FileStatus> now = folder->Status(name);
  if (!now && !IsNotFound(now.Error)) return tell(Healing::Failed, now.Error, name);
  const bool complete = now && Bears(slot.NewMarks, *now);
  // An empty file may be the part that there was no time left to note; nothing is lost with it.
  const bool part = now && !complete && now->Kind == FileKind::File &&
                    (now->Size == 0 || (slot.Made != 0 && now->Id == slot.Made));
  if (slot.NewMarks.starts_with('D')) {
    // Whatever a record says, nothing of another name goes with all that is in it. An empty folder
    // may be ours that there was no time left to note; nothing is lost with it.
    if (!IsTempName(name)) return Outcome::Settled;
    const bool ours = now && slot.Made != 0 && now->Id == slot.Made;
    if (!ours && (!now || slot.Made != 0 || folder->RemoveFolder(name) != 0)) {
      return Outcome::Settled;
    }
    return tell(Healing::PartRemoved, ours ? RemoveTree(*folder, name) : 0, name);
  }
  if (aside.empty()) {
    if (!part) return Outcome::Settled;
    return tell(Healing::PartRemoved, folder->RemoveFile(name), name);
  }
  const Result<FileStatus> old = folder->Status(aside);
  if (!old && !IsNotFound(old.Error)) return tell(Healing::Failed, old.Error, aside);
  // Whatever else bears the temporary name belongs to somebody else.
  if (!old || !Bears(slot.OldMarks, *old)) return Outcome::Settled;
  if (complete) return tell(Healing::AsideRemoved, folder->RemoveFile(aside), aside);
  if (!now) return tell(Healing::PutBack, folder->Rename(aside, name), name);
  if (part) return tell(Healing::PutBack, folder->Replace(aside, name), name);
  return tell(Healing::Unknown, 0, aside);
}

}  // namespace kavrel
