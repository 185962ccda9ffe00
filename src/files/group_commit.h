// What a run changes at its destination, group by group: nothing old is given up before what the
// run relies on instead is on the disk, and yet files are not synced one by one. A change (a staged
// copy that is to get its name, a file that is to go) is put into the present group. When the group
// is full, a thread syncs the disks that it lies on, while the run goes on with the next group;
// then the changes are made, in the order they were put in.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "files/disk_wait.h"
#include "files/late_release.h"
#include "files/progress_sink.h"
#include "files/run_state.h"
#include "files/temp_names.h"
#include "platform/files.h"

namespace kavrel {

/// An open folder of the destination, shared by the changes in it. Another thread may sync it; all
/// but `Opened` is for the run's own.
struct CommitFolder {
  Folder Opened;
  std::u16string Path;  ///< with its final separator
  std::uint64_t Device = 0;
  DiskManners Manners;
  std::shared_ptr<const CommitFolder> Parent;  ///< of a new folder: the one that it was made in
  mutable bool Lost = false;   ///< it could not get its name: nothing in it can be reached
  mutable bool Going = false;  ///< it is being emptied to be removed: nobody holds it longer

  bool IsLost() const {
    const CommitFolder* at = this;
    while (at && !at->Lost) at = at->Parent.get();
    return at;
  }
};

class GroupCommit;

/// One change. Both are called by the run's own thread, one of them once.
class Change {
 public:
  virtual ~Change() = default;
  /// Makes it, counts it, tells what failed. What it replaced or removed may be held and handed to
  /// `group`.
  virtual void Commit(GroupCommit& group) = 0;
  /// It must not be made: the disk does not have what it relies on (`why`), or the run was
  /// cancelled (0). Undoes what was prepared, and tells.
  virtual void GiveUp(ErrorCode why) = 0;
  /// Of a cancelled run, when there is no time left for GiveUp: touches no disk. What was prepared
  /// is left to the journal.
  virtual void Abandon() {}
  /// A name that is about to change, where a power cut might take both names of the file.
  virtual std::optional<NameChange> Naming() const { return std::nullopt; }
  /// Whether a file takes the name of another.
  virtual bool Replaces() const { return false; }
};

/// All functions are for the run's own thread.
class GroupCommit {
 public:
  /// All outlive this. While something is awaited the pump is called, so that nothing freezes.
  GroupCommit(RunState& state, MessagePump& pump, TempNames& names);
  /// Gives up what is pending.
  ~GroupCommit();
  GroupCommit(const GroupCommit&) = delete;
  GroupCommit& operator=(const GroupCommit&) = delete;

  /// From now on the room of what is replaced or removed is given back by this, which outlives
  /// this.
  void UseRelease(LateRelease* release) { release_ = release; }

  /// Called before a sync is begun: what is to be on the disk with it.
  void UseJournal(std::function<void()> journal) { journal_ = std::move(journal); }

  /// A handle of its own on a folder. Waits for pending changes where there are too many open
  /// files.
  Result<std::shared_ptr<const CommitFolder>> Share(
      const Folder& folder, std::u16string_view path,
      std::shared_ptr<const CommitFolder> parent = nullptr);

  /// `bytes`: what was written to the disk for it.
  void AddStaged(std::shared_ptr<const CommitFolder> folder, std::unique_ptr<Change> change,
                 std::uint64_t bytes);
  /// A change for which nothing was written. Made at once when nothing is pending.
  void Add(std::shared_ptr<const CommitFolder> folder, std::unique_ptr<Change> change);
  /// Names in this folder have changed already, and are to be on the disk at the end.
  void NoteChanged(const std::shared_ptr<const CommitFolder>& folder);
  /// For a Change: what it replaced or removed, whose room is to be given back when that is safe.
  void LetGo(const CommitFolder& folder, File held);

  /// Makes a few changes whose group has reached the disk. To be called often.
  void Advance();
  /// Waits until all changes so far are made.
  void Flush();
  bool Pending() const;
  /// Flush, and returns when everything is on the disk. The first error of a disk, which changes
  /// already made may be lost by. When the run is cancelled before or meanwhile, waits for a second
  /// or so at most and gives up what the disk does not have by then.
  ErrorCode Settle();

 private:
  using SteadyClock = std::chrono::steady_clock;
  struct Item {
    std::shared_ptr<const CommitFolder> Place;
    std::unique_ptr<kavrel::Change> Change;
  };
  struct Group {
    std::vector<Item> Items;
    std::size_t Done = 0;
    std::uint64_t Bytes = 0;
    std::size_t Folders = 0;
    std::size_t Held = 0;  ///< changes that may hold what they replace until they are on the disk
    bool Staged = false;   ///< something was written for it
    ErrorCode Error = 0;
    SteadyClock::time_point Begun;
  };

  void Put(std::shared_ptr<const CommitFolder> folder, std::unique_ptr<Change> change);
  bool Full() const;
  /// Hands the present group to the thread; waits for the one before it.
  void Close();
  /// Takes the group that is to be synced next from what is pending.
  Group TakeNext();
  void StartSync();
  /// Waits for the thread, until the deadline if there is one; false when it has not come back.
  bool AwaitSync();
  /// True when the run is cancelled and has waited for long enough.
  bool GivesUpWaiting();
  void TakeSynced();
  /// Makes up to `most` changes of the group whose turn it is, and fewer when a cancelled run has
  /// waited for long enough.
  void Make(std::size_t most);
  /// This one, or gives it up for the error or because its folder cannot be reached.
  void MakeOne(const Item& item, ErrorCode error);
  /// All of them; false when it was fewer.
  bool MakeAll();
  /// Lets the host live where changes take long.
  void PumpNowAndThen();
  void GiveUpAll(ErrorCode why);
  void NoteFolder(const std::shared_ptr<const CommitFolder>& folder);
  void NoteDisk(const std::shared_ptr<const CommitFolder>& folder);
  void Adapt(std::chrono::duration<double> took);

  RunState& state_;
  MessagePump& pump_;
  TempNames& names_;
  const std::size_t most_folders_;
  LateRelease* release_ = nullptr;
  std::function<void()> journal_;
  Group filling_;
  std::optional<Group> synced_;   ///< on the disk, its changes are being made
  std::optional<Group> waiting_;  ///< at the thread
  std::optional<DiskWait> syncing_;
  /// One folder of each disk, opened at its first change and held: errors of a disk are told to
  /// the handle that was open when they came up.
  std::vector<std::shared_ptr<const CommitFolder>> disks_;
  /// Folders with changes that the last sync does not cover, as far as they are to be synced by
  /// themselves, before the disk.
  std::vector<std::shared_ptr<const CommitFolder>> changed_;
  std::vector<File> held_;  ///< until these changes are on the disk
  bool dirty_ = false;      ///< something was changed since the last sync began
  ErrorCode error_ = 0;
  std::size_t most_items_, most_bytes_;
  std::optional<SteadyClock::time_point> cancelled_at_;
  SteadyClock::time_point pumped_at_ = SteadyClock::now();
};

}  // namespace kavrel
