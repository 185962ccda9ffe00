// A walk through a source tree, depth first, that carries the open folders of both sides along: for
// each folder its files first, then its subfolders. What a backup and a restore do differently is
// in the virtual functions.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/effects.h"
#include "files/twin_names.h"
#include "walk/scope.h"
#include "walk/source_place.h"

namespace kavrel {

class TreeWalk {
 public:
  virtual ~TreeWalk() = default;

  /// Walks until the tree is exhausted or the run is cancelled, and returns when what was done is
  /// on the disk. What fails is counted in the context and written to its log.
  void Run();

 protected:
  struct Options {
    bool Compare;            ///< leave files that are the same on both sides
    bool KeepNewer = false;  ///< leave destinations that were written later
    bool AsksFirst = false;  ///< MayChange is asked before the first change
  };
  /// From the job's source to its destination, as their work paths are. All outlive the walk.
  TreeWalk(RunContext& context, const BackupJob& job, Effects& effects, Scope scope,
           const Options& options);

  /// Called when the walk comes to a folder; false leaves the folder out.
  virtual bool EnterFolder() { return true; }
  /// Called with both folders open, before the destination is made. False when it has found, and
  /// reported, that the source folder cannot be listed to its end.
  virtual bool BeforeFiles(const FolderPair&) { return true; }
  /// Asked before the first change of the destination, with AsksFirst; false ends the walk.
  virtual bool MayChange() { return true; }
  /// Whether copies that stay are set right in what they have beside their content.
  virtual bool KeepsMetadata() const { return false; }
  /// The path of the backup's side of the pair, or of an archive in it, where that is another job's
  /// backup, which stays apart from this one's; else empty. Asked of folders below the roots and of
  /// what may be an archive by its name.
  virtual std::u16string_view PlaceOfOthers(const FolderPair&, std::u16string_view) { return {}; }
  /// Around all that is done in the destination's root, which can be written to.
  virtual void RootReady(FolderPair&) {}
  virtual void RootDone(const FolderPair&) {}
  /// Whether a folder's copy gets the folder's permissions and times.
  virtual bool FinishesFolder(const FolderPair&) { return true; }
  /// Whether an entry of the present destination folder may be about to be removed.
  virtual bool IsGoing(std::u16string_view) const { return false; }
  bool Cancelled() const { return context_.Stopped(); }
  /// Tells of an entry of the present folder; with an empty name, of the folder itself.
  void Note(PlanAction action, PlanReason reason, bool is_folder, std::u16string_view name,
            std::uint64_t size = 0);

  RunContext& context_;
  const BackupJob& job_;
  Effects& effects_;
  WalkPaths paths_;
  Scope scope_;
  std::optional<SourcePlace> source_place_;  ///< of a backup whose destination is there

 private:
  /// `siblings` are the folders of the parent that were walked before.
  void WalkFolder(const FolderPair* parent, std::u16string_view name, TwinNames* siblings);
  /// True for a folder that would land in the place of one of its siblings.
  bool HasTwinsPlace(const FolderPair& parent, std::u16string_view name, TwinNames& siblings);
  /// `report` tells whether a failed listing is still to be reported.
  bool CopyFolderFiles(const FolderPair& pair, std::optional<CopyAhead::Listed>& listed,
                       bool report, std::vector<std::u16string>& subfolders);
  void EndLooks();
  /// Finds the folder in the state before this one, and notes it for the one after.
  void NotePlace(const FolderPair* parent, std::u16string_view name, FolderPair& pair);
  /// Goes into them one after the other.
  void WalkSubfolders(const FolderPair& pair, const std::vector<std::u16string>& subfolders);
  /// Has the folder that comes next, as far as that is known, opened and listed ahead.
  void ListNext(const FolderPair& pair, const std::vector<std::u16string>& subfolders);
  /// One file of the folder: decided, copied, counted. `again`: this name has come before.
  void HandleFile(const FolderPair& pair, const FolderEntry& file, bool again);
  void DecideOneFile(const FolderPair& pair, std::u16string_view name, const FileStatus* source,
                     const FileStatus* dest, bool again);
  /// Whether something has been mounted over a file since the run began, or is no longer: what is
  /// seen there is not what the backup has, or is to have, of it.
  bool HasOtherMount(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                     bool dest_there);
  /// One that cannot be looked at in the source.
  void DecideUnseenFile(const FolderPair& pair, std::u16string_view name);
  /// Whether a file of several names is dealt with as one more name of a copy that this run has
  /// come by before. `again` as for HandleFile.
  bool TakeAsLink(const FileTurn& file, bool again);
  bool PassesMayChange();
  /// Whether a copy may take the place of what the last backup has.
  bool MayCopy(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
               const FileStatus* dest);
  void DestinationFailed(ErrorCode why);
  /// Two links that lead to the same, where a link keeps no time of its own to go by.
  bool IsSameLink(const FileTurn& file) const;
  void LeaveAsItIs(std::u16string_view name);
  void ShowDone(std::u16string_view name);
  /// ReasonToCopy, and that something has happened to the file since what an interrupted run has
  /// left was copied.
  std::optional<PlanReason> WhyCopy(const FileStatus* source, const FileStatus* dest) const;
  bool KeepsNewer(const FileStatus* source, const FileStatus* dest) const;
  void CopyOneFile(const FileTurn& file, PlanReason reason);
  /// Adds the file to what the run has dealt with. `dest`: what bore its name before.
  void CountSeen(const FolderPair& pair, std::u16string_view name, const FileStatus* source,
                 const FileStatus* dest);
  void LeaveOut(const FolderPair& pair, PlanReason reason, std::u16string_view name, bool again);
  void LeaveFolderOut();
  /// Whether this folder, or this file in it, is another job's and left alone, counted and told.
  bool IsOthers(const FolderPair& pair, std::u16string_view archive);
  /// The whole tree, or a folder that the source is seen in: nothing of it is backed up, which must
  /// not pass for a good run.
  void LeaveRootOut(PlanReason reason);
  /// Copying ahead begins where both roots lie on disks that profit from it.
  void StartAhead(const FolderPair& root);
  CopyAhead::Verdict JudgeAhead(const FileStatus* source, const FileStatus* dest,
                                const FileStatus* former) const;
  /// Whether a file that the new state does not have is looked for in the former one.
  bool MayShare(const FileStatus& source, const FileStatus* dest) const {
    const auto& former = context_.Making.Former;
    return former && !dest && former->Sharing().Possible() && scope_.WithinSizeLimit(source);
  }
  /// True when it was found there, and need not be copied.
  bool TakeFromFormer(const FileTurn& file);
  /// The first of the files that were looked at ahead has its turn.
  void FinishOneAhead(const FolderPair& pair);
  /// All of them have; false when the run was cancelled meanwhile.
  bool FinishAhead(const FolderPair& pair);
  void RememberRoot(const FolderPair& pair);
  /// Whether the destination of the pair is the source's root, or at the root holds it.
  bool ShowsSource(const FolderPair* parent, const FolderPair& pair);
  /// True when the destination's root is not the folder that the run has found.
  bool LeadsElsewhere() const;

  /// Ends the looks when the folder is left.
  struct EndsLooks {
    TreeWalk& Walk;
    ~EndsLooks() { Walk.EndLooks(); }
  };

  const Options options_;
  std::unique_ptr<CopyAhead> ahead_;
  /// The folder that comes behind the present one and all below it; kept by the walk of its parent.
  struct NextFolder {
    const FolderPair* Parent = nullptr;  ///< null: it is not known
    const std::u16string* Name = nullptr;
  };
  NextFolder next_;
  // Read by the threads that work ahead.
  std::atomic<bool> may_change_;
  std::atomic<std::uint64_t> mount_ = 0;  ///< of the present folder of the source
  FolderScope here_, next_here_;          ///< of the present folder; of the one asked for ahead
  TwinNames file_names_;                  ///< likewise
};

}  // namespace kavrel
