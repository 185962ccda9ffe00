// A second pair of hands for a folder full of files: two threads look at files and copy the small
// ones ahead of their turn. When a file's turn comes, in order, the one thread that owns the run
// shows and counts it, or takes its copy back. Its caller sees the same as without it, only
// sooner.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "files/file_copy.h"
#include "files/shared_content.h"

namespace kavrel {

/// All functions are for the run's own thread.
class CopyAhead {
 public:
  enum class Verdict {
    Leave,  ///< the destination stays as it is
    Copy,   ///< a plain copy, which may be made ahead
    Share,  ///< the same as its copy in the former state, which has its content
    Wait,   ///< whatever it needs is done when its turn comes
  };
  /// Decides on a file by what is on both sides, null for nothing. Called by either thread, so it
  /// must not touch anything of the run.
  using Judge = std::function<Verdict(const FileStatus* source, const FileStatus* dest,
                                      const FileStatus* former)>;

  /// The folders that all files in the row are in, as sides without a name. What they refer to
  /// stays until nothing is pending.
  struct Folders {
    CopySide Source, Dest;
    bool DestIsEmpty;  ///< there is no need to look for anything at the destination
    /// Where the copies of another state are that may be the same; null: nowhere.
    const Folder* Former = nullptr;
  };

  /// A file whose turn has come. Valid until Pop.
  struct Turn {
    std::u16string_view Name;
    CopyAhead::Verdict Decision;
    const FileStatus* Source;  ///< null when it could not be looked at
    const FileStatus* Dest;    ///< null when nothing was there
  };

  /// A folder that was opened, and its listing begun, before its turn.
  struct Listed {
    Folder Opened;
    FileStatus Status;
    std::unique_ptr<FolderReader> Reader;
    std::chrono::steady_clock::time_point At;

    /// Something has held the run up since then: the folder may have changed, and is looked at as
    /// if it never had been.
    bool IsOld() const;
  };

  /// The context has temporary names. Where there is no thread to be had, all is done in turn.
  CopyAhead(CopyContext& context, Judge judge);
  /// Takes back what is pending.
  ~CopyAhead();
  CopyAhead(const CopyAhead&) = delete;
  CopyAhead& operator=(const CopyAhead&) = delete;

  /// What is the same in the former state is made from that, in this way. It outlives this.
  void UseShared(SharedContent& shared) { shared_ = &shared; }

  /// Files are about to come: the other thread wakes up, which takes longer than to look at some.
  void Expect();
  /// The next folder that comes is this one: the other thread opens it and begins its listing,
  /// which takes the system as long as a look at twenty files, while the last files of this one
  /// have their turn. Its parent stays until EndListing. With `looks` it goes on with looks at the
  /// first files in it while there is nothing else to do; all of them are files of the run.
  void BeginListing(const Folder& parent, std::u16string_view name, bool looks);
  /// The folder that was asked for last, if it is this one, could be opened and is not old.
  std::optional<Listed> EndListing(const Folder& parent, std::u16string_view name);
  /// Forgets the folder that was asked for last.
  void DropListing();
  /// What has been looked at of the folder of the last EndListing, and not been added, is
  /// forgotten: something may take long now, and a look tells only how things were. Comes before
  /// its reader goes.
  void EndLooks();
  /// Closes a listing that has come to its end, for which a file system may take as long as for
  /// some looks.
  void Close(std::unique_ptr<FolderReader> reader);
  /// Puts a file at the end of the row, which is not full.
  void Add(const Folders& folders, std::u16string_view name);
  bool Empty() const { return first_ == end_; }
  bool Full() const { return end_ - first_ == kWindow; }

  /// Waits until the first in the row has been looked at, and copied if that was the verdict.
  Turn AwaitFront();
  /// Where the verdict was to copy: shows it as a copy that is made only now, up to its commit.
  CopyResult StageFront(StagedFile& staged);
  /// Where the verdict was to share: gives what was made. False where that could not be.
  bool TakeShared(StagedFile& staged);
  /// The first in the row is done with.
  void Pop() { ++first_; }
  /// The turn of those in the row will not come: undoes them, the last first.
  void DropAll();

 private:
  struct Item;
  struct Look {
    Result<FileStatus> Status;
    std::atomic<bool> Done = false;
  };
  static constexpr std::size_t kWindow = 64;

  Item& At(std::size_t number) const;
  void WorkerLoop();
  /// Waits until the number is another one: looks at it for a while, then sleeps.
  void WaitWhile(const std::atomic<std::uint32_t>& number, std::uint32_t old) const;
  void Sleep(const std::atomic<std::uint32_t>& number, std::uint32_t old) const;
  /// Wakes the thread that may sleep over the number, which has been changed before.
  void WakeSleeper(std::atomic<std::uint32_t>& number) const;
  /// Works on the first item that nobody has begun. False when there is none.
  bool WorkOnNext();
  /// Waits for the other thread where it has begun; nobody begins any more then.
  std::optional<Listed> TakeListing();
  /// Lists the folder that was asked for last. False when nobody is to.
  bool WorkOnListing();
  /// The worker's: there are looks to be made in what has been listed.
  void BeginLooks(const FolderReader& reader);
  /// Looks at the next file of those to come. False when there is none.
  bool WorkOnLook();
  /// Returns when nobody looks any more.
  void StopLooks();
  /// What the other thread has seen of that file; null where it has not.
  const FileStatus* TakeLook(std::u16string_view name);
  bool WorkOnClosing();
  void WorkOn(Item& item) const;
  void RollBack(const Item& item, const StagedFile& staged) const;

  CopyContext& context_;
  const Judge judge_;
  SharedContent* shared_ = nullptr;
  const std::unique_ptr<Item[]> items_;
  /// Numbers of items, counted on for ever: the first in the row, the next that nobody has begun,
  /// and the one behind the last.
  std::size_t first_ = 0;
  std::atomic<std::size_t> next_ = 0, end_ = 0;
  std::atomic<std::uint32_t> signal_ = 0;  ///< changes whenever the worker may find something
  /// What is to be listed, filled by the owner while it is Idle, and by the worker from Wanted on.
  enum ListingState : std::uint32_t { Idle, Wanted, Listing };
  const Folder* parent_ = nullptr;
  std::u16string name_;
  bool looks_wanted_ = false;
  std::optional<Listed> listed_;
  std::atomic<std::uint32_t> listing_ = ListingState::Idle;
  /// What is to be looked at in a listing; numbers of looks are counted on like those of items.
  /// Set by the worker before that listing is Idle, and by the owner once nobody looks.
  const FolderReader* look_reader_ = nullptr;
  std::size_t first_look_ = 0;
  /// The owner's: the looks are at the present folder, and the entry of it that comes next.
  bool looks_present_ = false;
  std::size_t at_look_ = 0;
  std::atomic<std::size_t> next_look_ = 0, end_look_ = 0;
  std::atomic<std::uint32_t> looking_ = 0;  ///< 1 while the worker may be at one
  const std::unique_ptr<Look[]> looks_;
  std::atomic<FolderReader*> closing_ = nullptr;     ///< owned
  mutable std::atomic<std::uint32_t> sleepers_ = 0;  ///< threads that sleep, or are about to
  std::atomic<bool> stopping_ = false;
  std::thread worker_;
};

}  // namespace kavrel
