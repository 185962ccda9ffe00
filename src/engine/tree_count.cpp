#include "engine/tree_count.h"

#include "files/path.h"

namespace kavrel {

TreeCount::TreeCount(const FileSystem& files, std::u16string_view from, std::u16string_view to,
                     Scope scope)
    : file_system_(files),
      to_(AddBackslash(to)),
      scope_(std::move(scope)),
      path_(AddBackslash(from)) {}

bool TreeCount::Advance(std::size_t entries) {
  if (!started_) {
    started_ = true;
    Result<Folder> source = file_system_.OpenFolder(path_);
    if (Result<Folder> dest = file_system_.OpenFolder(to_)) {
      dest_ = std::move(*dest);
      scope_.SetOwn(dest_, source ? &*source : nullptr);
    }
    Enter(std::move(source), 0);
  }
  for (; entries > 0 && !done_; --entries) {
    if (reader_) {
      if (const FolderEntry* entry = reader_->Next()) {
        Take(*entry);
      } else {
        reader_.reset();
      }
    } else {
      EnterNext();
    }
  }
  // Its disk may be taken away now.
  if (done_) dest_ = Folder();
  return done_;
}

void TreeCount::Enter(Result<Folder> folder, std::size_t path_length) {
  const Result<FileStatus> status = folder ? folder->Status() : Result<FileStatus>();
  const bool own = status && (levels_.empty() ? scope_.IsOwnRoot(path_, *folder)
                                              : scope_.IsOwn(path_, *folder, *status));
  if (!status || own || scope_.IsExcluded(path_)) {
    path_.resize(path_length);
    done_ = levels_.empty();
    return;
  }
  levels_.push_back({std::move(*folder), {}, scope_.In(path_), 0, path_length});
  reader_ = std::make_unique<FolderReader>(levels_.back().Folder);
}

void TreeCount::EnterNext() {
  Level& level = levels_.back();
  if (level.Next == level.Subfolders.size()) {
    path_.resize(level.PathLength);
    levels_.pop_back();
    done_ = levels_.empty();
    return;
  }
  const std::u16string name = std::move(level.Subfolders[level.Next++]);
  const std::size_t length = path_.size();
  path_ += name;
  path_ += PathSeparator(path_);
  Enter(level.Folder.OpenFolder(name), length);
}

void TreeCount::Take(const FolderEntry& entry) {
  Level& level = levels_.back();
  if (entry.Kind == FileKind::Folder) {
    if (level.Here.TakesFolder(entry.Name)) level.Subfolders.push_back(entry.Name);
    return;
  }
  const std::uint32_t times = level.Here.TimesTaken(entry.Name);
  files_counted_ += times;
  if (times == 0 || level.Here.LeavesOut(entry)) return;
  const Result<FileStatus> status = level.Folder.Status(entry.Name);
  if (!status || !scope_.WithinSizeLimit(*status)) return;
  bytes_ += times * status->Size;
}

}  // namespace kavrel
