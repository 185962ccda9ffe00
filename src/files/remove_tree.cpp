#include "files/remove_tree.h"

#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// Empties folders, two at a time where there is a second thread to be had: most of a removal is
/// waiting for the disk's journal.
class Remover {
 public:
  explicit Remover(std::uint64_t mount) : mount_(mount) {}
  ~Remover() {
    if (!helper_.joinable()) return;
    {
      const std::lock_guard lock(mutex_);
      over_ = true;
    }
    wake_.notify_all();
    helper_.join();
  }
  Remover(const Remover&) = delete;
  Remover& operator=(const Remover&) = delete;

  /// For the thread that made this. `last`: an entry that stays.
  ErrorCode Empty(const Folder& folder, std::u16string_view last) {
    return EmptyShared(folder, last, true);
  }

 private:
  /// A folder that the other thread empties.
  struct Task {
    std::u16string Name;
    Folder Opened;
    std::optional<ErrorCode> Result;
    std::exception_ptr Thrown;
  };

  ErrorCode EmptyShared(const Folder& folder, std::u16string_view last, bool shares) {
    const Result<FileStatus> status = folder.Status();
    if (!status) return status.Error;
    if (status->Mount != mount_) return kErrAccess;
    folder.MakeWritable();
    ErrorCode first = 0;
    const auto note = [&first](ErrorCode error) {
      if (!first) first = error;
    };
    std::vector<std::shared_ptr<Task>> given;
    FolderReader reader(folder);
    while (const FolderEntry* entry = reader.Next()) {
      if (!last.empty() && entry->Name == last) continue;
      if (entry->Kind != FileKind::Folder) {
        note(folder.RemoveFile(entry->Name));
        continue;
      }
      const std::u16string name(entry->Name);
      Result<Folder> inner = folder.OpenFolder(name);
      if (!inner) {
        note(inner.Error);
      } else if (!shares || !Give(given, name, *inner)) {
        const ErrorCode error = EmptyShared(*inner, {}, shares);
        note(error ? error : folder.RemoveFolder(name));
      }
    }
    note(reader.Error());
    for (const std::shared_ptr<Task>& task : given) {
      const ErrorCode error = Await(*task);
      note(error ? error : folder.RemoveFolder(task->Name));
    }
    return first;
  }

  /// Hands a folder to the other thread, if that has nothing to do.
  bool Give(std::vector<std::shared_ptr<Task>>& given, const std::u16string& name, Folder& folder) {
    if (alone_) return false;
    if (!helper_.joinable()) {
      try {
        helper_ = std::thread([this] { Help(); });
      } catch (const std::exception&) {
        // Out of threads or memory.
        alone_ = true;
        return false;
      }
    }
    const std::lock_guard lock(mutex_);
    if (task_) return false;
    given.push_back(std::make_shared<Task>(Task{name, std::move(folder), {}, {}}));
    task_ = given.back();
    wake_.notify_all();
    return true;
  }

  ErrorCode Await(Task& task) {
    std::unique_lock lock(mutex_);
    wake_.wait(lock, [&] { return task.Result.has_value(); });
    if (task.Thrown) std::rethrow_exception(task.Thrown);
    return *task.Result;
  }

  void Help() {
    std::unique_lock lock(mutex_);
    for (;;) {
      wake_.wait(lock, [this] { return over_ || task_; });
      if (!task_) return;
      const std::shared_ptr<Task> task = task_;
      lock.unlock();
      ErrorCode error = 0;
      try {
        error = EmptyShared(task->Opened, {}, false);
      } catch (const std::exception&) {
        task->Thrown = std::current_exception();
      }
      // Of many that wait for their turn to be removed only the names are kept.
      task->Opened = Folder();
      lock.lock();
      task->Result = error;
      task_ = nullptr;
      wake_.notify_all();
    }
  }

  const std::uint64_t mount_;
  bool alone_ = std::thread::hardware_concurrency() < 2;
  std::thread helper_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::shared_ptr<Task> task_;  ///< what the other thread is at
  bool over_ = false;
};

}  // namespace

ErrorCode RemoveTree(const Folder& parent, std::u16string_view name, std::u16string_view last) {
  const Result<FileStatus> here = parent.Status();
  const Result<Folder> folder = parent.OpenFolder(name);
  if (!here || !folder) return here ? folder.Error : here.Error;
  ErrorCode error = Remover(here->Mount).Empty(*folder, last);
  if (!error && !last.empty()) error = folder->RemoveFile(last);
  if (error && !IsNotFound(error)) return error;
  return parent.RemoveFolder(name);
}

}  // namespace kavrel
