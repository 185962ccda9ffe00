// What a walk changes at its destination: copies that get their names, folders that are made and
// finished, each when the disk has what it relies on (files/group_commit.h), and counted then.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "engine/folder_pair.h"
#include "engine/run_context.h"
#include "files/file_copy.h"
#include "files/group_commit.h"
#include "files/late_release.h"
#include "files/temp_names.h"
#include "platform/metadata.h"

namespace kavrel {

class DestChanges {
 public:
  /// The context and the texts outlive this. `file_failed_text`: before a file's path in the log.
  DestChanges(RunContext& context, std::u16string_view root, std::u16string_view file_failed_text);

  GroupCommit& Group() { return group_; }
  TempNames& Names() { return names_; }
  /// From now on the room of what goes is given back by another thread.
  void ReleaseLate();

  /// Opens the pair (engine/folder_pair.h); waits for pending changes where there are too many open
  /// files.
  FolderPair Open(const FolderPair* parent, std::u16string_view name, const WalkPaths& paths,
                  CopyAhead::Listed* listed);
  /// Makes the pair's destination where there is none, as MakeDestination. A new folder inside
  /// another bears a temporary name at first: then its small files can be made under their own.
  bool Make(const FolderPair* parent, std::u16string_view name, const WalkPaths& paths,
            FolderPair& pair);
  /// The destination folder as pending changes hold it; null where it cannot be opened once more.
  const std::shared_ptr<const CommitFolder>& Shared(const FolderPair& pair,
                                                    std::u16string_view path);

  /// How a copy of `name` into the folder is to be made.
  CopySide Side(const FolderPair& pair, std::u16string_view path, std::u16string_view name,
                const FileStatus* dest) const;
  /// Makes a copy; where there was no room or no handle left, a second time with nothing pending.
  CopyResult StagePatiently(const std::function<CopyResult()>& stage);
  /// The copy takes its name when it is on the disk, and is counted then. One that failed is
  /// counted at once, and so is one that copied nothing.
  void AddCopy(const FolderPair& pair, std::u16string_view dest_path, const CopyResult& result,
               StagedFile staged, std::u16string_view source_path);
  /// `why`: in words, or empty where that is not known.
  void CountFailed(std::u16string_view source_path, std::u16string_view why = {});
  /// A link that is to take the place of a file which is as good, once the disk has it. The file is
  /// counted by the caller that found it; a link that cannot take its place is a warning.
  void AddRelink(const FolderPair& pair, std::u16string_view dest_path, StagedFile staged);

  /// From now on files that are left alone, and folders, are compared with their sources in what
  /// they have beside their content, and set right. Between two roots.
  void KeepMetadata(const Folder& source, const Folder& dest) { metadata_.emplace(source, dest); }
  /// Null where nothing is compared.
  const MetadataPlace* Metadata() const { return metadata_ ? &*metadata_ : nullptr; }
  /// Whether two looks leave it open that a copy differs from its source beside its content. False
  /// where nothing is compared.
  bool MayDiffer(const FileStatus& source, const FileStatus& dest) const {
    return metadata_ &&
           (metadata_->Differs(source, dest) || metadata_->AttributesMayDiffer(source, dest));
  }
  /// A file that is left alone, both sides of which have been looked at. Not where its copy has
  /// several names: nothing is written through one of them for another.
  void UpdateFile(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                  const FileStatus& dest, std::u16string_view dest_path);
  /// A copy that bears other names as well, in a snapshot of the backup, say, is not changed for
  /// this one: true when it would be, so that it is to be made anew.
  bool NeedsOwnCopy(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                    const FileStatus& dest) const;
  /// Such a copy has been staged. Where it came out no different, on a disk that does not hold what
  /// the source has, no other is made for the same.
  void NoteOwnCopy(const FolderPair& pair, const StagedFile& staged, const FileStatus& source,
                   const FileStatus& dest);
  /// Whether there is something that UpdateFile would set right, or, with an empty name, the end of
  /// a folder. False where only trying shows what can be set.
  bool WouldUpdate(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                   const FileStatus& dest) const;

  /// Whether so much lies in a folder of temporary name that it should get its own.
  static bool WantsName(const FolderPair& pair);
  /// The folder gets its own name once all that was copied into it so far is on the disk. Nothing
  /// may be copied ahead meanwhile.
  void GiveName(const FolderPair& pair);
  /// It gets its permissions and times when all is done in it.
  void FinishFolder(const FolderPair& pair, bool source_is_root, std::u16string_view path);

  /// Returns when everything is on the disk; what has failed is counted and logged.
  void Settle();

 private:
  /// Permissions and owners, of a source and of its copy.
  using Rights = std::array<std::uint32_t, 6>;
  static Rights RightsOf(const FileStatus& source, const FileStatus& dest);
  void NoteFutile(const Rights& rights);
  class CopyChange;
  class RelinkChange;
  class NameChangeOfFolder;
  class FinishChange;
  /// What a folder is finished with, its own handle apart.
  struct Finish {
    FileStatus Like;
    std::optional<FileStatus> Found;  ///< the folder before, where it is to be compared
    bool TimesOnly;        ///< its attributes are what they should be, or belong to the drive
    bool Updated = false;  ///< its extended attributes were set right already
  };
  static Finish FinishOf(const FolderPair& pair, bool times_only);
  /// Whether a run before has finished the folder and its attributes need no look.
  bool IsFinished(const FolderPair& pair) const;
  void FinishNow(const Folder& dest, const Folder& source, const Finish& finish,
                 std::u16string_view path);
  /// By a look at what is compared, where metadata is; nothing is changed.
  bool SeesDifference(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                      const FileStatus& dest) const;
  bool AttributesDiffer(const FolderPair& pair, std::u16string_view name, const FileStatus& source,
                        const FileStatus& dest) const;
  void CountUpdated(std::u16string_view path);
  void CountWarning(ErrorCode error, std::u16string_view text, std::u16string_view path);

  RunContext& context_;
  const std::u16string_view root_, file_failed_text_;
  std::optional<LateRelease> release_;
  std::optional<MetadataPlace> metadata_;
  std::set<Rights> futile_;  ///< where it was of no use to set them
  TempNames names_;
  GroupCommit group_;
};

}  // namespace kavrel
