// What a walk does with files of several names (engine/hard_links.h).
#include <algorithm>
#include <utility>

#include "engine/tree_walk.h"
#include "platform/error_codes.h"

namespace kavrel {

void TreeWalk::NoteLeft(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                        const FileStatus& dest, bool again) {
  if (source.Links > 1) NoteFirst(pair, name, {}, source, &dest);
  if (dest.Links > 1 && !again) links_.NoteOwner(source, dest);
}

void TreeWalk::NoteFirst(const FolderPair& pair, std::u16string_view name,
                         std::u16string_view temp_name, const FileStatus& source,
                         const FileStatus* dest) {
  links_.NoteFirst(pair, name, temp_name, source, dest);
  if (links_.IsFull()) TellOnce(told_full_, u": 硬連結過多，其餘個別複製：", paths_.SourceOf(name));
}

void TreeWalk::TellOnce(bool& told, std::u16string_view text, std::u16string_view what) {
  if (!std::exchange(told, true)) context_.LogTimed(text, what);
}

bool TreeWalk::TakeAsLink(const FolderPair& pair, std::u16string_view name,
                          const FileStatus& source, const FileStatus* dest, bool again) {
  HardLinks::FirstCopy* const first = links_.Find(source, again);
  const bool in_the_way = dest && dest->Kind == FileKind::Folder;
  if (!first || in_the_way || !scope_.WithinSizeLimit(source)) return false;
  const bool equal = NeedsNoCopy(&source, dest, options_.Compare);
  if (!equal && KeepsNewer(&source, dest)) return false;
  if (equal && dest && first->Is(*dest)) {
    if (!again) links_.NoteOwner(source, *dest);
    LeaveAsItIs(name);
    return true;
  }
  if (!context_.Plan) return LinkOneFile(*first, pair, name, dest, equal);
  PlanLink(name, dest, equal);
  return true;
}

bool TreeWalk::LinkOneFile(HardLinks::FirstCopy& first, const FolderPair& pair,
                           std::u16string_view name, const FileStatus* dest, bool equal) {
  if (!PassesMayChange()) return true;
  StagedFile staged;
  if (const ErrorCode error = links_.Stage(first, pair, name, dest, dest_.Names(), staged)) {
    if (IsBeyondLinks(error)) {
      TellOnce(told_no_link_, u": 目標無法建立硬連結，個別複製：", paths_.SourceOf(name));
    }
    return false;
  }
  ShowDone(name);
  if (equal) {
    ++context_.Counters.UnchangedFiles;
    dest_.AddRelink(pair, paths_.Dest(), std::move(staged));
  } else {
    dest_.AddCopy(pair, paths_.Dest(), {false, false, {}, 0}, std::move(staged),
                  paths_.SourceOf(name));
  }
  return true;
}

void TreeWalk::PlanLink(std::u16string_view name, const FileStatus* dest, bool equal) {
  RunPlan& plan = *context_.Plan;
  const PlanAction action = equal  ? PlanAction::Update
                            : dest ? PlanAction::Replace
                                   : PlanAction::Copy;
  plan.Add(action, PlanReason::Linked, false, BelowRoot(name));
  if (dest) plan.NetBytes -= RoomOf(*dest);
  ++(equal ? context_.Counters.UnchangedFiles : context_.Counters.CopiedFiles);
}

void TreeWalk::NoteCopied(const FolderPair& pair, std::u16string_view name,
                          const StagedFile& staged, const FileStatus& source) {
  if (!options_.KeepLinks || source.Kind != FileKind::File || source.Links < 2) return;
  if (context_.Plan) return NoteFirst(pair, name, {}, source, nullptr);
  const bool unnamed = staged.TempName == staged.Name;
  const Result<FileStatus> dest = pair.Dest.Status(staged.TempName);
  if (!dest) return;
  NoteFirst(pair, name, unnamed ? std::u16string_view() : staged.TempName, source, &*dest);
}

/// Why a file is copied whose content is the same.
PlanReason TreeWalk::ReasonBeside(const FileStatus& source, const FileStatus& dest) const {
  if (source.Kind == FileKind::Link) return PlanReason::LinkTarget;
  return links_.IsAnothers(source, dest) ? PlanReason::Linked : PlanReason::Attributes;
}

std::int64_t TreeWalk::RoomOf(const FileStatus& dest) {
  const std::uint64_t names = std::max<std::uint64_t>(dest.Links, 1);
  return static_cast<std::int64_t>(std::min(dest.Size, dest.Allocated) / names);
}

}  // namespace kavrel
