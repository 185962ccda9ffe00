// The copy primitive: one file, in blocks, with progress and cancel. A copy is made under a
// temporary "pt….tmp" name in its folder and takes its own name when it is complete, at once or not
// at all: that name always bears one whole version. When a name may be given to a copy that
// replaces something is another question (files/group_commit.h): not before its content is on the
// disk.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "files/content_sum.h"
#include "files/file_info.h"
#include "files/progress_sink.h"
#include "files/run_state.h"
#include "files/temp_names.h"
#include "platform/files.h"

namespace kavrel {

inline constexpr std::uint32_t kCopyBlock = 131072;

struct CopyResult {
  bool Failed = true;             ///< not all data was copied; the old destination is in place
  bool Warning = false;           ///< data copied, but times or attributes could not be set
  std::u16string Message;         ///< empty on full success
  std::uint64_t BytesCopied = 0;  ///< the source's size when all data was copied
};

/// What a copy works with. Without a sink the pump alone is called; with neither, nothing is.
struct CopyContext {
  RunState& State;
  Clock& Time;
  ProgressSink* Sink = nullptr;
  MessagePump* Pump = nullptr;
  TempNames* Names = nullptr;  ///< where temporary names come from; null: made for each copy
};

/// One side of a copy: an entry in an open folder.
struct CopySide {
  const Folder& Opened;
  std::u16string_view FolderPath;  ///< for captions and messages, with its final separator
  std::u16string_view Name;
  const FileStatus* Status;  ///< what is there; null when nothing is
  /// Of a destination: its disk does not sync as a whole; its folder bears a temporary name itself,
  /// so that the copy can be made under its own; its folder gives new files an access list.
  bool SyncsEach = false, UnderOwnName = false, PassesAccessOn = false;
  bool Summed = false;  ///< of a destination: the sum of what is copied is wanted
};

/// A copy that is complete under its temporary name.
struct StagedFile {
  std::u16string TempName, Name;
  bool Replaces = false;  ///< something bore the name when it was looked at
  bool IsLink = false;    ///< it is one more name of a file that bears another already
  /// Of a file that was copied, where it was wanted and is sure: the sum of what the copy holds.
  std::optional<ContentSum> Sum = std::nullopt;

  /// False where there is none: nothing was copied.
  explicit operator bool() const { return !TempName.empty(); }
  /// Gives it its name: over what bears it where it replaces something, else only where nothing
  /// does. `replaced`, where wanted, gets a hold on what it replaced, whose room on the disk is
  /// given back when that is let go.
  ErrorCode Commit(const Folder& folder, File* replaced = nullptr) const;
  ErrorCode RollBack(const Folder& folder) const { return folder.RemoveFile(TempName); }
};

/// Makes the copy of a file or a link up to its commit, and shows it: the cancel flag is cleared,
/// captions are drawn, each block is told. What is opened counts, not what was looked at: size,
/// times and attributes are the open file's. One that was changed this moment is let come to rest
/// for a tick of the clock. A file that changes while it is read is opened and
/// copied again; one that goes on changing is copied up to the size that it had, with a warning,
/// and fails when it ends before that. A folder in the destination's place is left alone and fails
/// the copy. What fails leaves nothing. `opened`, where wanted, gets the status of the file that
/// was copied.
CopyResult StageShown(CopyContext& context, const CopySide& source, const CopySide& dest,
                      StagedFile& staged, FileStatus* opened = nullptr);

/// The same for a file, in one try and telling nobody anything; any thread may. False, with nothing
/// left, when anything is amiss. `opened`, where it is open: the source, whose status is that of
/// the open file.
bool StageQuietly(TempNames& names, const CopySide& source, const CopySide& dest,
                  StagedFile& staged, File opened = {});

/// Makes one more name, in the destination's folder, of a file of the folder `from`, up to its
/// commit. The destination's side is that of the new name.
ErrorCode StageLink(TempNames& names, const Folder& from, std::u16string_view from_name,
                    const CopySide& dest, StagedFile& staged);

/// Makes a copy of the source whose content is that of another file of the destination's file
/// system, sharing its blocks, up to its commit; any thread may. What is opened has to be what was
/// looked at. Nothing is left where it fails.
ErrorCode StageClone(TempNames& names, const CopySide& source, const CopySide& content,
                     const CopySide& dest, StagedFile& staged);

/// What StageShown shows, for a copy that was made quietly before. Failed when it is cancelled
/// meanwhile: the copy is then to be rolled back.
CopyResult ShowStaged(CopyContext& context, const CopySide& source, const CopySide& dest);

/// Copies a file or a link, and returns when it is on the disk under its name. `overwrite_in_place`
/// removes an existing destination first.
CopyResult CopyFileChunked(CopyContext& context, const CopySide& source, const CopySide& dest,
                           bool overwrite_in_place);

/// As CopyFileChunked, after clearing the cancel flag and drawing the captions.
CopyResult CopyFileShown(CopyContext& context, const CopySide& source, const CopySide& dest);

/// The same for two paths. An FTP address on either side copies nothing and does not fail.
CopyResult CopyFileShown(CopyContext& context, const FileSystem& file_system,
                         const FileInfo& source, const FileInfo& dest);

}  // namespace kavrel
