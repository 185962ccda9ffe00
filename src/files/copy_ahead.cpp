#include "files/copy_ahead.h"

namespace kavrel {

namespace {
constexpr std::uint64_t kLargest = 8 * kCopyBlock;
}

struct CopyAhead::Item {
  Item(const Folders& folders, std::u16string_view name, const FileStatus& source_status,
       const FileStatus* dest_status, DateTime now)
      : Name(name),
        SourceStatus(source_status),
        DestStatus(dest_status ? *dest_status : FileStatus()),
        Source{folders.Source, folders.SourcePath, Name, &SourceStatus},
        Dest{folders.Dest, folders.DestPath, Name, dest_status ? &DestStatus : nullptr},
        Copy(Source, Dest, now) {}

  const std::u16string Name;
  const FileStatus SourceStatus, DestStatus;
  const CopySide Source, Dest;
  EarlyCopy Copy;
  CopyAhead::Stage Stage = CopyAhead::Stage::Waiting;
};

CopyAhead::CopyAhead(CopyContext& context, bool on)
    : context_(context),
      on_(on && std::thread::hardware_concurrency() > 1),
      items_(on_ ? kWindow : 0) {}

CopyAhead::~CopyAhead() {
  DropAll();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  work_.notify_one();
  if (worker_.joinable()) worker_.join();
}

bool CopyAhead::Suits(const FileStatus& source) const {
  return on_ && source.Kind == FileKind::File && source.Size <= kLargest &&
         source.Allocated >= source.Size;
}

void CopyAhead::Add(const Folders& folders, std::u16string_view name, const FileStatus& source,
                    const FileStatus* dest) {
  if (!worker_.joinable()) worker_ = std::thread([this] { WorkerLoop(); });
  auto item =
      std::make_unique<Item>(folders, name, source, dest, dest ? context_.Clock.Now() : kZeroDate);
  const std::lock_guard<std::mutex> lock(mutex_);
  items_[end_ % kWindow] = std::move(item);
  ++end_;
  if (worker_sleeps_) work_.notify_one();
}

std::u16string_view CopyAhead::FrontName() const {
  return At(first_).Name;
}

void CopyAhead::WorkerLoop() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stopping_) {
    if (WorkOnNext(lock)) {
      if (owner_sleeps_) done_.notify_one();
      continue;
    }
    worker_sleeps_ = true;
    work_.wait(lock);
    worker_sleeps_ = false;
  }
}

bool CopyAhead::WorkOnNext(std::unique_lock<std::mutex>& lock) {
  if (next_ == end_) return false;
  Item& item = At(next_++);
  item.Stage = Stage::Working;
  lock.unlock();
  const bool made = item.Copy.Make();
  lock.lock();
  item.Stage = made ? Stage::Made : Stage::Amiss;
  return true;
}

void CopyAhead::AwaitFront() {
  std::unique_lock<std::mutex> lock(mutex_);
  const auto finished = [&] {
    return At(first_).Stage == Stage::Made || At(first_).Stage == Stage::Amiss;
  };
  while (!finished()) {
    // Rather than wait for the other thread, take the next copy off its hands.
    if (WorkOnNext(lock)) continue;
    owner_sleeps_ = true;
    done_.wait(lock);
    owner_sleeps_ = false;
  }
}

CopyResult CopyAhead::FinishFront() {
  AwaitFront();
  Item& item = At(first_);
  CopyResult result;
  if (item.Stage == Stage::Made) {
    result = item.Copy.Commit(context_);
  } else {
    // Whatever was amiss is found, told and counted in the ordinary way. What is at the destination
    // is looked at again, for it may be the copy of another name that means the same there.
    const Result<FileStatus> there = item.Dest.Folder.Status(item.Name);
    const CopySide dest{item.Dest.Folder, item.Dest.FolderPath, item.Name,
                        there ? &*there : nullptr};
    result = CopyFileShown(context_, item.Source, dest);
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  ++first_;
  return result;
}

std::size_t CopyAhead::DropAll() {
  std::unique_lock<std::mutex> lock(mutex_);
  // Nobody begins one of them any more; the one that the other thread has at work is awaited.
  const std::size_t begun = next_;
  next_ = end_;
  for (std::size_t number = end_; number-- > first_;) {
    Item& item = At(number);
    if (number >= begun) continue;
    while (item.Stage == Stage::Working) {
      owner_sleeps_ = true;
      done_.wait(lock);
      owner_sleeps_ = false;
    }
    if (item.Stage == Stage::Made) item.Copy.TakeBack();
  }
  const std::size_t dropped = end_ - first_;
  first_ = end_;
  return dropped;
}

}  // namespace kavrel
