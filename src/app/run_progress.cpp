#include "app/run_progress.h"

#include <algorithm>

#include "base/number.h"
#include "base/translation.h"
#include "files/size_text.h"

namespace kavrel {

namespace {

using std::chrono::steady_clock;

// Counting may take a fiftieth of the run's time.
constexpr int kCountShare = 50;
constexpr std::size_t kCountSlice = 64;  // entries
// Beside its bytes, a file takes about as long as one more block of 128 KiB.
constexpr std::uint64_t kFileWork = 131072;
// The speed is that of the last seconds, in milliseconds.
constexpr std::uint64_t kSampleEvery = 500, kWindow = 10000, kFirstSpeed = 1000, kFirstLeft = 2000;

std::u16string OfTotal(const std::u16string& done, bool known, const std::u16string& total) {
  return known ? done + u" / " + total : done;
}

std::u16string LeftText(std::int64_t seconds) {
  if (seconds < 60) return Fill(TrCountLater(u"%1 秒"), {Decimal(seconds)});
  if (seconds < 3600) return Fill(u"%1 分 %2 秒", {Decimal(seconds / 60), Decimal(seconds % 60)});
  return Fill(u"%1 小時 %2 分", {Decimal(seconds / 3600), Decimal(seconds / 60 % 60)});
}

std::u16string DoneText(const RunFigures& figures) {
  const bool known = figures.TotalKnown;
  return Fill(TrCountLater(u"%1 個檔案"),
              {OfTotal(Grouped(figures.FilesDone), known, Grouped(figures.FilesTotal))}) +
         u"，" +
         OfTotal(FormatSize(figures.BytesDone, SizeMode::Scaled), known,
                 FormatSize(figures.BytesTotal, SizeMode::Scaled));
}

std::u16string PercentText(const RunFigures& figures) {
  std::u16string text = figures.Percent < 0 ? u"準備中" : Decimal(figures.Percent) + u" %";
  if (figures.FilesDone > 0)
    text += u"，" + Fill(TrCountLater(u"%1 個檔案"), {Grouped(figures.FilesDone)});
  if (figures.BytesDone + figures.BytesTotal > 0) {
    text += u"，" + OfTotal(FormatSize(figures.BytesDone, SizeMode::Scaled), figures.TotalKnown,
                            FormatSize(figures.BytesTotal, SizeMode::Scaled));
  }
  return text;
}

}  // namespace

std::u16string ProgressText(const RunFigures& figures) {
  std::u16string text =
      u"整體進度：" + (figures.ByPercent ? PercentText(figures) : DoneText(figures));
  if (figures.BytesPerSecond >= 0) {
    text += u"，" + Fill(u"%1/秒", {FormatSize(static_cast<std::uint64_t>(figures.BytesPerSecond),
                                               SizeMode::Scaled)});
  }
  if (figures.SecondsLeft >= 0) text += u"，" + Fill(u"剩餘約 %1", {LeftText(figures.SecondsLeft)});
  return text;
}

void RunProgress::Begin(const BackupJob& job, std::u16string_view backup_folder, bool restore,
                        const PathSet* only) {
  job_ = job;
  samples_.clear();
  file_size_ = file_done_ = 0;
  begun_ = steady_clock::now();
  counting_ = {};
  running_ = true;
  verifying_ = false;
  packing_ = job.Compressed && !restore;
  count_.reset();
  if (job.Compressed) return;
  const std::u16string_view from = restore ? backup_folder : std::u16string_view(job_.Source.Path);
  if (only) {
    count_ = std::make_unique<TreeCount>(context_.Files, from, std::u16string_view(),
                                         Scope::OfPicked(from, *only));
  } else if (restore) {
    count_ = std::make_unique<TreeCount>(context_.Files, from, job_.Source.Path,
                                         Scope::OfRestore(job_.IncludeSubfolders));
  } else {
    count_ = std::make_unique<TreeCount>(
        context_.Files, from, backup_folder,
        Scope(context_.Files, job_, context_.Exclusions, backup_folder));
  }
}

void RunProgress::BeginVerification(const BackupJob& job, std::u16string_view backup_folder) {
  Begin(job, backup_folder, false);
  verifying_ = true;
  packing_ = false;
}

void RunProgress::End() {
  running_ = false;
  count_.reset();
}

void RunProgress::Note(std::uint64_t total_size, std::uint64_t bytes_done) {
  file_size_ = total_size;
  file_done_ = bytes_done;
}

void RunProgress::CountOn() {
  if (!count_ || count_->Done()) return;
  steady_clock::time_point now = steady_clock::now();
  while (!count_->Done() && counting_ * kCountShare < now - begun_) {
    count_->Advance(kCountSlice);
    const steady_clock::time_point then = std::exchange(now, steady_clock::now());
    counting_ += now - then;
  }
}

RunProgress::Speed RunProgress::Measure(std::uint64_t work, std::uint64_t bytes) {
  const std::uint64_t now = context_.Time.TickCount();
  if (samples_.empty() || now - samples_.back().At >= kSampleEvery) {
    samples_.push_back({now, work, bytes});
  }
  while (samples_.size() > 2 && now - samples_[1].At >= kWindow) samples_.pop_front();
  const Sample& first = samples_.front();
  // A file that failed half-way takes its bytes back.
  const auto per_second = [&](std::uint64_t then, std::uint64_t there) {
    return there <= then
               ? 0.0
               : static_cast<double>(there - then) * 1000 / static_cast<double>(now - first.At);
  };
  Speed speed{now - first.At};
  if (speed.Span == 0) return speed;
  speed.Work = per_second(first.Work, work);
  speed.Bytes = per_second(first.Bytes, bytes);
  return speed;
}

RunFigures RunProgress::Figures() {
  const RunCounters& counters = context_.Report.Counters;
  // A file that is done is in the counters already.
  const std::uint64_t part = file_done_ < file_size_ ? file_done_ : 0;
  RunFigures figures;
  std::uint64_t work = 0, total = 0;
  if (job_.Compressed) {
    // The archiver reports its work as one file of a hundred parts; before that, files are listed.
    figures.ByPercent = true;
    figures.FilesDone = counters.CopiedFiles > 0 ? counters.CopiedFiles : counters.SourceFiles;
    figures.BytesDone = counters.CopiedBytes;
    work = file_done_;
    total = file_size_;
    // What is packed is listed before, and the parts are parts of its bytes.
    figures.TotalKnown = packing_ && total > 0 && counters.CopiedBytes > 0;
    if (figures.TotalKnown) {
      figures.FilesTotal = counters.CopiedFiles;
      figures.BytesTotal = counters.CopiedBytes;
      figures.BytesDone =
          static_cast<std::uint64_t>(static_cast<double>(figures.BytesTotal) *
                                     static_cast<double>(work) / static_cast<double>(total));
    }
  } else {
    figures.FilesDone = counters.SourceFiles;
    figures.BytesDone = counters.SourceBytes + part;
    work = figures.BytesDone + figures.FilesDone * kFileWork;
    figures.TotalKnown = count_ && count_->Done();
    if (figures.TotalKnown) {
      figures.FilesTotal = std::max(count_->Files(), figures.FilesDone);
      figures.BytesTotal = std::max(count_->Bytes(), figures.BytesDone);
      total = figures.BytesTotal + figures.FilesTotal * kFileWork;
    }
  }
  const std::uint64_t bytes = job_.Compressed ? figures.BytesDone
                              : verifying_    ? counters.SourceBytes + part
                                              : counters.CopiedBytes + part;
  const Speed speed = Measure(work, bytes);
  if ((!job_.Compressed || figures.TotalKnown) && speed.Span >= kFirstSpeed) {
    figures.BytesPerSecond = static_cast<std::int64_t>(speed.Bytes);
  }
  if (total == 0) return figures;
  figures.Percent = static_cast<int>(100 * static_cast<double>(work) / static_cast<double>(total));
  if (speed.Span >= kFirstLeft && speed.Work > 0) {
    figures.SecondsLeft = static_cast<std::int64_t>(static_cast<double>(total - work) / speed.Work);
  }
  return figures;
}

}  // namespace kavrel
