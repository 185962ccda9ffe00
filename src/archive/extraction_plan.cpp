// What a restore of an archive would do.
#include "archive/extraction.h"
#include "archive/staging.h"
#include "files/path.h"
#include "files/place.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// Notes what would take which place.
class ExtractionPlan final : public Extraction {
 public:
  using Extraction::Extraction;

 private:
  std::u16string MakeDestination() override { return NoPlaceText(context_.Files, destination_); }

  int Place(int) override {
    Names placed;
    for (auto entry = archive_->Entries.rbegin(); entry != archive_->Entries.rend(); ++entry) {
      context_.Host.PumpMessages();
      if (context_.State.CancelRequested) return kCommandCancelled;
      const std::u16string& name = entry->FileName;
      if (!placed.insert(name).second) continue;
      if (entry->IsFolder) {
        PlanFolders(name + u"/");
        continue;
      }
      Result<FileStatus> there = StatusAtPlace(name);
      if (there.Error == kErrAccess) there = KindAtPlace(name);
      ++context_.Counters.SourceFiles;
      const auto refused = refused_.find(name);
      if (BrokenOff() || refused != refused_.end()) {
        Fail(name, BrokenOff() ? PlanReason::Unreadable : refused->second);
      } else if (there && there->Kind == FileKind::Folder) {
        Fail(name, PlanReason::Blocked);
      } else {
        PlanFolders(name);
        context_.Notes.Add(there ? PlanAction::Replace : PlanAction::Copy,
                           there ? ReasonToReplace(*entry, *there) : PlanReason::New, false, name,
                           entry->OriginalSize);
        ++context_.Counters.CopiedFiles;
        context_.Counters.CopiedBytes += entry->OriginalSize;
      }
    }
    return 0;
  }

  /// The folders that an entry lies in, as far as they are not there.
  void PlanFolders(std::u16string_view name) {
    for (std::size_t slash = name.find(u'/'); slash != name.npos;
         slash = name.find(u'/', slash + 1)) {
      const std::u16string folder(name.substr(0, slash));
      const ErrorCode error = StatusAtPlace(folder).Error;
      // What a locked folder holds is there, or not; the restore unlocks it, and has to make none.
      const bool is_new = error && (error != kErrAccess || IsNotFound(KindAtPlace(folder).Error));
      if (planned_folders_.insert(folder).second && is_new) {
        context_.Notes.Add(PlanAction::Copy, PlanReason::New, true, folder);
      }
    }
  }

  /// Of what lies in a folder that may be listed, but not looked into: all but its kind is unknown.
  Result<FileStatus> KindAtPlace(std::u16string_view name) const {
    const Result<Folder> root = context_.Files.OpenFolder(destination_);
    const Result<Folder> parent = root ? OpenParent(*root, name) : Result<Folder>::Fail(root.Error);
    if (!parent) return Result<FileStatus>::Fail(parent.Error);
    FolderReader reader(*parent);
    while (const FolderEntry* entry = reader.Next()) {
      if (entry->Name != EntryParts(name).back()) continue;
      FileStatus status;
      status.Kind = entry->Kind;
      return {status, 0};
    }
    return Result<FileStatus>::Fail(reader.Error() ? reader.Error() : kErrNotFound);
  }

  PlanReason ReasonToReplace(const IndividualInfo& entry, const FileStatus& there) const {
    if (!pick_) return PlanReason::Always;
    if (entry.IsLink || there.Kind != FileKind::File) return PlanReason::Kind;
    return there.Size == entry.OriginalSize ? PlanReason::Time : PlanReason::Size;
  }

  Names planned_folders_;
};

}  // namespace

void PlanExtraction(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
                    std::u16string_view destination, const RestorePick* pick) {
  if (!context.Library.Present()) return;
  ExtractionPlan(context, job, archive_path, destination, pick).Run();
}

}  // namespace kavrel
