// The compressed backup type: a source folder packed into one dated 7z archive, and the way back.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/archiver.h"
#include "core/backup_job.h"
#include "core/restore_pick.h"
#include "core/run_counters.h"
#include "core/run_failures.h"
#include "core/run_host.h"
#include "core/run_plan.h"
#include "files/run_state.h"
#include "files/staging_journal.h"
#include "log/job_log.h"
#include "log/log_troubles.h"
#include "platform/clock.h"
#include "platform/files.h"

namespace kavrel {

class PackedFiles;

/// The choices of the compression menu; anything else sets no switch at all.
enum class CompressionLevel { Store = 0, Fast = 1, Full = 2 };

/// The switch string of a level; the password, when there is one, directly behind its last "-p".
Secret CompressionSwitch(CompressionLevel level, const BackupJob& job);

/// What packing and unpacking work with; all outlive the call.
struct ArchiveContext {
  const FileSystem& Files;
  Clock& Time;
  const SevenZipLibrary& Library;
  RunState& State;
  RunHost& Host;
  JobLog& Log;
  RunCounters& Counters;
  RunFailures& Failures;
  StagingJournal& Staged;
  RunNotes& Notes;
  /// Whether the disk that a folder of the destination lay on when the run began has left it; its
  /// path with the final separator. Null: nobody has looked.
  std::function<bool(std::u16string_view path, const Folder& folder)> HasLostDisk{};
  /// Called when the folder of the archive could not be made.
  std::function<void()> NotMade{};
  /// Asked when all files are known, before anything is packed; false stops it. Null: nobody asks.
  std::function<bool()> MayPack{};
  /// Told of each file that is packed. Null: nobody looks.
  std::function<void(const Folder& folder, std::u16string_view name, const FileStatus& status)>
      Look{};

  /// Logs and notes what failed, and why.
  void Tell(std::u16string_view text, std::u16string_view what, std::u16string_view why = {}) {
    LogFailure(Log, Failures, text, what, why);
  }
};

/// The archive that a run of the job writes now: "…\2009年09月23日15時.7z" in its destination.
std::u16string ArchivePath(const BackupJob& job, Clock& clock);

/// Packs the job's source, its work paths being set, into the archive. 0 on success, kNoArchiver,
/// else the archiver's result, kCommandCancelled after a cancel. Files that were packed are counted
/// as copied; a name that the list cannot carry, or a file that the archiver could not read, is
/// logged and counted as failed; so is what has become another kind of entry meanwhile. What else
/// has changed since it was listed is logged and counted as a warning. Half archives that killed
/// runs left in the folder are removed.
int CompressBackup(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
                   CompressionLevel level);

/// Notes what CompressBackup would pack; nothing is written.
void PlanCompression(ArchiveContext& context, const BackupJob& job);

/// Paths of the lists that tell the archiver what to do.
struct PackLists {
  std::u16string Entries;  ///< what to pack; empty when there is nothing, or it cannot be written
  std::u16string Dropped;  ///< what leaves the archive first; empty when nothing does
};

/// Writes the list of the files to pack, one line a file, relative to the source folder, and that
/// of the archive's entries which cannot stay beside them. `listed` notes the files as they are.
PackLists BuildListFile(ArchiveContext& context, const BackupJob& job,
                        std::u16string_view archive_path, PackedFiles* listed = nullptr);

/// Writes the archive's table of contents into the job log; nothing when it has no entries.
void WriteArchiveListing(ArchiveContext& context, const BackupJob& job,
                         std::u16string_view archive_path, std::u16string_view destination);

/// What ExtractArchive gives where nothing but the job's password stood in the way.
inline constexpr int kWrongPassword = -3;

/// Unpacks the whole archive into the folder, which is made when missing. 0 on success. An archive
/// with an entry that would land outside the folder is refused whole, as is one that the job's
/// password does not open; a link that points out of the folder is not made. Each file takes its
/// place at once, when all are unpacked. What fails is logged and counted. With a pick, only what
/// it names is unpacked, and files that are the same already or newer stay, as it says.
int ExtractArchive(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
                   std::u16string_view destination, const RestorePick* pick = nullptr);

/// Notes what of the archive would take which place; nothing is written.
void PlanExtraction(ArchiveContext& context, const BackupJob& job, std::u16string_view archive_path,
                    std::u16string_view destination, const RestorePick* pick = nullptr);

/// An archive in a backup folder.
struct ArchiveFile {
  std::u16string Name;
  FileTime Written;
  std::uint64_t Size = 0;
  bool OfOther = false;  ///< its mark tells of other jobs, with other sources, alone
};

/// Whether a name may be that of an archive.
bool IsArchiveName(std::u16string_view name);
/// The *.7z files of a folder, the newest first (core/made_order), and, asked for a job, which of
/// them are not its own.
std::vector<ArchiveFile> ListArchives(const FileSystem& files, std::u16string_view folder,
                                      const BackupJob* job = nullptr);
/// The name of the first one, of those that are not other jobs'; nothing when there is none.
std::optional<std::u16string> NewestArchive(const std::vector<ArchiveFile>& archives);

}  // namespace kavrel
