#include "engine/content_sums.h"

#include <algorithm>

#include "archive/recovery_data.h"
#include "base/text.h"
#include "platform/error_codes.h"
#include "platform/trace.h"

namespace kavrel {

namespace {

/// Files that were moved since the former state and whose sums are carried over; they take some
/// 200 bytes each.
constexpr std::size_t kMostMoved = 30'000;

/// In the journal alone: the file is about to lose the sum that it had.
constexpr ContentSum kNoSum{};

bool Has(const std::deque<std::uint64_t>& sorted, std::uint64_t hash) {
  return std::binary_search(sorted.begin(), sorted.end(), hash);
}

std::size_t TimesIn(const std::deque<std::uint64_t>& sorted, std::uint64_t hash) {
  const auto [first, last] = std::equal_range(sorted.begin(), sorted.end(), hash);
  return static_cast<std::size_t>(last - first);
}

void Sort(std::deque<std::uint64_t>& hashes) {
  std::sort(hashes.begin(), hashes.end());
}

}  // namespace

ContentSums::ContentSums(Folder root, bool keeps, Folder former)
    : root_(std::move(root)), former_(std::move(former)), keeps_(keeps) {}

ContentSums::~ContentSums() {
  if (journal_) journal_->Close();
}

bool ContentSums::Begin() {
  if (!root_) return false;
  if (begun_) return keeps_;
  begun_ = true;
  before_ = *root_.Status();
  if (!keeps_) {
    root_.RemoveFile(kSumList);
    root_.RemoveFile(kSumJournal);
    return false;
  }
  if (root_.Status(kSumJournal)) TakeUp();
  listed_ = bool(root_.Status(kSumList));
  syncs_whole_ = root_.Manners().SyncsWhole;
  return true;
}

void ContentSums::Heal() {
  if (root_ && root_.Status(kSumJournal)) Begin();
}

void ContentSums::TakeUp() {
  std::deque<std::uint64_t> paths, lines, known;
  SumListReader told(root_, kSumJournal);
  while (const SumLine* line = told.Next()) {
    paths.push_back(HashOf(line->Path));
    lines.push_back(HashOf(*line));
  }
  Sort(paths);
  Sort(lines);
  ClearHalf();
  SumListWriter writer(root_, kSumHalf);
  SumListReader old(root_, kSumList);
  while (const SumLine* line = old.Next()) {
    const std::uint64_t path = HashOf(line->Path);
    const bool told_too = Has(paths, path);
    if (told_too) known.push_back(path);
    // The same in both: whichever of the two it is.
    if (!told_too || (TimesIn(paths, path) == 1 && Has(lines, HashOf(*line)))) writer.Add(*line);
  }
  Sort(known);
  // Where nothing was replaced, what is there can only be the copy.
  SumListReader again(root_, kSumJournal);
  while (const SumLine* line = again.Next()) {
    const std::uint64_t path = HashOf(line->Path);
    if (line->Sum != kNoSum && TimesIn(paths, path) == 1 && !Has(known, path)) writer.Add(*line);
  }
  writer.Sync();
  Place(kSumHalf, writer.Close());
  root_.RemoveFile(kSumJournal);
}

void ContentSums::ClearHalf() {
  root_.RemoveFile(kSumHalf);
  root_.RemoveFolder(kSumHalf);
}

void ContentSums::Add(const SumLine& line) {
  if (!journal_) {
    root_.RemoveFile(kSumJournal);
    root_.RemoveFolder(kSumJournal);
    journal_.emplace(root_, kSumJournal);
  }
  journal_->Add(line);
}

void ContentSums::Note(std::u16string_view path, const ContentSum& sum, bool replaces) {
  if (!Begin()) return;
  const SumLine line{sum, ToUtf8(path)};
  if (replaces) {
    Add({kNoSum, line.Path});
    doubtful_ = true;
  }
  Add(line);
  if (listed_) dropped_.push_back(HashOf(line.Path));
}

void ContentSums::Drop(std::u16string_view path) {
  if (!Begin() || !listed_) return;
  std::string bytes = ToUtf8(path);
  dropped_.push_back(HashOf(bytes));
  Add({kNoSum, std::move(bytes)});
}

void ContentSums::Fail(std::u16string_view path) {
  if (Begin()) failed_.push_back(HashOf(ToUtf8(path)));
}

void ContentSums::Share(std::u16string_view path, std::u16string_view former_path) {
  if (!Begin() || !former_) return;
  const std::uint64_t hash = HashOf(ToUtf8(former_path));
  if (path == former_path) {
    shared_.push_back(hash);
  } else if (moved_.size() < kMostMoved) {
    moved_.emplace(hash, ToUtf8(path));
  }
}

void ContentSums::Reach() {
  if (!journal_) return;
  if (syncs_whole_) {
    journal_->Flush();
  } else {
    journal_->Sync();
  }
  // The copies get their names, and nothing would tell that the list is older.
  if (!journal_->Good()) RemoveList();
}

void ContentSums::RemoveList() {
  root_.RemoveFile(kSumList);
  listed_ = false;
}

void ContentSums::AddFormer(SumListWriter& writer) {
  SumListReader former(former_, kSumList);
  while (const SumLine* line = former.Next()) {
    const std::uint64_t hash = HashOf(line->Path);
    if (Has(shared_, hash) && !Has(failed_, hash)) writer.Add(*line);
    const auto [first, last] = moved_.equal_range(hash);
    for (auto moved = first; moved != last; ++moved) {
      if (!Has(failed_, HashOf(moved->second))) writer.Add({line->Sum, moved->second});
    }
  }
}

bool ContentSums::IsOutOfDate(const SumLine& line) const {
  const std::uint64_t hash = HashOf(line.Path);
  const std::size_t times = TimesIn(dropped_, hash);
  // Where the one change of it has failed, the old copy is there.
  return times > 1 || (times == 1 && !Has(failed_, hash));
}

bool ContentSums::IsGoneArchive(const SumLine& line) const {
  if (line.Path.find('/') != std::string::npos) return false;
  const std::u16string name = FromUtf8(line.Path);
  // Recovery data goes with what it is of.
  const std::u16string_view archive = RecoveredArchive(name);
  return archive.ends_with(u".7z") && IsNotFound(root_.Status(archive).Error);
}

ErrorCode ContentSums::Write() {
  ClearHalf();
  SumListWriter writer(root_, kSumHalf);
  SumListReader old(root_, kSumList);
  while (const SumLine* line = old.Next()) {
    if (!IsOutOfDate(*line) && !IsGoneArchive(*line)) writer.Add(*line);
  }
  if (former_) AddFormer(writer);
  SumListReader added(root_, kSumJournal);
  while (const SumLine* line = added.Next()) {
    if (line->Sum != kNoSum && !Has(failed_, HashOf(line->Path))) writer.Add(*line);
  }
  writer.Sync();
  return writer.Close();
}

ErrorCode ContentSums::Place(std::u16string_view name, ErrorCode error) {
  if (!error) error = root_.Replace(name, kSumList);
  if (!error) error = root_.Sync();
  TraceEffect(u"placed the list of sums", {}, name, error);
  if (error) root_.RemoveFile(name);
  if (error) RemoveList();
  return error;
}

ErrorCode ContentSums::Finish(bool restores) {
  if (!begun_) return 0;
  Sort(dropped_);
  Sort(failed_);
  Sort(shared_);
  // The folder may have got its permissions by now, which may keep its owner out.
  const Result<FileStatus> now = root_.Status();
  root_.MakeWritable();
  const bool has_journal = journal_.has_value();
  const ErrorCode lost = has_journal ? journal_->Sync() : 0;
  const bool noted = has_journal && !lost;
  journal_.reset();
  const bool changes = has_journal || !dropped_.empty() || !shared_.empty() || !moved_.empty();
  ErrorCode error = 0;
  if (keeps_ && changes) {
    const bool alone =
        noted && !listed_ && !doubtful_ && failed_.empty() && shared_.empty() && moved_.empty();
    error = alone ? Place(kSumJournal, 0) : Place(kSumHalf, lost ? lost : Write());
    root_.RemoveFile(kSumJournal);
  }
  if (!now) return error;
  const Result<FileStatus> after = root_.Status();
  if (after && after->Mode != now->Mode) root_.SetAttributes(*now, root_);
  root_.SetTimes(restores ? before_ : *now);
  return error;
}

SumIndex::SumIndex(const Folder& root) {
  // What a killed run has left is to be sorted out.
  if (root.Status(kSumJournal)) return;
  SumListReader reader(root, kSumList);
  while (const SumLine* line = reader.Next()) {
    lines_.push_back(HashOf(*line));
    paths_.push_back(HashOf(line->Path));
  }
  Sort(lines_);
  Sort(paths_);
}

bool SumIndex::Has(const SumLine& line) const {
  return kavrel::Has(lines_, HashOf(line));
}

bool SumIndex::Knows(std::string_view path) const {
  return kavrel::Has(paths_, HashOf(path));
}

}  // namespace kavrel
