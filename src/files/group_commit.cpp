#include "files/group_commit.h"

#include <algorithm>
#include <limits>

#include "base/number.h"
#include "platform/error_codes.h"
#include "platform/process.h"
#include "platform/trace.h"

namespace kavrel {

namespace {

using namespace std::chrono_literals;

// Bounds of a group. More than that many files or bytes would need too much room beside what they
// replace; a sync should take about half a second, so that the run never waits long for it.
constexpr std::size_t kFewestItems = 64, kFirstItems = 4096, kMostItems = 16384;
constexpr std::size_t kFewestBytes = std::size_t{4} << 20, kFirstBytes = std::size_t{64} << 20,
                      kMostBytes = std::size_t{256} << 20;
constexpr auto kOldest = 5000ms, kLongSync = 800ms, kShortSync = 300ms;
/// Folders are held open for a group's changes, and for those of the two groups before it.
constexpr std::size_t kMostFolders = 640, kShareOfOpenFiles = 8;
/// What is replaced on a disk that keeps no order is held open.
constexpr std::size_t kMostHeld = 200;
/// Changes made for each file that the run deals with, so that it never stands still for a group.
constexpr std::size_t kAtATime = 4;
constexpr auto kPumpSlice = 25ms, kPatience = 1000ms, kCleaning = 500ms;

}  // namespace

GroupCommit::GroupCommit(RunState& state, MessagePump& pump, TempNames& names)
    : state_(state),
      pump_(pump),
      names_(names),
      most_folders_(std::min(kMostFolders, OpenFileLimit() / kShareOfOpenFiles)),
      most_items_(kFirstItems),
      most_bytes_(kFirstBytes) {}

GroupCommit::~GroupCommit() {
  GiveUpAll(0);
}

Result<std::shared_ptr<const CommitFolder>> GroupCommit::Share(
    const Folder& folder, std::u16string_view path, std::shared_ptr<const CommitFolder> parent) {
  using Shared = Result<std::shared_ptr<const CommitFolder>>;
  auto shared = std::make_shared<CommitFolder>();
  Result<Folder> own = folder.Reopen();
  if (!own && Pending()) {
    Flush();
    own = folder.Reopen();
  }
  if (!own) return Shared::Fail(own.Error);
  shared->Opened = std::move(*own);
  const Result<FileStatus> status = shared->Opened.Status();
  if (!status) return Shared::Fail(status.Error);
  shared->Path = path;
  shared->Parent = std::move(parent);
  shared->Device = status->Device;
  shared->Manners = shared->Opened.Manners();
  NoteDisk(shared);
  return {std::move(shared), 0};
}

void GroupCommit::NoteDisk(const std::shared_ptr<const CommitFolder>& folder) {
  for (const auto& disk : disks_) {
    if (disk->Device == folder->Device) return;
  }
  disks_.push_back(folder);
}

void GroupCommit::AddStaged(std::shared_ptr<const CommitFolder> folder,
                            std::unique_ptr<Change> change, std::uint64_t bytes) {
  filling_.Staged = true;
  filling_.Bytes += bytes;
  Put(std::move(folder), std::move(change));
}

void GroupCommit::Add(std::shared_ptr<const CommitFolder> folder, std::unique_ptr<Change> change) {
  if (Pending()) return Put(std::move(folder), std::move(change));
  MakeOne({std::move(folder), std::move(change)}, 0);
}

void GroupCommit::NoteChanged(const std::shared_ptr<const CommitFolder>& folder) {
  dirty_ = true;
  if (!folder->Manners.SyncsWhole && !folder->Going) NoteFolder(folder);
}

void GroupCommit::NoteFolder(const std::shared_ptr<const CommitFolder>& folder) {
  if (changed_.empty() || changed_.back() != folder) changed_.push_back(folder);
}

void GroupCommit::LetGo(const CommitFolder& folder, File held) {
  if (!held) return;
  if (!folder.Manners.KeepsOrder) {
    held_.push_back(std::move(held));
  } else if (release_) {
    release_->Take(std::move(held));
  }
}

void GroupCommit::Put(std::shared_ptr<const CommitFolder> folder, std::unique_ptr<Change> change) {
  if (filling_.Items.empty()) filling_.Begun = SteadyClock::now();
  if (filling_.Items.empty() || filling_.Items.back().Place != folder) ++filling_.Folders;
  if (!folder->Manners.KeepsOrder) ++filling_.Held;
  filling_.Items.push_back({std::move(folder), std::move(change)});
  if (Full()) Close();
}

bool GroupCommit::Full() const {
  return filling_.Items.size() >= most_items_ || filling_.Bytes >= most_bytes_ ||
         filling_.Folders >= most_folders_ || filling_.Held >= kMostHeld ||
         (!filling_.Items.empty() && SteadyClock::now() - filling_.Begun > kOldest);
}

bool GroupCommit::Pending() const {
  return !filling_.Items.empty() || waiting_ || synced_;
}

void GroupCommit::Close() {
  if ((waiting_ && !AwaitSync()) || !MakeAll() || filling_.Items.empty()) return;
  waiting_ = TakeNext();
  if (waiting_->Staged) {
    StartSync();
  } else {
    // There is nothing to wait for: what it relies on has been made.
    TakeSynced();
    MakeAll();
  }
}

GroupCommit::Group GroupCommit::TakeNext() {
  // Where a folder's entry is the file's own record, a new entry is written with its file, but an
  // old one must change after the temporary one is gone: files that replace others get their names
  // first, and a sync of their own.
  const auto goes_first = [](const Item& item) {
    return !item.Place->Manners.KeepsOrder && item.Change->Replaces();
  };
  const auto rest = std::stable_partition(filling_.Items.begin(), filling_.Items.end(), goes_first);
  Group next = std::exchange(filling_, {});
  if (rest == next.Items.begin() || rest == next.Items.end()) return next;
  filling_.Items.assign(std::make_move_iterator(rest), std::make_move_iterator(next.Items.end()));
  filling_.Staged = true;
  filling_.Begun = SteadyClock::now();
  next.Items.erase(rest, next.Items.end());
  return next;
}

void GroupCommit::StartSync() {
  if (journal_) journal_();
  const auto held = std::make_shared<std::vector<File>>(std::exchange(held_, {}));
  syncing_.emplace([disks = disks_, folders = std::exchange(changed_, {}), held] {
    ErrorCode first = 0;
    // Before the disk as a whole: where a file's record is its entry in the folder, the temporary
    // one is gone from the disk before that of the old file becomes the new one's, so that never
    // two records mean one content.
    for (const auto& folder : folders) {
      const ErrorCode error = folder->Opened.Sync();
      if (!first) first = error;
    }
    for (const auto& disk : disks) {
      const ErrorCode error = disk->Opened.SyncDisk();
      if (!first) first = error;
    }
    return first;
  });
  dirty_ = false;
}

bool GroupCommit::GivesUpWaiting() {
  if (!state_.CancelRequested) {
    cancelled_at_.reset();
    return false;
  }
  if (!cancelled_at_) cancelled_at_ = SteadyClock::now();
  return SteadyClock::now() - *cancelled_at_ > kPatience;
}

bool GroupCommit::AwaitSync() {
  if (!syncing_) return true;
  while (!syncing_->Await(kPumpSlice)) {
    pump_.PumpMessages();
    if (GivesUpWaiting()) return false;
  }
  TakeSynced();
  return true;
}

void GroupCommit::TakeSynced() {
  // The group before it goes first.
  if (!MakeAll()) return;
  ErrorCode error = 0;
  if (syncing_) {
    error = syncing_->Error();
    TraceEffect(u"synced a group of",
                Decimal(waiting_ ? static_cast<std::int64_t>(waiting_->Items.size()) : 0),
                u" changes", error);
    Adapt(syncing_->Took());
    syncing_.reset();
  }
  if (error && !error_) error_ = error;
  if (!waiting_) return;
  synced_ = std::exchange(waiting_, std::nullopt);
  synced_->Error = error;
  if (error) return;
  std::vector<NameChange> namings;
  for (const Item& item : synced_->Items) {
    if (item.Place->Manners.KeepsOrder) continue;
    if (std::optional<NameChange> naming = item.Change->Naming()) {
      namings.push_back(std::move(*naming));
    }
  }
  if (!namings.empty()) names_.NoteChanges(namings);
}

void GroupCommit::Adapt(std::chrono::duration<double> took) {
  if (took > kLongSync) {
    most_items_ = std::max(most_items_ / 2, kFewestItems);
    most_bytes_ = std::max(most_bytes_ / 2, kFewestBytes);
  } else if (took < kShortSync) {
    most_items_ = std::min(most_items_ * 2, kMostItems);
    most_bytes_ = std::min(most_bytes_ * 2, kMostBytes);
  }
}

void GroupCommit::Make(std::size_t most) {
  if (!synced_) return;
  for (; most > 0 && synced_->Done < synced_->Items.size(); --most) {
    PumpNowAndThen();
    if (GivesUpWaiting()) return;
    const Item item = std::move(synced_->Items[synced_->Done++]);
    MakeOne(item, synced_->Error);
  }
  if (synced_->Done == synced_->Items.size()) synced_.reset();
}

void GroupCommit::MakeOne(const Item& item, ErrorCode error) {
  NoteChanged(item.Place);
  if (!error && item.Place->IsLost()) error = kErrNotFound;
  if (error) return item.Change->GiveUp(error);
  if (!item.Place->Manners.KeepsOrder && item.Change->Replaces()) NoteFolder(item.Place);
  item.Change->Commit(*this);
}

bool GroupCommit::MakeAll() {
  Make(std::numeric_limits<std::size_t>::max());
  return !synced_;
}

void GroupCommit::PumpNowAndThen() {
  const SteadyClock::time_point now = SteadyClock::now();
  if (now - pumped_at_ < kPumpSlice) return;
  pumped_at_ = now;
  pump_.PumpMessages();
}

void GroupCommit::Advance() {
  if (!synced_ && waiting_ && syncing_ && syncing_->Await(0ms)) TakeSynced();
  Make(kAtATime);
  if (!waiting_ && !synced_ && !filling_.Items.empty() && Full()) Close();
}

void GroupCommit::Flush() {
  while (Pending()) {
    if (!filling_.Items.empty() && !waiting_) {
      Close();
    } else if (waiting_ && !AwaitSync()) {
      return;
    }
    if (!MakeAll()) return;
  }
}

ErrorCode GroupCommit::Settle() {
  Flush();
  GiveUpAll(0);
  if (dirty_ && !state_.CancelRequested) {
    StartSync();
    AwaitSync();
  }
  return std::exchange(error_, 0);
}

void GroupCommit::GiveUpAll(ErrorCode why) {
  const SteadyClock::time_point until = SteadyClock::now() + kCleaning;
  const auto give_up = [&](Group group) {
    for (; group.Done < group.Items.size(); ++group.Done) {
      Change& change = *group.Items[group.Done].Change;
      if (why || SteadyClock::now() < until) {
        change.GiveUp(why);
      } else {
        names_.NoteLeft();
        change.Abandon();
      }
    }
  };
  for (std::optional<Group>* group : {&synced_, &waiting_}) {
    if (*group) give_up(std::exchange(*group, std::nullopt).value());
  }
  give_up(std::exchange(filling_, {}));
  syncing_.reset();
}

}  // namespace kavrel
