#include "engine/state_record.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>

#include "base/number.h"
#include "base/text.h"
#include "files/path.h"
#include "platform/clock.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::string_view kHead = "Kavrel entries 2\n";
constexpr std::size_t kEntryBytes = 32, kFirstBytes = 16, kPartBytes = 16, kNodeBytes = 10;
constexpr std::size_t kFlushed = std::size_t{1} << 16;
/// The end of the file: where the table of parts is, how many there are, the length of the text
/// that names the state.
constexpr std::size_t kTailBytes = 24;
constexpr std::size_t kDeepest = 10000, kLongestName = 65535, kMostParts = 100000;

void PutNumber(std::string& bytes, std::uint64_t number, std::size_t length = 8) {
  for (std::size_t i = 0; i < length; ++i) bytes += static_cast<char>(number >> (8 * i) & 0xFF);
}

std::uint64_t NumberAt(std::string_view bytes, std::size_t at, std::size_t length = 8) {
  std::uint64_t number = 0;
  for (std::size_t i = length; i-- > 0;) {
    number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
  }
  return number;
}

EntryIdentity IdentityAt(std::string_view bytes, std::size_t at) {
  return {NumberAt(bytes, at), NumberAt(bytes, at + 8)};
}

std::string TextOf(const RecordedState& state) {
  return ToUtf8(state.Number + u'\n' + IsoText(state.Begun));
}

/// Of 1970.
std::uint64_t NanosecondsOf(FileTime time) {
  return static_cast<std::uint64_t>(time.Seconds) * 1'000'000'000 +
         static_cast<std::uint64_t>(time.Nanoseconds);
}

std::size_t BlocksOf(std::uint64_t entries, std::size_t block) {
  return static_cast<std::size_t>((entries + block - 1) / block);
}

}  // namespace

EntryIdentity IdentityInRecord(const FileStatus& status) {
  const bool known = status.Made != FileTime{};
  return {status.Id, known ? NanosecondsOf(status.Made) : status.Device};
}

std::uint64_t ChangeInRecord(const FileStatus& status) {
  // Within its second a disk of whole seconds does not tell one change from the next.
  constexpr std::int64_t kCoarsest = 2;  // seconds, of FAT
  if (status.Changed.Nanoseconds == 0) {
    const std::int64_t passed = ChangeTimeNow().Seconds - status.Changed.Seconds;
    if (passed >= -kCoarsest && passed <= kCoarsest) return 0;
  }
  return NanosecondsOf(status.Changed);
}

std::u16string StateRecordPath(const FileSystem& files, std::u16string_view job_id) {
  const std::u16string folder = JoinPath(files.ProgramFolder(), u"States");
  return JoinPath(folder, std::u16string(job_id) + u".entries");
}

StateRecordWriter::StateRecordWriter(const FileSystem& files, std::u16string path)
    : files_(files), path_(std::move(path)), half_(path_ + u".tmp") {
  if (!files_.MakeFolders(PathFolder(path_))) return;
  files_.RemoveFile(half_);
  Result<File> file = files_.OpenForUpdate(half_);
  if (!file) return;
  file_ = std::move(*file);
  good_ = true;
  Append(kHead);
}

StateRecordWriter::~StateRecordWriter() {
  file_.Close();
  files_.RemoveFile(half_);
}

std::uint64_t StateRecordWriter::AddFolder(std::uint64_t parent, std::u16string_view name,
                                           const FileStatus& source) {
  return Add(parent, name, source);
}

void StateRecordWriter::AddFile(std::uint64_t folder, std::u16string_view name,
                                const FileStatus& source) {
  Add(folder, name, source);
}

std::uint64_t StateRecordWriter::Add(std::uint64_t folder, std::u16string_view name,
                                     const FileStatus& source) {
  const std::string text = ToUtf8(name);
  if (!good_ || text.size() > kLongestName) return 0;
  const std::uint64_t node = size_;
  std::string bytes;
  bytes.reserve(kNodeBytes + text.size());
  PutNumber(bytes, folder);
  PutNumber(bytes, text.size(), 2);
  bytes += text;
  Append(bytes);
  entries_.push_back({IdentityInRecord(source), node, ChangeInRecord(source)});
  if (entries_.size() == kPartEntries) WritePart();
  return node;
}

void StateRecordWriter::WritePart() {
  if (entries_.empty()) return;
  std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) {
    return a.Identity != b.Identity ? a.Identity < b.Identity : a.Node < b.Node;
  });
  parts_.push_back({size_, entries_.size()});
  const auto append = [&](std::initializer_list<std::uint64_t> numbers) {
    std::string bytes;
    for (const std::uint64_t number : numbers) PutNumber(bytes, number);
    Append(bytes);
  };
  for (const Entry& entry : entries_) {
    append({entry.Identity.Id, entry.Identity.Mark, entry.Node, entry.Changed});
  }
  for (std::size_t i = 0; i < entries_.size(); i += kBlockEntries) {
    append({entries_[i].Identity.Id, entries_[i].Identity.Mark});
  }
  entries_.clear();
}

void StateRecordWriter::Append(std::string_view bytes) {
  buffer_ += bytes;
  size_ += bytes.size();
  if (buffer_.size() >= kFlushed) Flush();
}

void StateRecordWriter::Flush() {
  if (good_ && file_.Write(buffer_)) good_ = false;
  buffer_.clear();
}

void StateRecordWriter::Finish(const RecordedState& state) {
  WritePart();
  const std::uint64_t table = size_;
  for (const Part& part : parts_) {
    std::string bytes;
    PutNumber(bytes, part.At);
    PutNumber(bytes, part.Count);
    Append(bytes);
  }
  const std::string text = TextOf(state);
  std::string tail = text;
  PutNumber(tail, table);
  PutNumber(tail, parts_.size());
  PutNumber(tail, text.size());
  Append(tail);
  Flush();
  if (good_ && !file_.Close()) files_.PutInPlace(half_, path_);
  good_ = false;
}

std::unique_ptr<StateRecord> StateRecord::Open(const FileSystem& files, std::u16string_view path,
                                               const RecordedState& state) {
  const Result<Folder> folder = files.OpenFolder(PathFolder(path));
  Result<File> file = folder ? folder->OpenFile(PathName(path)) : Result<File>::Fail(folder.Error);
  const Result<FileStatus> status = file ? file->Status() : Result<FileStatus>::Fail(file.Error);
  if (!status) return nullptr;
  std::unique_ptr<StateRecord> record(new StateRecord);
  record->file_ = std::move(*file);
  record->size_ = status->Size;
  return record->Load(state) ? std::move(record) : nullptr;
}

bool StateRecord::ReadAt(std::uint64_t at, std::size_t length, std::string& bytes) const {
  if (at > size_ || length > size_ - at || file_.Seek(at)) return false;
  bytes.resize(length);
  const Result<std::size_t> got = file_.Read({bytes.data(), length});
  return got && *got == length;
}

bool StateRecord::Load(const RecordedState& state) {
  std::string bytes, text;
  if (!ReadAt(0, kHead.size(), bytes) || bytes != kHead || size_ < kTailBytes ||
      !ReadAt(size_ - kTailBytes, kTailBytes, bytes)) {
    return false;
  }
  const std::uint64_t table = NumberAt(bytes, 0), count = NumberAt(bytes, 8),
                      length = NumberAt(bytes, 16);
  if (count > kMostParts || length > size_ - kTailBytes ||
      !ReadAt(size_ - kTailBytes - length, static_cast<std::size_t>(length), text) ||
      text != TextOf(state) ||
      !ReadAt(table, static_cast<std::size_t>(count) * kPartBytes, bytes)) {
    return false;
  }
  const std::string parts = bytes;
  constexpr std::size_t kBlock = StateRecordWriter::kBlockEntries;
  for (std::size_t i = 0; i < count; ++i) {
    Part& part = parts_.emplace_back();
    part.At = NumberAt(parts, i * kPartBytes);
    part.Count = NumberAt(parts, i * kPartBytes + 8);
    if (part.Count > StateRecordWriter::kPartEntries) return false;
    const std::size_t blocks = BlocksOf(part.Count, kBlock);
    if (!ReadAt(part.At + part.Count * kEntryBytes, blocks * kFirstBytes, bytes)) return false;
    for (std::size_t k = 0; k < blocks; ++k) {
      part.Firsts.push_back(IdentityAt(bytes, k * kFirstBytes));
    }
  }
  return true;
}

std::vector<StateRecord::Place> StateRecord::Find(const FileStatus& source) const {
  const EntryIdentity wanted = IdentityInRecord(source);
  std::vector<Place> places;
  const std::lock_guard lock(mutex_);
  for (const Part& part : parts_) {
    if (!FindIn(part, wanted, places)) break;
  }
  return places;
}

bool StateRecord::FindIn(const Part& part, const EntryIdentity& wanted,
                         std::vector<Place>& places) const {
  constexpr std::size_t kBlock = StateRecordWriter::kBlockEntries;
  // Equal ones may begin at the end of the block before.
  auto block = static_cast<std::size_t>(
      std::lower_bound(part.Firsts.begin(), part.Firsts.end(), wanted) - part.Firsts.begin());
  if (block > 0) --block;
  for (; block < part.Firsts.size() && part.Firsts[block] <= wanted; ++block) {
    const std::uint64_t first = block * kBlock;
    const auto many = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, part.Count - first));
    std::string bytes;
    if (!ReadAt(part.At + first * kEntryBytes, many * kEntryBytes, bytes)) return false;
    for (std::size_t i = 0; i < many; ++i) {
      if (IdentityAt(bytes, i * kEntryBytes) != wanted) continue;
      if (auto place = ReadNode(NumberAt(bytes, i * kEntryBytes + kFirstBytes))) {
        place->Changed = NumberAt(bytes, i * kEntryBytes + kFirstBytes + 8);
        places.push_back(std::move(*place));
      }
    }
  }
  return true;
}

std::optional<StateRecord::Place> StateRecord::ReadNode(std::uint64_t node) const {
  std::string bytes;
  if (!ReadAt(node, kNodeBytes, bytes)) return std::nullopt;
  Place place{node, NumberAt(bytes, 0), {}};
  const auto length = static_cast<std::size_t>(NumberAt(bytes, 8, 2));
  if (place.Folder >= node || !ReadAt(node + kNodeBytes, length, bytes)) return std::nullopt;
  place.Name = FromUtf8(bytes);
  return place;
}

std::optional<std::vector<std::u16string>> StateRecord::PathOf(std::uint64_t folder) const {
  std::vector<std::u16string> names;
  const std::lock_guard lock(mutex_);
  while (folder != 0 && names.size() < kDeepest) {
    std::optional<Place> place = ReadNode(folder);
    if (!place) return std::nullopt;
    // The root has no name.
    if (place->Folder != 0) names.push_back(std::move(place->Name));
    folder = place->Folder;
  }
  std::reverse(names.begin(), names.end());
  return names;
}

}  // namespace kavrel
