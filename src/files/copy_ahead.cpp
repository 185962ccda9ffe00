#include "files/copy_ahead.h"
#include "files/folder_identity.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "platform/wake.h"

namespace kavrel {

namespace {

/// Looks for a while whether the number is another one: from one folder to the next takes less time
/// than to wake a thread.
bool ChangesSoon(const std::atomic<std::uint32_t>& number, std::uint32_t old) {
  // Mostly it is one already, and reading the clock may take as long as a look at a file.
  if (number != old) return true;
  using SteadyClock = std::chrono::steady_clock;
  const auto until = SteadyClock::now() + std::chrono::microseconds(100);
  while (number == old) {
    if (SteadyClock::now() > until) return false;
  }
  return true;
}

}  // namespace

/// Filled by the owner, worked on by the thread that has claimed its number, then the owner's
/// again.
struct CopyAhead::Item {
  std::u16string Name;
  std::optional<CopyAhead::Folders> Folders;
  Result<FileStatus> Source, Dest, Former;
  CopyAhead::Verdict Said = CopyAhead::Verdict::Wait;
  std::optional<StagedFile> Staged;
  bool Seen = false;  ///< Source is known before anybody works on it
  std::atomic<std::uint32_t> Done = 0;

  const FileStatus* SourceStatus() const { return Source ? &*Source : nullptr; }
  const FileStatus* DestStatus() const { return Dest ? &*Dest : nullptr; }
  CopySide From() const { return Named(Folders->Source, SourceStatus()); }
  CopySide To() const { return Named(Folders->Dest, DestStatus()); }
  const FileStatus* FormerStatus() const { return Former ? &*Former : nullptr; }

 private:
  CopySide Named(CopySide side, const FileStatus* status) const {
    side.Name = Name;
    side.Status = status;
    return side;
  }
};

CopyAhead::CopyAhead(CopyContext& context, Judge judge)
    : context_(context),
      judge_(std::move(judge)),
      items_(std::make_unique<Item[]>(kWindow)),
      looks_(std::make_unique<Look[]>(kWindow)) {
  try {
    worker_ = std::thread([this] { WorkerLoop(); });
  } catch (const std::exception&) {
    // Out of threads or memory: all is done at its turn.
  }
}

void CopyAhead::WaitWhile(const std::atomic<std::uint32_t>& number, std::uint32_t old) const {
  if (!ChangesSoon(number, old)) Sleep(number, old);
}

void CopyAhead::Sleep(const std::atomic<std::uint32_t>& number, std::uint32_t old) const {
  // Counted before the number is looked at, as it is changed before this is looked at.
  ++sleepers_;
  SleepWhile(number, old);
  --sleepers_;
}

void CopyAhead::WakeSleeper(std::atomic<std::uint32_t>& number) const {
  // Nearly always nobody sleeps, and a call of the system for each file takes longer than a look.
  if (sleepers_ > 0) Wake(number);
}

CopyAhead::~CopyAhead() {
  DropAll();
  DropListing();
  StopLooks();
  stopping_ = true;
  ++signal_;
  WakeSleeper(signal_);
  if (worker_.joinable()) worker_.join();
  WorkOnClosing();
}

CopyAhead::Item& CopyAhead::At(std::size_t number) const {
  return items_[number % kWindow];
}

void CopyAhead::Expect() {
  ++signal_;
  WakeSleeper(signal_);
}

void CopyAhead::Add(const CopyAhead::Folders& folders, std::u16string_view name) {
  Item& item = At(end_);
  item.Name = name;
  item.Folders.emplace(folders);
  const FileStatus* const seen = TakeLook(name);
  item.Seen = seen != nullptr;
  if (seen) item.Source = {*seen, 0};
  item.Done = 0;
  ++end_;
  Expect();
}

bool CopyAhead::Listed::IsOld() const {
  return std::chrono::steady_clock::now() - At > std::chrono::milliseconds(50);
}

void CopyAhead::BeginListing(const Folder& parent, std::u16string_view name, bool looks) {
  if (!worker_.joinable()) return;
  EndLooks();
  DropListing();
  parent_ = &parent;
  name_ = name;
  looks_wanted_ = looks;
  listing_ = ListingState::Wanted;
  Expect();
}

std::optional<CopyAhead::Listed> CopyAhead::EndListing(const Folder& parent,
                                                       std::u16string_view name) {
  const bool same = parent_ == &parent && name_ == name;
  std::optional<Listed> listed = TakeListing();
  if (!same || !listed || listed->IsOld()) {
    StopLooks();
    return std::nullopt;
  }
  looks_present_ = look_reader_ != nullptr;
  at_look_ = 0;
  return listed;
}

void CopyAhead::DropListing() {
  const std::optional<Listed> dropped = TakeListing();
  if (dropped) StopLooks();
}

std::optional<CopyAhead::Listed> CopyAhead::TakeListing() {
  std::uint32_t wanted = ListingState::Wanted;
  if (!listing_.compare_exchange_strong(wanted, ListingState::Idle)) {
    WaitWhile(listing_, ListingState::Listing);
  }
  // The other thread reads the one and writes the other until then.
  parent_ = nullptr;
  return std::exchange(listed_, std::nullopt);
}

bool CopyAhead::WorkOnListing() {
  std::uint32_t wanted = ListingState::Wanted;
  if (!listing_.compare_exchange_strong(wanted, ListingState::Listing)) return false;
  // What comes of it is read by the owner only once this is Idle again.
  Result<Folder> folder = parent_->OpenFolder(name_);
  const Result<FileStatus> status = StatusOf(folder);
  if (status) {
    auto reader = std::make_unique<FolderReader>(*folder);
    reader->Begin(kWindow);
    if (looks_wanted_) BeginLooks(*reader);
    listed_ =
        Listed{std::move(*folder), *status, std::move(reader), std::chrono::steady_clock::now()};
  }
  listing_ = ListingState::Idle;
  WakeSleeper(listing_);
  return true;
}

void CopyAhead::BeginLooks(const FolderReader& reader) {
  const std::size_t count = std::min(reader.Begun().size(), kWindow);
  if (!reader.Opened() || count == 0) return;
  look_reader_ = &reader;
  first_look_ = end_look_;
  for (std::size_t i = 0; i < count; ++i) looks_[(first_look_ + i) % kWindow].Done = false;
  end_look_ = first_look_ + count;
}

void CopyAhead::EndLooks() {
  if (looks_present_) StopLooks();
}

void CopyAhead::StopLooks() {
  next_look_ = end_look_.load();
  while (looking_) WaitWhile(looking_, 1);
  look_reader_ = nullptr;
  looks_present_ = false;
}

bool CopyAhead::WorkOnLook() {
  if (next_look_ == end_look_) return false;
  // Told before one is claimed: who then finds none left to be claimed, and nobody looking, may be
  // sure that nobody will be.
  looking_ = 1;
  std::size_t number = next_look_;
  while (number != end_look_ && !next_look_.compare_exchange_weak(number, number + 1)) {
  }
  const bool found = number != end_look_;
  if (found) {
    const FolderEntry& entry = look_reader_->Begun()[number - first_look_];
    Look& look = looks_[number % kWindow];
    if (entry.Kind == FileKind::File) {
      look.Status = look_reader_->Opened().Status(entry.Name);
      look.Done = true;
    }
  }
  looking_ = 0;
  WakeSleeper(looking_);
  return found;
}

const FileStatus* CopyAhead::TakeLook(std::u16string_view name) {
  if (!looks_present_) return nullptr;
  const std::vector<FolderEntry>& entries = look_reader_->Begun();
  const std::size_t count = end_look_ - first_look_;
  while (at_look_ < count && entries[at_look_].Name != name) ++at_look_;
  if (at_look_ == count) return nullptr;
  const std::size_t number = first_look_ + at_look_++;
  // What comes in the row now need not be looked at apart any more.
  std::size_t next = next_look_;
  bool begun = next > number;
  while (!begun && !next_look_.compare_exchange_weak(next, number + 1)) begun = next > number;
  const Look& look = looks_[number % kWindow];
  return begun && look.Done && look.Status ? &*look.Status : nullptr;
}

void CopyAhead::Close(std::unique_ptr<FolderReader> reader) {
  if (!worker_.joinable() || closing_) return;
  closing_ = reader.release();
  Expect();
}

bool CopyAhead::WorkOnClosing() {
  if (!closing_) return false;
  const std::unique_ptr<FolderReader> closed(closing_.exchange(nullptr));
  return true;
}

void CopyAhead::WorkerLoop() {
  for (;;) {
    // Read before the flag: a stop that comes in between changes it, and the wait ends at once.
    const std::uint32_t seen = signal_;
    if (stopping_) return;
    const bool busy = WorkOnListing() || WorkOnNext() || WorkOnLook() || WorkOnClosing();
    if (!busy) WaitWhile(signal_, seen);
  }
}

bool CopyAhead::WorkOnNext() {
  std::size_t number = next_;
  do {
    if (number == end_) return false;
  } while (!next_.compare_exchange_weak(number, number + 1));
  Item& item = At(number);
  WorkOn(item);
  item.Done = 1;
  WakeSleeper(item.Done);
  return true;
}

void CopyAhead::WorkOn(Item& item) const {
  const Folder& folder = item.Folders->Source.Opened;
  // What will be copied in any case is looked at once it is open: that look is needed anyway.
  Result<File> opened;
  const Folder* const former = item.Folders->Former;
  if (item.Folders->DestIsEmpty && !former) opened = folder.OpenFile(item.Name);
  if (opened && *opened) {
    item.Source = opened->Status();
  } else if (!item.Seen) {
    item.Source = folder.Status(item.Name);
  }
  item.Dest = item.Source && !item.Folders->DestIsEmpty
                  ? item.Folders->Dest.Opened.Status(item.Name)
                  : Result<FileStatus>::Fail(-1);
  item.Former = item.Source && !item.Dest && former ? former->Status(item.Name)
                                                    : Result<FileStatus>::Fail(-1);
  const auto judge = [&] {
    item.Said = judge_(item.SourceStatus(), item.DestStatus(), item.FormerStatus());
  };
  judge();
  if (item.Seen && (item.Said == Verdict::Copy || item.Said == Verdict::Wait)) {
    // What is going to be read is what lies there now, not what did when it was looked at.
    item.Source = folder.Status(item.Name);
    judge();
  }
  StagedFile staged;
  if (item.Said == Verdict::Share && shared_) {
    const CopySide like{*former, {}, item.Name, item.FormerStatus()};
    if (!shared_->Stage(*context_.Names, item.From(), like, item.To(), true, staged)) {
      item.Staged = std::move(staged);
    }
  }
  if (item.Said != Verdict::Copy) return;
  if (StageQuietly(*context_.Names, item.From(), item.To(), staged, std::move(*opened))) {
    item.Staged = std::move(staged);
  }
}

CopyAhead::Turn CopyAhead::AwaitFront() {
  const Item& item = At(first_);
  // Rather than wait for the other thread, take the next file off its hands.
  while (!item.Done && WorkOnNext()) {
  }
  WaitWhile(item.Done, 0);
  return {item.Name, item.Said, item.SourceStatus(), item.DestStatus()};
}

CopyResult CopyAhead::StageFront(StagedFile& staged) {
  Item& item = At(first_);
  if (item.Staged) {
    staged = *std::exchange(item.Staged, std::nullopt);
    const CopyResult result = ShowStaged(context_, item.From(), item.To());
    if (result.Failed) RollBack(item, staged);
    return result;
  }
  // Whatever was amiss is found, told and counted in the ordinary way. What has come to the
  // destination since it was looked at is not replaced: it may be the copy of another name that
  // means the same there.
  const Result<FileStatus> now = item.Folders->Dest.Opened.Status(item.Name);
  if (now && item.Dest && now->Id != item.Dest->Id) item.Dest = Result<FileStatus>::Fail(-1);
  return StageShown(context_, item.From(), item.To(), staged);
}

bool CopyAhead::TakeShared(StagedFile& staged) {
  Item& item = At(first_);
  if (!item.Staged) return false;
  staged = *std::exchange(item.Staged, std::nullopt);
  return true;
}

void CopyAhead::RollBack(const Item& item, const StagedFile& staged) const {
  if (staged.RollBack(item.Folders->Dest.Opened)) context_.Names->NoteLeft();
}

void CopyAhead::DropAll() {
  // Nobody begins one of them any more; what the other thread has at work is awaited.
  const std::size_t begun = next_.exchange(end_);
  for (std::size_t number = begun; number-- > first_;) {
    Item& item = At(number);
    Sleep(item.Done, 0);
    if (item.Staged) RollBack(item, *std::exchange(item.Staged, std::nullopt));
  }
  first_ = end_;
}

}  // namespace kavrel
