#include "archive/staging.h"

#include <algorithm>

#include "base/text.h"
#include "files/folder_identity.h"
#include "files/open_along.h"
#include "files/path.h"
#include "files/remove_tree.h"
#include "files/temp_names.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

constexpr std::uint32_t kOwnerMay = 0700;

/// Makes a change in a folder that may be read-only, which it stays.
template <typename Change>
ErrorCode ChangeIn(const Folder& folder, Change change) {
  const ErrorCode error = change();
  if (error != kErrAccess) return error;
  const Result<FileStatus> before = folder.Status();
  if (!before || folder.MakeWritable() != 0) return error;
  const ErrorCode again = change();
  folder.SetAttributes(*before, folder);
  return again;
}

}  // namespace

std::vector<std::u16string_view> EntryParts(std::u16string_view name) {
  std::vector<std::u16string_view> parts = Split(name, u'/');
  std::erase(parts, std::u16string_view());
  return parts;
}

Result<Folder> OpenParent(const Folder& root, std::u16string_view name) {
  std::vector<std::u16string_view> parts = EntryParts(name);
  if (!parts.empty()) parts.pop_back();
  return OpenAlong(root.Reopen(), parts);
}

Staging::Staging(const FileSystem& files, Clock& clock, StagingJournal& journal,
                 std::u16string_view destination, LeftAlone left_alone)
    : journal_(journal),
      left_alone_(std::move(left_alone)),
      destination_(AddBackslash(destination)) {
  Result<Folder> root = files.OpenFolder(destination);
  if (!root || (left_alone_ && left_alone_(destination_, *root))) return;
  root_ = std::move(*root);
  std::uint64_t number = FirstTempNumber(clock.Now());
  for (; !staged_; ++number) {
    name_ = TempName(number);
    record_ = journal_.BeginFolder(destination_, number);
    Result<Folder> made = root_.MakeFolder(name_);
    const Result<FileStatus> before = root_.Status();
    if (made.Error == kErrAccess && before && root_.MakeWritable() == 0) {
      root_before_ = *before;
      made = root_.MakeFolder(name_);
    }
    if (made) {
      staged_ = std::move(*made);
    } else {
      // It may be there all the same, made and not to be opened: then the record has it removed.
      if (!IsTaken(made.Error)) return;
      journal_.End(record_);
    }
  }
  path_ = destination_ + name_ + PathSeparator(destination_);
}

Staging::~Staging() {
  Clear();
  if (root_before_) root_.SetAttributes(*root_before_, root_);
  if (cleared_) journal_.End(record_);
}

void Staging::Clear() {
  if (!staged_) return;
  staged_ = Folder();
  cleared_ = RemoveTree(root_, name_) == 0;
}

Result<FileStatus> Staging::Status(std::u16string_view name) const {
  const Result<Folder> parent = OpenParent(staged_, name);
  return StatusIn(parent, EntryParts(name).back());
}

Result<File> Staging::Open(std::u16string_view name) const {
  const Result<Folder> parent = OpenParent(staged_, name);
  return parent ? parent->OpenFile(EntryParts(name).back()) : Result<File>::Fail(parent.Error);
}

ErrorCode Staging::MakeLink(std::u16string_view name, std::u16string_view target,
                            FileTime written) const {
  Result<Folder> folder = staged_.Reopen();
  std::vector<std::u16string_view> parts = EntryParts(name);
  const std::u16string_view last = parts.back();
  parts.pop_back();
  for (const std::u16string_view part : parts) {
    if (!folder) break;
    Result<Folder> next = folder->OpenFolder(part);
    if (IsNotFound(next.Error)) next = folder->MakeFolder(part);
    folder = std::move(next);
  }
  if (!folder) return folder.Error;
  folder->RemoveFile(last);
  if (const ErrorCode error = folder->MakeLink(last, target)) return error;
  return SetWritten(name, written);
}

ErrorCode Staging::SetWritten(std::u16string_view name, FileTime written) const {
  const Result<Folder> parent = OpenParent(staged_, name);
  if (!parent) return parent.Error;
  const std::u16string_view last = EntryParts(name).back();
  Result<FileStatus> status = parent->Status(last);
  if (!status) return status.Error;
  status->Accessed = status->Written = written;
  return parent->SetLinkTimes(last, *status);
}

ErrorCode Staging::SetPermissions(std::u16string_view name, std::uint32_t bits) const {
  const Result<Folder> parent = OpenParent(staged_, name);
  if (!parent) return parent.Error;
  Result<File> file = parent->OpenFile(EntryParts(name).back());
  if (!file) return file.Error;
  Result<FileStatus> status = file->Status();
  if (!status) return status.Error;
  constexpr std::uint32_t kBits = 0777;
  status->Mode = (status->Mode & ~kBits) | bits;
  return file->SetAttributes(*status, *file);
}

void Staging::NoteFolder(std::u16string_view name) {
  const Result<FileStatus> status = Status(name);
  if (status) folders_.emplace_back(name, *status);
}

Result<Folder> Staging::OpenPlace(const std::vector<std::u16string_view>& parts) const {
  Result<Folder> from = staged_.Reopen(), to = root_.Reopen();
  std::u16string path = destination_;
  for (const std::u16string_view part : parts) {
    if (!from) return from;
    if (!to) return to;
    from = from->OpenFolder(part);
    if (!from) return from;
    from->MakeWritable();
    Result<Folder> next = Result<Folder>::Fail(kErrAccess);
    ChangeIn(*to, [&] {
      next = to->OpenFolder(part);
      return next.Error;
    });
    const auto make = [&] {
      next = to->MakeFolder(part);
      return next.Error;
    };
    if (IsNotFound(next.Error) && ChangeIn(*to, make) == 0) {
      Result<FileStatus> like = from->Status();
      like->Mode |= kOwnerMay;
      next->SetAttributes(*like, *from);
    }
    to = std::move(next);
    (path += part) += PathSeparator(path);
    if (to && left_alone_ && left_alone_(path, *to)) return Result<Folder>::Fail(kErrNoDevice);
  }
  return to;
}

ErrorCode Staging::Sync(std::u16string_view name) const {
  const Result<Folder> parent = OpenParent(staged_, name);
  if (!parent) return parent.Error;
  const Result<FileStatus> status = parent->Status(EntryParts(name).back());
  if (!status || status->Kind != FileKind::File) return status.Error;
  return parent->SyncFile(EntryParts(name).back());
}

ErrorCode Staging::Place(std::u16string_view name, File& replaced) const {
  std::vector<std::u16string_view> parts = EntryParts(name);
  const std::u16string_view last = parts.back();
  parts.pop_back();
  const Result<Folder> to = OpenPlace(parts);
  if (!to) return to.Error;
  const Result<Folder> from = OpenAlong(staged_.Reopen(), parts);
  if (!from) return from.Error;
  Result<File> held = to->HoldEntry(last);
  if (const ErrorCode error = ChangeIn(*to, [&] { return to->TakeOver(*from, last); })) {
    return error;
  }
  if (held) replaced = std::move(*held);
  if (to->Manners().KeepsOrder) return 0;
  // A new entry must not reach the disk without its record, nor an old one change before the other
  // is gone.
  if (!held) to->SyncFile(last);
  const ErrorCode error = from->Sync();
  if (error) return error;
  if (held) to->SyncFile(last);
  return to->Sync();
}

ErrorCode Staging::FinishFolders() const {
  ErrorCode first = 0;
  std::vector<std::pair<std::u16string, FileStatus>> folders = folders_;
  // What is inside comes before what it is in, whose times it would change.
  std::sort(folders.begin(), folders.end(),
            [](const auto& a, const auto& b) { return a.first.size() > b.first.size(); });
  for (const auto& [name, like] : folders) {
    const std::vector<std::u16string_view> parts = EntryParts(name);
    const Result<Folder> from = OpenAlong(staged_.Reopen(), parts), to = OpenPlace(parts);
    ErrorCode error = from ? to.Error : from.Error;
    if (!error) error = to->SetAttributes(like, *from);
    if (!error) error = to->SetTimes(like);
    if (!first) first = error;
  }
  return first;
}

}  // namespace kavrel
