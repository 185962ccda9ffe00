#include "engine/tree_count.h"

#include "base/text.h"
#include "files/path.h"

namespace kavrel {

TreeCount::TreeCount(const FileSystem& files, std::u16string_view from, std::u16string_view to,
                     bool subfolders, const BackupJob* job, const ExclusionSet* exclusions)
    : file_system_(files),
      to_(AddBackslash(to)),
      exclusions_(exclusions && exclusions->ExcEnabled ? exclusions : nullptr),
      subfolders_(subfolders),
      path_(AddBackslash(from)),
      root_length_(path_.size()) {
  if (job) choice_.emplace(*job);
}

bool TreeCount::Advance(std::size_t entries) {
  if (!started_) {
    started_ = true;
    if (const Result<Folder> dest = file_system_.OpenFolder(to_)) {
      dest_root_ = IdentityOf(*dest);
    }
    Enter(file_system_.OpenFolder(path_), 0);
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
  return done_;
}

void TreeCount::Enter(Result<Folder> folder, std::size_t path_length) {
  bool out = PathStartsWith(path_, to_) || (exclusions_ && exclusions_->IsFolderExcluded(path_));
  if (only_ && path_.size() > root_length_) {
    const std::u16string relative =
        Relative(std::u16string_view(path_).substr(0, path_.size() - 1));
    out = out || !(only_->Holds(relative) || only_->LeadsTo(relative));
  }
  const Result<FileStatus> status = folder ? folder->Status() : Result<FileStatus>();
  if (out || !folder || !status || dest_root_.Is(*status)) {
    path_.resize(path_length);
    done_ = levels_.empty();
    return;
  }
  excluded_here_ = exclusions_ ? exclusions_->In(path_) : FolderExclusions();
  levels_.push_back({std::move(*folder), {}, 0, path_length});
  reader_ = std::make_unique<FolderReader>(levels_.back().Folder);
}

std::u16string TreeCount::Relative(std::u16string_view path) const {
  const std::u16string relative(path.substr(root_length_));
  return PathSeparator(path_) == u'\\' ? ReplaceAll(relative, u"\\", u"/") : relative;
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
  if (entry.Kind == FileKind::Folder) {
    if (subfolders_) levels_.back().Subfolders.push_back(entry.Name);
    return;
  }
  if (only_ && !only_->Holds(Relative(path_ + entry.Name))) return;
  const std::uint64_t times = choice_ ? choice_->TimesTaken(entry.Name) : 1;
  files_counted_ += times;
  if (times == 0 || entry.Kind == FileKind::Special) return;
  if (excluded_here_.IsFileExcluded(entry.Name)) return;
  const Result<FileStatus> status = levels_.back().Folder.Status(entry.Name);
  if (!status || (choice_ && !choice_->WithinSizeLimit(*status))) return;
  bytes_ += times * status->Size;
}

}  // namespace kavrel
