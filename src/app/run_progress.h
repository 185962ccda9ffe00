// How far a whole run has come, how fast it goes, and how long it will still take.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "engine/run_context.h"
#include "engine/tree_count.h"

namespace kavrel {

struct RunFigures {
  std::uint64_t FilesDone = 0, BytesDone = 0;
  bool TotalKnown = false;
  std::uint64_t FilesTotal = 0, BytesTotal = 0;
  int Percent = -1;                  ///< -1 = not known
  std::int64_t BytesPerSecond = -1;  ///< copied; -1 = not known yet
  std::int64_t SecondsLeft = -1;     ///< -1 = not known
  /// The archiver tells no more than its percentage, from which the bytes follow; the files are
  /// those at its work.
  bool ByPercent = false;
};

/// "整體進度：1,234 / 10,000 個檔案，1.20 GB / 8.50 GB，35.20 MB/秒，剩餘約 3 分 20 秒", as far as
/// it is known; of an archiver "整體進度：40 %，1,234 個檔案，0.48 GB / 1.20 GB".
std::u16string ProgressText(const RunFigures& figures);

/// The total is not known when a run begins. It is counted while the run works, in a small share
/// of its time; until then there is no percentage and no time left. A compressed run knows its
/// percentage from the archiver.
class RunProgress {
 public:
  /// The context outlives this.
  explicit RunProgress(RunContext& context) : context_(context) {}

  /// A run of this job begins, as a backup or as a restore from `backup_folder`, of all or of what
  /// `only` holds, which lives until the end.
  void Begin(const BackupJob& job, std::u16string_view backup_folder, bool restore,
             const PathSet* only = nullptr);
  /// A verification of it begins.
  void BeginVerification(const BackupJob& job, std::u16string_view backup_folder);
  void End();
  bool Running() const { return running_; }
  /// What is noted are parts of a hundred, not bytes.
  bool ByPercent() const { return job_.Compressed; }

  /// The file at work, as the run reports it.
  void Note(std::uint64_t total_size, std::uint64_t bytes_done);
  /// Counts on, if the run has worked long enough since.
  void CountOn();
  /// Everything that is known now. To be asked a few times a second.
  RunFigures Figures();

 private:
  struct Sample {
    std::uint64_t At, Work, Bytes;
  };
  /// Per second, over the last `Span` milliseconds.
  struct Speed {
    std::uint64_t Span = 0;
    double Work = 0, Bytes = 0;
  };
  Speed Measure(std::uint64_t work, std::uint64_t bytes);

  RunContext& context_;
  BackupJob job_;
  std::unique_ptr<TreeCount> count_;
  std::deque<Sample> samples_;
  std::chrono::steady_clock::time_point begun_;
  std::chrono::steady_clock::duration counting_{};
  std::uint64_t file_size_ = 0, file_done_ = 0;
  bool running_ = false;
  bool verifying_ = false;  ///< then the speed is that of reading
  bool packing_ = false;    ///< into an archive
};

}  // namespace kavrel
