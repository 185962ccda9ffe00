#include "engine/effects.h"

#include <utility>

#include "engine/copy_reason.h"
#include "engine/former_state.h"
#include "engine/read_sum.h"
#include "files/error_text.h"
#include "files/path.h"

namespace kavrel {

namespace {

// More than that is not left in a folder of temporary name: it would be gone if the run were
// killed.
constexpr std::uint32_t kMostUnnamed = 1000;
constexpr std::uint64_t kMostUnnamedBytes = std::uint64_t{64} << 20;

}  // namespace

Effects::Effects(RunContext& context, const BackupJob& job, std::u16string_view file_failed_text)
    : context_(context),
      job_(job),
      root_(AddBackslash(job.Destination.WorkPath)),
      file_failed_text_(file_failed_text) {}

bool Effects::WantsName(const FolderPair& pair) {
  return pair.Unnamed &&
         (pair.Unnamed->Files >= kMostUnnamed || pair.Unnamed->Staged >= kMostUnnamedBytes);
}

void Effects::CountUpdated(std::u16string_view path) {
  ++context_.Report.Counters.UpdatedAttributes;
  context_.LogTimed(u": 更新屬性 (成功)：", path);
}

bool Effects::SeesDifference(const FolderPair& pair, std::u16string_view name,
                             const FileStatus& source, const FileStatus& dest) const {
  return metadata_->Differs(source, dest) || AttributesDiffer(pair, name, source, dest);
}

bool Effects::AttributesDiffer(const FolderPair& pair, std::u16string_view name,
                               const FileStatus& source, const FileStatus& dest) const {
  return metadata_->AttributesMayDiffer(source, dest) &&
         pair.Dest.UpdateMetadata(name, source, pair.Source, true).Attributes;
}

bool Effects::NeedsOwnCopy(const FileTurn& file) const {
  const FileStatus& dest = *file.Dest;
  if (dest.Kind == FileKind::Folder || dest.Links < 2 || !metadata_) return false;
  if (metadata_->Differs(file.Source, dest)) {
    return metadata_->IsKnown() || !futile_.contains(RightsOf(file.Source, dest));
  }
  return AttributesDiffer(file.Pair, file.Name, file.Source, dest);
}

Effects::Rights Effects::RightsOf(const FileStatus& source, const FileStatus& dest) {
  return {source.Mode, source.Owner, source.Group, dest.Mode, dest.Owner, dest.Group};
}

void Effects::NoteLeft(const FileTurn& file, bool again) {
  if (links_.HasSeveral(file.Source)) {
    NoteFirst(file.Pair, file.Paths, file.Name, {}, file.Source, file.Dest);
    if (!IsUntouchedSince(file.Source, *file.Dest, 0)) links_.NoteUnproved(file.Source);
  }
  if (file.Dest->Links > 1 && !again) links_.NoteOwner(file.Source, *file.Dest);
}

bool Effects::AreEqual(const Folder& one, std::u16string_view name, const Folder& other,
                       std::u16string_view other_name) {
  SumReader reader(context_);
  const std::optional<ContentSum> sum = reader.Read(one, name);
  return sum && reader.Read(other, other_name) == sum;
}

bool Effects::MayBecome(HardLinks::FirstCopy& first, const FileTurn& file) {
  if (!first.Unproved) return true;
  const Folder* const folder = links_.FolderOf(first, file.Pair);
  if (!folder || !AreEqual(file.Pair.Source, file.Name, *folder, first.Name)) return false;
  first.Unproved = false;
  return true;
}

bool Effects::HasItsContent(const FormerCopy& copy, const FileTurn& file) {
  return copy.Proved || AreEqual(file.Pair.Source, file.Name, copy.Opened, copy.Name);
}

void Effects::NoteFirst(const FolderPair& pair, WalkPaths& paths, std::u16string_view name,
                        std::u16string_view temp_name, const FileStatus& source,
                        const FileStatus* dest) {
  links_.NoteFirst(pair, name, temp_name, source, dest);
  if (links_.IsFull()) TellOnce(told_full_, u": 硬連結過多，其餘個別複製：", paths.SourceOf(name));
}

void Effects::TellOnce(bool& told, std::u16string_view text, std::u16string_view what) {
  if (!std::exchange(told, true)) context_.LogTimed(text, what);
}

void Effects::CountFileGone(ErrorCode error, std::u16string_view name, const SharedEmptying& in) {
  RunCounters& counters = context_.Report.Counters;
  if (!error) {
    ++(job_.UseRecycleBin ? counters.RecycledFiles : counters.SyncDeletedFiles);
    if (in) ++counters.SourceFiles;
  } else if (in) {
    ++counters.FailedFiles;
    in->Whole = false;
  } else {
    context_.Fail(job_.UseRecycleBin ? u": 移到資源回收筒 (失敗)：" : u": 刪除檔案 (失敗)：", name,
                  error);
  }
}

void Effects::CountFolderGone(ErrorCode error, std::u16string_view path, const SharedEmptying& in) {
  RunCounters& counters = context_.Report.Counters;
  if (!error) {
    ++(job_.UseRecycleBin ? counters.RecycledFolders : counters.SyncDeletedFolders);
    return;
  }
  if (in) in->Whole = false;
  context_.Fail(job_.UseRecycleBin ? u": 移到資源回收筒 (失敗)：" : u": 刪除目錄 (失敗)：", path,
                error);
  context_.Notes.Add(PlanAction::Fail, PlanReason::Blocked, true, BelowRoot(path));
}

}  // namespace kavrel
