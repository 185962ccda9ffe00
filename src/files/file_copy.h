// The copy primitive: one file, in blocks, with progress and cancel. An existing destination is set
// aside under a "pt….tmp" name in its folder until the new copy is complete, and put back when it
// does not get there; whatever happens, one whole version stays.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "files/aside_journal.h"
#include "files/file_info.h"
#include "files/late_release.h"
#include "files/progress_sink.h"
#include "files/run_state.h"
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
  kavrel::Clock& Clock;
  ProgressSink* Sink = nullptr;
  MessagePump* Pump = nullptr;
  LateRelease* Release = nullptr;  ///< for what a copy replaces; null: at once
  AsideJournal* Asides = nullptr;  ///< where replacing is written down; null: nowhere
};

/// One side of a copy: an entry in an open folder.
struct CopySide {
  const kavrel::Folder& Folder;
  std::u16string_view FolderPath;  ///< for captions and messages, with its final separator
  std::u16string_view Name;
  const FileStatus* Status;  ///< what is there; null when nothing is
};

/// Copies a file or a link. The source's status tells how many bytes: a file that shrank meanwhile
/// fails, one that grew is copied up to that size. `overwrite_in_place` removes an existing
/// destination first instead of setting it aside. A folder in the destination's place is left
/// alone and fails the copy.
CopyResult CopyFileChunked(CopyContext& context, const CopySide& source, const CopySide& dest,
                           bool overwrite_in_place);

/// A copy made before its turn: complete under its name, with the old destination still set aside,
/// so that it can be taken back without a trace. It tells nobody anything while it is made, and may
/// be made by any thread; the rest belongs to the thread of the run.
class EarlyCopy {
 public:
  /// `source` is a file. Both sides stay valid while this lives; `now` serves for the name of what
  /// is set aside, and `asides` as in a CopyContext.
  EarlyCopy(const CopySide& source, const CopySide& dest, DateTime now, AsideJournal* asides);
  ~EarlyCopy();
  EarlyCopy(const EarlyCopy&) = delete;
  EarlyCopy& operator=(const EarlyCopy&) = delete;

  /// Makes the copy. False when anything is amiss; everything is then as it was before.
  bool Make();
  /// The copy's turn has come: goes through the captions, progress calls and cancel checks of a
  /// copy that is made only now, with the same result. Only after Make gave true.
  CopyResult Commit(CopyContext& context);
  /// The copy's turn will not come.
  void TakeBack();

 private:
  struct Work;
  std::unique_ptr<Work> work_;
};

/// As CopyFileChunked, after clearing the cancel flag and drawing the captions.
CopyResult CopyFileShown(CopyContext& context, const CopySide& source, const CopySide& dest);

/// The same for two paths. An FTP address on either side copies nothing and does not fail.
CopyResult CopyFileShown(CopyContext& context, const FileSystem& file_system,
                         const FileInfo& source, const FileInfo& dest);

/// Renames an entry of the folder to a free name: prefix, a number made of day, hour, minute and
/// second (counted on while the name is taken), ".tmp". Gives that name, empty when the entry could
/// not be renamed. `before` is called with each name before it is tried.
std::u16string MoveToTempName(const Folder& folder, std::u16string_view name,
                              std::u16string_view prefix, DateTime now,
                              const std::function<void(std::u16string_view)>& before = {});

}  // namespace kavrel
