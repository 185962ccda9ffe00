#include "files/file_copy.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>

#include "files/error_text.h"
#include "files/path.h"
#include "platform/clock.h"
#include "platform/error_codes.h"

namespace kavrel {

namespace {

/// How much the system is asked to copy at once: blocks cost it a call each, and this many are done
/// in a fraction of a millisecond.
constexpr std::uint64_t kSystemStep = 8 * kCopyBlock;
/// A file that is summed and no larger is read and written, which is not slower, and summed on the
/// way; of a larger one, which is copied inside the system, a second thread makes the sum.
constexpr std::uint64_t kLargestReadThrough = 4 * kCopyBlock;
/// To read more than this of nothing takes longer than the copy does: such a file has no sum.
constexpr std::uint64_t kMostHoles = std::uint64_t{1} << 32;
/// The disk begins to write a large file while it is copied, in steps of this many bytes.
constexpr std::uint64_t kWriteStep = 64 * kCopyBlock;
/// A file that changes while it is copied is copied up to this many times; a larger one once, since
/// what takes so long may be changing all the time.
constexpr unsigned kMostTries = 3;
constexpr std::uint64_t kLargestAgain = std::uint64_t{1} << 30;
constexpr std::uint32_t kOpenRetryDelay = 1000, kPumpSlice = 50;  // milliseconds
/// More than one tick of the clock that a disk takes its times from.
constexpr std::chrono::milliseconds kTick{20};

/// Whether a file may change once more without its times telling it: within one tick they are the
/// same. A disk whose clock is another's, or which keeps whole seconds, is not asked for more.
bool ChangedJustNow(const FileStatus& status) {
  const FileTime now = ChangeTimeNow();
  const std::int64_t seconds = now.Seconds - status.Changed.Seconds;
  // A disk may hold times that no count of nanoseconds reaches.
  if (seconds < -1 || seconds > 1) return false;
  const auto passed = std::chrono::seconds(seconds) +
                      std::chrono::nanoseconds(now.Nanoseconds - status.Changed.Nanoseconds);
  return passed < kTick && passed > -kTick;
}

/// What a copy tells, and whether it is to go on. Without a context nobody is told.
class Show {
 public:
  explicit Show(CopyContext* context) : context_(context) {}

  bool Quiet() const { return !context_; }

  void Begin(const CopySide& source, const CopySide& dest) const {
    context_->State.CancelRequested = false;
    context_->State.LastApiError = 0;
    if (context_->Sink) {
      context_->Sink->DrawCaptions(source.FolderPath, dest.FolderPath, source.Name);
    }
  }

  void Pump() const {
    if (!context_) return;
    if (context_->Sink) {
      context_->Sink->PumpMessages();
    } else if (context_->Pump) {
      context_->Pump->PumpMessages();
    }
  }

  void Report(std::uint64_t done, std::uint64_t size) const {
    if (!context_) return;
    if (context_->Sink) {
      context_->Sink->ApiFileCopyCallback(size, done, 0, size, done, kCopyBlock);
    } else {
      Pump();
    }
  }

  bool HasSink() const { return context_ && context_->Sink; }

  bool Cancelled(CopyResult& result) const {
    if (!context_ || !context_->State.CancelRequested) return false;
    context_->State.LastApiError = -1;
    result.Message = u"User Abort";
    return true;
  }

  std::u16string FailedText(std::u16string_view text, const CopySide& side, ErrorCode error) const {
    if (!context_) return {};
    return FailText(context_->State, error, text, std::u16string(side.FolderPath) += side.Name);
  }

  /// Opens, with one more try after a second where the program that held the file may have let go;
  /// what is refused for good costs no second, for there may be a hundred thousand of it. The wait
  /// is cut into slices, so that nothing freezes and a cancel ends it.
  template <typename Open>
  Result<File> OpenPatiently(Open open) const {
    Result<File> file = open();
    if (file || !context_ || !MayPass(file.Error)) return file;
    for (std::uint32_t waited = 0; waited < kOpenRetryDelay; waited += kPumpSlice) {
      context_->Time.Sleep(kPumpSlice);
      Pump();
      if (context_->State.CancelRequested) return file;
    }
    return open();
  }

 private:
  CopyContext* const context_;
};

/// Has `make` make something under the copy's own name, where it is to have that at once, else
/// under one temporary name after the other until one is free; `temp` gets it.
template <typename Make>
auto MakeUnderName(TempNames& names, const CopySide& dest, std::u16string& temp, Make make) {
  temp = dest.UnderOwnName ? std::u16string(dest.Name) : names.Next();
  auto made = make(temp);
  while (IsTaken(made.Error) && !dest.UnderOwnName) {
    temp = names.Next();
    made = make(temp);
  }
  return made;
}

/// One copy from its first check until it is complete under a temporary name.
class FileCopy {
 public:
  /// `opened`: see StageQuietly.
  FileCopy(const Show& show, TempNames& names, const CopySide& source, const CopySide& dest,
           File opened = {})
      : show_(show),
        names_(names),
        source_(source),
        dest_(dest),
        size_(source.Status->Size),
        source_file_(std::move(opened)) {
    if (source_file_) from_ = *source.Status;
  }

  /// False when it failed; nothing is left then.
  bool Stage(StagedFile& staged) {
    if (show_.Cancelled(result_)) return false;
    show_.Pump();
    const bool is_link = source_.Status->Kind == FileKind::Link;
    if (!(is_link ? ReadSourceLink() : OpenSource())) return false;
    if (dest_.Status && dest_.Status->Kind == FileKind::Folder) {
      return Fail(u"Could Not Open Destination File", dest_, kErrExists);
    }
    if (!(is_link ? MakeLink() : CopyFile())) {
      dest_file_.Close();
      if (created_ && dest_.Opened.RemoveFile(temp_)) names_.NoteLeft();
      return false;
    }
    result_.Failed = false;
    result_.BytesCopied = size_;
    staged = {std::move(temp_), std::u16string(dest_.Name), dest_.Status != nullptr, false, sum_};
    return true;
  }

  const CopyResult& Outcome() const { return result_; }
  const FileStatus& Opened() const { return from_; }

 private:
  bool Fail(std::u16string_view text, const CopySide& side, ErrorCode error) {
    result_.Message = show_.FailedText(text, side, error);
    return false;
  }

  bool OpenSource() {
    if (source_file_) return !ChangedJustNow(from_);
    Result<File> file = show_.OpenPatiently([&] { return source_.Opened.OpenFile(source_.Name); });
    return TakeSource(std::move(file)) || Fail(u"Could Not Open Source File", source_, file.Error);
  }

  /// The name may have come to mean another file since it was looked at: what is opened counts.
  bool TakeSource(Result<File>&& file) {
    if (!file) return false;
    Result<FileStatus> opened = file->Status();
    if (opened && ChangedJustNow(*opened)) {
      if (show_.Quiet()) return false;
      std::this_thread::sleep_for(kTick);
      opened = file->Status();
    }
    file.Error = opened ? kErrInvalid : opened.Error;
    // A quiet copy is made because of what was seen.
    if (!opened || opened->Kind != FileKind::File ||
        (show_.Quiet() && !SameContent(*opened, *source_.Status))) {
      return false;
    }
    source_file_ = std::move(*file);
    from_ = *opened;
    size_ = from_.Size;
    return true;
  }

  static bool SameContent(const FileStatus& a, const FileStatus& b) {
    return a.Size == b.Size && a.Written == b.Written;
  }

  bool ReadSourceLink() {
    Result<std::u16string> target = source_.Opened.ReadLink(source_.Name);
    if (!target) return Fail(u"Could Not Open Source File", source_, target.Error);
    link_target_ = std::move(*target);
    return true;
  }

  bool MakeLink() {
    const auto made = MakeUnderName(names_, dest_, temp_, [&](std::u16string_view name) {
      return Result<bool>{true, dest_.Opened.MakeLink(name, link_target_)};
    });
    if (!made) return Fail(u"Could Not Open Destination File", dest_, made.Error);
    created_ = true;
    Warn(u"Could Not Set Destination File Times",
         dest_.Opened.SetLinkTimes(temp_, *source_.Status));
    Warn(u"Could Not Set Destination File Attributes",
         dest_.Opened.CarryLinkAttributes(temp_, source_.Opened, source_.Name));
    return true;
  }

  bool CopyFile() {
    const auto make = [&](std::u16string_view name) { return dest_.Opened.MakeFile(name, from_); };
    Result<File> file =
        show_.OpenPatiently([&] { return MakeUnderName(names_, dest_, temp_, make); });
    if (!file) return Fail(u"Could Not Open Destination File", dest_, file.Error);
    created_ = true;
    dest_file_ = std::move(*file);
    dest_file_.CarryFlags(source_file_);
    if (dest_.PassesAccessOn) dest_file_.DropInheritedAccess();
    if (!CopyVersion()) return false;
    if (show_.HasSink()) show_.Report(size_, size_);
    const ErrorCode times_error = dest_file_.SetTimes(from_);
    const ErrorCode sync_error = dest_.SyncsEach ? dest_file_.Sync() : 0;
    // A network disk may tell only now that the data did not fit.
    const ErrorCode close_error = dest_file_.Close();
    if (const ErrorCode error = sync_error ? sync_error : close_error) {
      return Fail(u"Could Not Write Destination File", dest_, error);
    }
    Warn(u"Could Not Set Destination File Times", times_error);
    Warn(u"Could Not Set Destination File Attributes", attributes_error_);
    // What is amiss is told when the file's turn comes.
    return !(show_.Quiet() && result_.Warning);
  }

  void Warn(std::u16string_view text, ErrorCode error) {
    if (!error) return;
    result_.Message = show_.FailedText(text, dest_, error);
    result_.Warning = true;
  }

  /// Copies content and attributes, once more where the source has changed meanwhile. A source that
  /// does not come to rest is copied as far as it was there, with a warning.
  bool CopyVersion() {
    for (unsigned tries = 1;; ++tries) {
      show_.Report(0, size_);
      if (!CopyBlocks() && !shrunk_) return false;
      if (!shrunk_) attributes_error_ = dest_file_.SetAttributes(from_, source_file_);
      const Result<FileStatus> now = source_file_.Status();
      if (!now) return Fail(u"Could Not Read Source File", source_, now.Error);
      const bool same_content = !shrunk_ && SameContent(*now, from_);
      if (same_content && now->Changed == from_.Changed) return true;
      if (show_.Quiet()) return false;
      const bool enough =
          tries == kMostTries || size_ > kLargestAgain || (same_content && tries > 1);
      // Where its name is another's by now, or nobody's, what was open is whole all the same.
      if (enough || !TakeSource(source_.Opened.OpenFile(source_.Name))) {
        if (shrunk_) return Fail(u"Could Not Read Source File", source_, 0);
        if (!same_content) WarnOfChange();
        return true;
      }
      if (!BeginAgain()) return false;
    }
  }

  void WarnOfChange() {
    // What was read twice may have been read differently.
    sum_.reset();
    result_.Message = u"Source File Changed While It Was Copied: ";
    (result_.Message += source_.FolderPath) += source_.Name;
    result_.Warning = true;
  }

  bool BeginAgain() {
    result_ = {};
    shrunk_ = skipped_ = false;
    buffer_.reset();
    summing_.reset();
    behind_.reset();
    sum_.reset();
    ErrorCode error = dest_file_.Seek(0);
    if (!error) error = dest_file_.SetSize(0);
    return !error || Fail(u"Could Not Write Destination File", dest_, error);
  }

  bool CopyBlocks() {
    std::uint64_t done = 0, begun = 0, told = 0;
    unsigned blocks = 0;
    const bool sparse = from_.Allocated < size_;
    data_end_ = sparse ? 0 : size_;
    sums_ = dest_.Summed && (!sparse || size_ - from_.Allocated <= kMostHoles);
    if (sums_ && size_ <= kLargestReadThrough) {
      summing_.emplace();
      buffer_ = std::make_unique_for_overwrite<char[]>(
          static_cast<std::size_t>(std::min<std::uint64_t>(size_, kCopyBlock)));
    }
    while (done < size_) {
      if (show_.Cancelled(result_)) return false;
      if (done == data_end_ && !FindData(done)) return false;
      std::uint64_t copied = 0;
      if (done < size_ && !CopyInSystem(done, copied)) return false;
      if (done < size_ && copied == 0 && !CopyBlock(done, copied)) return false;
      const std::uint64_t until = done + copied;
      do {
        done = std::min(until, done + kCopyBlock);
        // Many small holes are told as one block.
        if (const bool whole = done - told >= kCopyBlock; whole || done == size_) {
          if (show_.HasSink() || !whole || ++blocks % 5 == 0) show_.Report(done, size_);
          told = done;
        }
        if (done < until && show_.Cancelled(result_)) return false;
      } while (done < until);
      if (done - begun >= kWriteStep) {
        dest_file_.BeginWriting(begun, done - begun);
        begun = done;
      }
    }
    if (summing_) sum_ = summing_->End();
    if (behind_) sum_ = behind_->Finish(size_);
    if (!skipped_) return true;
    const ErrorCode error = dest_file_.SetSize(size_);
    return !error || Fail(u"Could Not Write Destination File", dest_, error);
  }

  /// Moves `done` on to where there is data, and finds where that ends. A file system that does not
  /// tell has data everywhere.
  bool FindData(std::uint64_t& done) {
    const Result<std::uint64_t> data = source_file_.NextData(done);
    const std::uint64_t next = data ? std::clamp(*data, done, size_) : done;
    const Result<std::uint64_t> hole = next < size_ && data ? source_file_.NextHole(next) : data;
    data_end_ = hole && *hole > next && *hole < size_ ? *hole : size_;
    skipped_ = skipped_ || next > done;
    if (summing_) summing_->AddZeros(next - done);
    done = next;
    return SeekBoth(next);
  }

  bool SeekBoth(std::uint64_t position) {
    if (const ErrorCode error = source_file_.Seek(position)) {
      return Fail(u"Could Not Read Source File", source_, error);
    }
    const ErrorCode error = dest_file_.Seek(position);
    return !error || Fail(u"Could Not Write Destination File", dest_, error);
  }

  /// Copies some of the data at hand inside the system: how much, or 0 where it did not do all.
  bool CopyInSystem(std::uint64_t done, std::uint64_t& copied) {
    if (buffer_) return true;
    const std::uint64_t length = std::min(kSystemStep, data_end_ - done);
    const Result<std::uint64_t> did = dest_file_.CopyFrom(source_file_, length);
    if (did && *did == length) {
      copied = length;
      SumCopied(done + length);
      return true;
    }
    if (sums_ && !behind_) {
      summing_.emplace().AddZeros(done);
    }
    source_file_.HintSequential();
    buffer_ = std::make_unique_for_overwrite<char[]>(kCopyBlock);
    return SeekBoth(done);
  }

  /// So much has been copied inside the system.
  void SumCopied(std::uint64_t done) {
    if (!sums_) return;
    if (!behind_) behind_ = std::make_unique<SumBehind>(source_file_);
    behind_->Reach(done);
  }

  /// The next block through the buffer, which also tells which side failed.
  bool CopyBlock(std::uint64_t done, std::uint64_t& copied) {
    copied = std::min<std::uint64_t>(kCopyBlock, data_end_ - done);
    const std::span<char> block(buffer_.get(), static_cast<std::size_t>(copied));
    const Result<std::size_t> got = source_file_.Read(block);
    shrunk_ = got && *got < copied;
    if (!got || shrunk_) return Fail(u"Could Not Read Source File", source_, got.Error);
    if (summing_) summing_->Add(block);
    const ErrorCode error = dest_file_.Write({block.data(), block.size()});
    return !error || Fail(u"Could Not Write Destination File", dest_, error);
  }

  const Show show_;
  TempNames& names_;
  const CopySide source_, dest_;
  FileStatus from_;  ///< of the source file that is open
  std::uint64_t size_;
  std::uint64_t data_end_ = 0;  ///< where the data ends that is being copied
  CopyResult result_;
  File source_file_, dest_file_;
  ErrorCode attributes_error_ = 0;
  std::u16string link_target_, temp_;
  std::unique_ptr<char[]> buffer_;
  std::optional<Summing> summing_;     ///< of what goes through the buffer
  std::unique_ptr<SumBehind> behind_;  ///< of what is copied inside the system
  std::optional<ContentSum> sum_;
  bool created_ = false, skipped_ = false;
  bool sums_ = false;    ///< the sum is wanted
  bool shrunk_ = false;  ///< the source ended before its size
};

/// The temporary names of a context, or some for one copy alone.
TempNames& NamesOf(CopyContext& context, std::optional<TempNames>& own) {
  return context.Names ? *context.Names : own.emplace(context.Time, nullptr, u"");
}

}  // namespace

ErrorCode StagedFile::Commit(const Folder& folder, File* replaced) const {
  if (TempName == Name) return 0;
  if (!Replaces) return folder.Rename(TempName, Name);
  Result<File> held;
  if (replaced) held = folder.HoldEntry(Name);
  const ErrorCode error = folder.Replace(TempName, Name);
  if (replaced && !error && held) *replaced = std::move(*held);
  // Between two names of one file nothing is renamed, which is no error.
  if (IsLink && !error) folder.RemoveFile(TempName);
  return error;
}

CopyResult StageShown(CopyContext& context, const CopySide& source, const CopySide& dest,
                      StagedFile& staged, FileStatus* opened) {
  std::optional<TempNames> own;
  const Show show(&context);
  show.Begin(source, dest);
  FileCopy copy(show, NamesOf(context, own), source, dest);
  if (copy.Stage(staged)) context.State.LastApiError = 0;
  if (opened) *opened = copy.Opened();
  return copy.Outcome();
}

bool StageQuietly(TempNames& names, const CopySide& source, const CopySide& dest,
                  StagedFile& staged, File opened) {
  return FileCopy(Show(nullptr), names, source, dest, std::move(opened)).Stage(staged);
}

namespace {

bool IsWhatWasSeen(const Result<FileStatus>& opened, const FileStatus& seen) {
  return opened && opened->Kind == FileKind::File && opened->Id == seen.Id &&
         opened->Size == seen.Size && opened->Written == seen.Written;
}

}  // namespace

ErrorCode StageLink(TempNames& names, const Folder& from, std::u16string_view from_name,
                    const CopySide& dest, StagedFile& staged) {
  std::u16string temp;
  const auto made = MakeUnderName(names, dest, temp, [&](std::u16string_view name) {
    return Result<bool>{true, dest.Opened.LinkFile(from, from_name, name)};
  });
  if (made) staged = {std::move(temp), std::u16string(dest.Name), dest.Status != nullptr, true};
  return made.Error;
}

ErrorCode StageClone(TempNames& names, const CopySide& source, const CopySide& content,
                     const CopySide& dest, StagedFile& staged) {
  const Result<File> from = source.Opened.OpenFile(source.Name);
  const Result<File> like = from ? content.Opened.OpenFile(content.Name) : Result<File>();
  if (!from || !like) return from ? like.Error : from.Error;
  if (!IsWhatWasSeen(from->Status(), *source.Status) ||
      !IsWhatWasSeen(like->Status(), *content.Status)) {
    return kErrInvalid;
  }
  std::u16string temp;
  Result<File> file = MakeUnderName(names, dest, temp, [&](std::u16string_view name) {
    return dest.Opened.MakeFile(name, *source.Status);
  });
  if (!file) return file.Error;
  file->CarryFlags(*from);
  if (dest.PassesAccessOn) file->DropInheritedAccess();
  ErrorCode error = file->CloneFrom(*like);
  if (!error) error = file->SetAttributes(*source.Status, *from);
  if (!error) error = file->SetTimes(*source.Status);
  if (!error && dest.SyncsEach) error = file->Sync();
  if (const ErrorCode closing = file->Close(); !error) error = closing;
  if (!error) {
    staged = {std::move(temp), std::u16string(dest.Name), dest.Status != nullptr};
  } else if (dest.Opened.RemoveFile(temp)) {
    names.NoteLeft();
  }
  return error;
}

CopyResult ShowStaged(CopyContext& context, const CopySide& source, const CopySide& dest) {
  const Show show(&context);
  const std::uint64_t size = source.Status->Size;
  CopyResult result;
  show.Begin(source, dest);
  if (show.Cancelled(result)) return result;
  show.Pump();
  show.Report(0, size);
  for (std::uint64_t done = 0; done < size;) {
    if (show.Cancelled(result)) return result;
    done += std::min<std::uint64_t>(kCopyBlock, size - done);
    show.Report(done, size);
  }
  if (show.HasSink()) show.Report(size, size);
  result.Failed = false;
  result.BytesCopied = size;
  return result;
}

CopyResult CopyFileChunked(CopyContext& context, const CopySide& source, const CopySide& dest,
                           bool overwrite_in_place) {
  std::optional<TempNames> own;
  CopySide to = dest;
  to.SyncsEach = true;
  if (overwrite_in_place && to.Status && to.Status->Kind != FileKind::Folder) {
    to.Opened.RemoveFile(to.Name);
    to.Status = nullptr;
  }
  const Show show(&context);
  StagedFile staged;
  FileCopy copy(show, NamesOf(context, own), source, to);
  if (!copy.Stage(staged)) return copy.Outcome();
  CopyResult result = copy.Outcome();
  File replaced;
  ErrorCode error = staged.Commit(to.Opened, &replaced);
  if (error) {
    staged.RollBack(to.Opened);
  } else {
    error = to.Opened.Sync();
  }
  if (error) {
    result = {};
    result.Message = show.FailedText(u"Could Not Write Destination File", to, error);
  } else {
    context.State.LastApiError = 0;
  }
  return result;
}

CopyResult CopyFileShown(CopyContext& context, const CopySide& source, const CopySide& dest) {
  Show(&context).Begin(source, dest);
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
  const CopySide to_side{
      *to,   dest.Folder, PathName(dest.FullPath), dest.Failed ? nullptr : &dest.Status,
      false, false,       to->PassesAccessOn()};
  return CopyFileShown(context, from_side, to_side);
}

}  // namespace kavrel
