// A second pair of hands for a folder full of small files: copies are made ahead of their turn by
// two threads, and each is shown, counted or taken back when its turn comes, in order, by the one
// thread that owns the run. Whoever uses it sees the same as without it, only sooner.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "files/file_copy.h"

namespace kavrel {

class CopyAhead {
 public:
  /// Copies from and to the folders of these sides; all of them are entries of the same two folders
  /// until nothing is pending.
  struct Folders {
    const Folder& Source;
    const Folder& Dest;
    std::u16string_view SourcePath, DestPath;
  };

  /// With `on` false nothing is ever copied ahead. So it is on a machine with a single processor.
  explicit CopyAhead(CopyContext& context, bool on);
  /// Takes back what is pending.
  ~CopyAhead();
  CopyAhead(const CopyAhead&) = delete;
  CopyAhead& operator=(const CopyAhead&) = delete;

  /// Whether a file is worth it: small, and without holes.
  bool Suits(const FileStatus& source) const;
  /// Puts a copy at the end of the row. `dest` is null when nothing is there.
  void Add(const Folders& folders, std::u16string_view name, const FileStatus& source,
           const FileStatus* dest);

  bool Empty() const { return first_ == end_; }
  bool Full() const { return end_ - first_ == kWindow; }
  /// The name of the first in the row; valid until it is finished.
  std::u16string_view FrontName() const;
  /// Finishes the first in the row with the result of a copy that is made only now.
  CopyResult FinishFront();
  /// The turn of those in the row will not come: undoes them, the last first. Gives their number.
  std::size_t DropAll();

 private:
  enum class Stage { Waiting, Working, Made, Amiss };
  struct Item;
  static constexpr std::size_t kWindow = 48;

  Item& At(std::size_t number) const { return *items_[number % kWindow]; }
  void WorkerLoop();
  /// Makes the first copy that waits, with the lock let go meanwhile. False when none waits.
  bool WorkOnNext(std::unique_lock<std::mutex>& lock);
  void AwaitFront();

  CopyContext& context_;
  const bool on_;
  std::vector<std::unique_ptr<Item>> items_;
  /// Numbers of items, counted on for ever: the first in the row, the next that nobody works on,
  /// and the one behind the last.
  std::size_t first_ = 0, next_ = 0, end_ = 0;
  bool stopping_ = false, worker_sleeps_ = false, owner_sleeps_ = false;
  mutable std::mutex mutex_;
  std::condition_variable work_, done_;
  std::thread worker_;
};

}  // namespace kavrel
