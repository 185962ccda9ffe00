#include "files/file_copy.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "base/number.h"
#include "files/error_text.h"
#include "files/path.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// How much the system is asked to copy at once: blocks cost it a call each, and this many are done
/// in a fraction of a millisecond.
constexpr std::uint64_t kSystemStep = 8 * kCopyBlock;
constexpr std::uint32_t kOpenRetryDelay = 1000, kPumpSlice = 50;  // milliseconds

/// One copy from its first check to its last clean-up.
class FileCopy {
 public:
  FileCopy(CopyContext& context, const CopySide& source, const CopySide& dest)
      : context_(&context), source_(source), dest_(dest), size_(source.Status->Size) {}

  CopyResult Run(bool overwrite_in_place) {
    if (Cancelled()) return result_;
    Pump();
    const bool is_link = source_.Status->Kind == FileKind::Link;
    if (!(is_link ? ReadSourceLink() : OpenSource())) return result_;
    MakeWay(overwrite_in_place);
    if (is_link ? MakeLink() : CopyFile()) {
      Finish();
    } else {
      PutBack();
    }
    return result_;
  }

  /// The same for a file, in one try and up to the point from which there is no way back; false,
  /// with everything as it was, when that was not reached without a flaw.
  bool MakeEarly(DateTime now) {
    early_ = now;
    if (!OpenSource()) return false;
    MakeWay(false);
    const bool flawless = CopyFile() && !result_.Warning;
    source_file_.Close();
    if (!flawless) PutBack();
    return flawless;
  }

  /// What a copy shows while it is made, and its end, for one that is made already.
  void Commit(CopyContext& context) {
    context_ = &context;
    result_ = {};
    if (Replay()) {
      result_.Failed = false;
      result_.BytesCopied = size_;
      Finish();
    } else {
      PutBack();
    }
  }

  /// After a failure: the partial copy goes, the old destination comes back.
  void PutBack() {
    dest_file_.Close();
    ErrorCode error = 0;
    if (aside_name_.empty()) {
      if (created_) error = dest_.Folder.RemoveFile(dest_.Name);
    } else if (!created_) {
      error = dest_.Folder.Rename(aside_name_, dest_.Name);
    } else if (dest_.Folder.Replace(aside_name_, dest_.Name) != 0) {
      dest_.Folder.RemoveFile(dest_.Name);
      error = dest_.Folder.Rename(aside_name_, dest_.Name);
    }
    if (!error) EndRecord();
  }

  const CopyResult& Outcome() const { return result_; }

 private:
  void Finish() {
    ErrorCode error = 0;
    if (!aside_name_.empty()) {
      error = context_->Release ? context_->Release->Remove(dest_.Folder, aside_name_)
                                : dest_.Folder.RemoveFile(aside_name_);
    }
    // What cannot be removed now is left to the end of the run.
    if (!error) EndRecord();
    context_->State.LastApiError = 0;
  }

  bool Replay() {
    if (Cancelled()) return false;
    Pump();
    Report(0);
    for (std::uint64_t done = 0; done < size_;) {
      if (Cancelled()) return false;
      done += std::min<std::uint64_t>(kCopyBlock, size_ - done);
      Report(done);
    }
    if (context_->Sink) Report(size_);
    return true;
  }

  std::u16string PathOf(const CopySide& side) const {
    return std::u16string(side.FolderPath) += side.Name;
  }

  bool Fail(std::u16string_view text, const CopySide& side, ErrorCode error) {
    result_.Message = FailText(context_->State, error, text, PathOf(side));
    return false;
  }

  bool Cancelled() {
    if (!context_->State.CancelRequested) return false;
    context_->State.LastApiError = -1;
    result_.Message = u"User Abort";
    return true;
  }

  void Pump() {
    if (context_->Sink) {
      context_->Sink->PumpMessages();
    } else if (context_->Pump) {
      context_->Pump->PumpMessages();
    }
  }

  void Report(std::uint64_t done) {
    if (context_->Sink) {
      context_->Sink->ApiFileCopyCallback(size_, done, 0, size_, done, kCopyBlock);
    } else {
      Pump();
    }
  }

  /// Opens with one more try after a second: whoever held the file may have let go. The wait is
  /// cut into slices, so that nothing freezes and a cancel ends it.
  template <typename Open>
  Result<File> OpenPatiently(Open open) {
    Result<File> file = open();
    if (file || early_) return file;
    for (std::uint32_t waited = 0; waited < kOpenRetryDelay; waited += kPumpSlice) {
      context_->Clock.Sleep(kPumpSlice);
      Pump();
      if (context_->State.CancelRequested) return file;
    }
    return open();
  }

  bool OpenSource() {
    Result<File> file = OpenPatiently([&] { return source_.Folder.OpenFile(source_.Name); });
    if (!file) return Fail(u"Could Not Open Source File", source_, file.Error);
    source_file_ = std::move(*file);
    return true;
  }

  bool ReadSourceLink() {
    Result<std::u16string> target = source_.Folder.ReadLink(source_.Name);
    if (!target) return Fail(u"Could Not Open Source File", source_, target.Error);
    link_target_ = std::move(*target);
    return true;
  }

  /// Takes an existing destination out of the way. Where that fails, the name stays taken and the
  /// destination cannot be opened, which says why.
  void MakeWay(bool overwrite_in_place) {
    if (!dest_.Status) {
      // A small file is there at once; half of a large one would stay if its source vanished, too.
      if (size_ > kCopyBlock) Record({});
      return;
    }
    if (dest_.Status->Kind == FileKind::Folder) return;
    if (overwrite_in_place) {
      dest_.Folder.RemoveFile(dest_.Name);
      return;
    }
    aside_name_ =
        MoveToTempName(dest_.Folder, dest_.Name, u"pt", early_ ? *early_ : context_->Clock.Now(),
                       [this](std::u16string_view name) { Record(name); });
    if (aside_name_.empty()) EndRecord();
  }

  void Record(std::u16string_view aside) {
    if (!context_->Asides) return;
    EndRecord();
    slot_ = context_->Asides->Begin(
        {dest_.FolderPath, aside, dest_.Name, dest_.Status, source_.Status});
    asides_ = context_->Asides;
  }

  void EndRecord() {
    if (asides_) asides_->End(slot_);
    slot_ = AsideJournal::kNoSlot;
  }

  bool MakeLink() {
    const ErrorCode error = dest_.Folder.MakeLink(dest_.Name, link_target_);
    if (error) return Fail(u"Could Not Open Destination File", dest_, error);
    created_ = true;
    result_.Failed = false;
    result_.BytesCopied = size_;
    Warn(u"Could Not Set Destination File Times",
         dest_.Folder.SetLinkTimes(dest_.Name, *source_.Status));
    return true;
  }

  bool CopyFile() {
    Result<File> file =
        OpenPatiently([&] { return dest_.Folder.MakeFile(dest_.Name, *source_.Status); });
    if (!file) return Fail(u"Could Not Open Destination File", dest_, file.Error);
    created_ = true;
    dest_file_ = std::move(*file);
    if (slot_ != AsideJournal::kNoSlot) asides_->NoteMade(slot_, dest_file_.Status());
    Report(0);
    if (!CopyBlocks()) return false;
    if (context_->Sink) Report(size_);
    // The times come last: they tell a later run that nothing is missing.
    const ErrorCode attributes_error = dest_file_.SetAttributes(*source_.Status, source_file_);
    const ErrorCode times_error = dest_file_.SetTimes(*source_.Status);
    // A network disk may tell only now that the data did not fit.
    if (const ErrorCode error = dest_file_.Close()) {
      return Fail(u"Could Not Write Destination File", dest_, error);
    }
    result_.BytesCopied = size_;
    result_.Failed = false;
    Warn(u"Could Not Set Destination File Times", times_error);
    Warn(u"Could Not Set Destination File Attributes", attributes_error);
    return true;
  }

  void Warn(std::u16string_view text, ErrorCode error) {
    if (!error) return;
    result_.Message = FailText(context_->State, error, text, PathOf(dest_));
    result_.Warning = true;
  }

  bool CopyBlocks() {
    const bool sparse = source_.Status->Allocated < size_;
    std::uint64_t done = 0;
    unsigned blocks = 0;
    while (done < size_) {
      if (Cancelled()) return false;
      if (sparse && SkipHole(done)) continue;
      std::uint64_t copied = CopyInSystem(done, sparse ? kCopyBlock : kSystemStep);
      if (copied == 0 && !CopyBlock(done, copied)) return false;
      for (; copied > 0; ++blocks) {
        const std::uint64_t length = std::min<std::uint64_t>(kCopyBlock, copied);
        copied -= length;
        done += length;
        if (context_->Sink || blocks % 5 == 4 || length < kCopyBlock) Report(done);
        if (copied > 0 && Cancelled()) return false;
      }
    }
    if (!skipped_) return true;
    const ErrorCode error = dest_file_.SetSize(size_);
    return !error || Fail(u"Could Not Write Destination File", dest_, error);
  }

  /// Moves `done` on over the whole blocks that lie in a hole; true when it did.
  bool SkipHole(std::uint64_t& done) {
    const Result<std::uint64_t> data = source_file_.NextData(done);
    std::uint64_t next = done;
    if (data) {
      next = *data >= size_ ? size_ : std::max(done, *data / kCopyBlock * kCopyBlock);
    }
    if (source_file_.Seek(next) || dest_file_.Seek(next) || next == done) return false;
    skipped_ = true;
    done = next;
    Report(done);
    return true;
  }

  /// Copies up to `step` bytes inside the system: how many it did, or 0 where it did not do all.
  std::uint64_t CopyInSystem(std::uint64_t done, std::uint64_t step) {
    if (buffer_) return 0;
    const std::uint64_t length = std::min(step, size_ - done);
    const Result<std::uint64_t> copied = dest_file_.CopyFrom(source_file_, length);
    if (copied && *copied == length) return length;
    source_file_.Seek(done);
    dest_file_.Seek(done);
    source_file_.HintSequential();
    buffer_ = std::make_unique_for_overwrite<char[]>(kCopyBlock);
    return 0;
  }

  /// The next block through the buffer, which also tells which side failed.
  bool CopyBlock(std::uint64_t done, std::uint64_t& copied) {
    copied = std::min<std::uint64_t>(kCopyBlock, size_ - done);
    const std::span<char> block(buffer_.get(), static_cast<std::size_t>(copied));
    const Result<std::size_t> got = source_file_.Read(block);
    if (!got || *got < copied) return Fail(u"Could Not Read Source File", source_, got.Error);
    const ErrorCode error = dest_file_.Write({block.data(), block.size()});
    return !error || Fail(u"Could Not Write Destination File", dest_, error);
  }

  CopyContext* context_;
  const CopySide source_, dest_;
  const std::uint64_t size_;
  CopyResult result_;
  File source_file_, dest_file_;
  std::u16string link_target_, aside_name_;
  std::unique_ptr<char[]> buffer_;
  std::optional<DateTime> early_;
  AsideJournal* asides_ = nullptr;
  int slot_ = AsideJournal::kNoSlot;
  bool created_ = false, skipped_ = false;
};

}  // namespace

CopyResult CopyFileChunked(CopyContext& context, const CopySide& source, const CopySide& dest,
                           bool overwrite_in_place) {
  return FileCopy(context, source, dest).Run(overwrite_in_place);
}

namespace {

void BeginShown(CopyContext& context, const CopySide& source, const CopySide& dest) {
  context.State.CancelRequested = false;
  context.State.LastApiError = 0;
  if (context.Sink) {
    context.Sink->DrawCaptions(source.FolderPath, dest.FolderPath, source.Name);
  }
}

/// The surroundings of a copy that nobody watches.
class NoClock final : public Clock {
 public:
  DateTime Now() override { return kZeroDate; }
  std::uint64_t TickCount() override { return 0; }
  void Sleep(std::uint32_t) override {}
};

}  // namespace

struct EarlyCopy::Work {
  Work(const CopySide& source_side, const CopySide& dest_side, DateTime now_then,
       AsideJournal* asides)
      : Source(source_side),
        Dest(dest_side),
        Now(now_then),
        Silent{State, Clock, nullptr, nullptr, nullptr, asides},
        Copy(Silent, source_side, dest_side) {}

  const CopySide Source, Dest;
  const DateTime Now;
  RunState State;
  NoClock Clock;
  CopyContext Silent;
  FileCopy Copy;
};

EarlyCopy::EarlyCopy(const CopySide& source, const CopySide& dest, DateTime now,
                     AsideJournal* asides)
    : work_(std::make_unique<Work>(source, dest, now, asides)) {}

EarlyCopy::~EarlyCopy() = default;

bool EarlyCopy::Make() {
  return work_->Copy.MakeEarly(work_->Now);
}

CopyResult EarlyCopy::Commit(CopyContext& context) {
  BeginShown(context, work_->Source, work_->Dest);
  work_->Copy.Commit(context);
  return work_->Copy.Outcome();
}

void EarlyCopy::TakeBack() {
  work_->Copy.PutBack();
}

CopyResult CopyFileShown(CopyContext& context, const CopySide& source, const CopySide& dest) {
  if (context.Release) context.Release->Drain();
  BeginShown(context, source, dest);
  return CopyFileChunked(context, source, dest, false);
}

CopyResult CopyFileShown(CopyContext& context, const FileSystem& file_system,
                         const FileInfo& source, const FileInfo& dest) {
  if (source.Kind == 3 || dest.Kind == 3) return CopyResult{false, false, {}, 0};
  const auto fail = [&](std::u16string_view text, const FileInfo& side, ErrorCode error) {
    return CopyResult{true, false, FailText(context.State, error, text, side.FullPath), 0};
  };
  if (source.Failed) return fail(u"Could Not Open Source File", source, source.ErrorCode);
  const Result<Folder> from = file_system.OpenFolder(source.Folder);
  if (!from) return fail(u"Could Not Open Source File", source, from.Error);
  const Result<Folder> to = file_system.OpenFolder(dest.Folder);
  if (!to) return fail(u"Could Not Open Destination File", dest, to.Error);
  const CopySide from_side{*from, source.Folder, PathName(source.FullPath), &source.Status};
  const CopySide to_side{*to, dest.Folder, PathName(dest.FullPath),
                         dest.Failed ? nullptr : &dest.Status};
  return CopyFileShown(context, from_side, to_side);
}

std::u16string MoveToTempName(const Folder& folder, std::u16string_view name,
                              std::u16string_view prefix, DateTime now,
                              const std::function<void(std::u16string_view)>& before) {
  const CivilTime t = ToCivil(now);
  std::int64_t number = t.Second + 100 * t.Minute + 10000 * t.Hour + std::int64_t{1000000} * t.Day;
  for (;; ++number) {
    std::u16string free = std::u16string(prefix) + Decimal(number) + u".tmp";
    if (before) before(free);
    const ErrorCode error = folder.Rename(name, free);
    if (error == 0) return free;
    if (!IsTaken(error)) return {};
  }
}

}  // namespace kavrel
