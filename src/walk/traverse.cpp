#include "walk/traverse.h"

#include "files/folder_identity.h"
#include "files/path.h"

namespace kavrel {

Traverse::Traverse(const FileSystem& files, std::u16string_view root, std::u16string_view own,
                   Scope scope, TreeVisitor& visitor)
    : files_(files),
      own_path_(own),
      visitor_(visitor),
      scope_(std::move(scope)),
      path_(AddBackslash(root)) {}

bool Traverse::Advance(std::size_t steps) {
  if (!begun_) {
    begun_ = true;
    Enter(nullptr, {}, 0);
  }
  for (; steps > 0 && !done_; --steps) {
    if (!visitor_.GoesOn()) {
      End();
    } else if (reader_) {
      ReadOn();
    } else {
      EnterNext();
    }
  }
  return done_;
}

void Traverse::Enter(const Folder* parent, std::u16string name, std::size_t parent_length) {
  const auto stay_out = [&] {
    path_.resize(parent_length);
    if (!parent) End();
  };
  // What a rule leaves out is not even opened: it may be what hangs.
  if (scope_.IsExcluded(path_)) {
    visitor_.LeaveOut(path_, name, PlanReason::Rule);
    return stay_out();
  }
  Result<Folder> folder = parent ? parent->OpenFolder(name) : files_.OpenFolder(path_);
  const Result<FileStatus> status = StatusOf(folder);
  if (!status) {
    visitor_.Fail(path_, name, status.Error);
    return stay_out();
  }
  if (!parent && !own_path_.empty()) {
    if (Result<Folder> own = files_.OpenFolder(AddBackslash(own_path_))) {
      own_ = std::move(*own);
      scope_.SetOwn(own_, &*folder);
    }
  }
  if (parent ? scope_.IsOwn(path_, *folder, *status) : scope_.IsOwnRoot(path_, *folder)) {
    visitor_.LeaveOut(path_, name, PlanReason::OwnPlace);
    return stay_out();
  }
  levels_.push_back(
      {std::move(*folder), *status, std::move(name), scope_.In(path_), parent_length});
  const Level& level = levels_.back();
  if (visitor_.Enter(Told(level))) {
    reader_.emplace(level.Opened);
    return;
  }
  levels_.pop_back();
  stay_out();
}

void Traverse::ReadOn() {
  Level& level = levels_.back();
  const TraversedFolder in = Told(level);
  const FolderEntry* entry = reader_->Next();
  if (!entry) {
    const ErrorCode error = reader_->Error();
    reader_.reset();
    visitor_.Listed(in, error);
  } else if (entry->Kind != FileKind::Folder) {
    visitor_.TakeFile(in, *entry, level.Here.TimesTaken(entry->Name));
  } else if (visitor_.TakeSubfolder(in, *entry, level.Here.TakesFolder(entry->Name))) {
    level.Subfolders.push_back(entry->Name);
  }
}

void Traverse::EnterNext() {
  Level& level = levels_.back();
  if (level.Next < level.Subfolders.size()) {
    const std::size_t length = path_.size();
    std::u16string name = std::move(level.Subfolders[level.Next++]);
    path_ += name;
    path_ += PathSeparator(path_);
    return Enter(&level.Opened, std::move(name), length);
  }
  visitor_.Leave(Told(level));
  path_.resize(level.PathLength);
  levels_.pop_back();
  if (levels_.empty()) End();
}

void Traverse::End() {
  done_ = true;
  // Their disks may be taken away now.
  reader_.reset();
  levels_.clear();
  own_ = Folder();
}

}  // namespace kavrel
