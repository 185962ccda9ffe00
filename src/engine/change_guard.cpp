#include "engine/change_guard.h"

#include <algorithm>
#include <bit>

#include "base/number.h"
#include "base/translation.h"
#include "engine/refusal.h"
#include "engine/states.h"
#include "files/content_kind.h"
#include "log/log_end.h"

namespace kavrel {

namespace {

/// What was found is forgotten when nothing has followed for so long.
constexpr std::chrono::days kForgotten{90};

/// Whether a file is one whose content can be told from noise.
bool IsTellable(const FileStatus& status) {
  return status.Kind == FileKind::File && status.Size >= kLeastNoise;
}

bool IsEncrypted(ContentKind kind) {
  return kind == ContentKind::Noise || kind == ContentKind::Sealed;
}

/// The name without its last suffix.
std::u16string_view StemOf(std::u16string_view name) {
  const std::size_t dot = name.rfind(u'.');
  return dot == name.npos ? name : name.substr(0, dot);
}

std::vector<std::u16string> NamesIn(const Folder& folder) {
  std::vector<std::u16string> names;
  FolderReader reader(folder);
  while (const FolderEntry* entry = reader.Next()) {
    // What this run copies ahead lies there under temporary names.
    if (entry->Kind == FileKind::File && !TempNumber(entry->Name)) names.push_back(entry->Name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

/// The newest other state of the job alone; empty without one.
std::u16string NewestOther(const RunContext& context, const BackupJob& job,
                           std::u16string_view unit) {
  std::u16string second;
  for (const JobState& state : ListStates(context, job)) {
    if (!state.Own || state.Unit == unit) continue;
    if (IsEnded(state)) return state.Unit;
    if (second.empty() && WasWhole(state)) second = state.Unit;
  }
  return second;
}

/// What a suffix, or a mark that somebody puts behind a name, begins with.
bool IsBorder(char16_t c) {
  return std::u16string_view(u".-_ ([{~!#@+,").find(c) != std::u16string_view::npos;
}

/// The first of the names, none of which is taken, that is the stem with a known format's suffix;
/// their end for none.
std::size_t Beside(const std::vector<std::u16string>& names, const std::vector<bool>& known,
                   const std::vector<bool>& taken, std::u16string_view stem) {
  constexpr int kMost = 4;
  const std::u16string start = std::u16string(stem) + u'.';
  auto at = std::lower_bound(names.begin(), names.end(), start);
  for (int tried = 0; !stem.empty() && tried < kMost && at != names.end(); ++at, ++tried) {
    if (!at->starts_with(start)) break;
    const auto place = static_cast<std::size_t>(at - names.begin());
    if (known[place] && !taken[place]) return place;
  }
  return names.size();
}

}  // namespace

std::shared_ptr<ChangeWatch> ChangeWatch::Begin(RunContext& context, BackupJob& job,
                                                std::u16string_view unit) {
  KnownChanges& known = job.Extras.Changes;
  if (!job.Extras.GuardChanges) return nullptr;
  if (known.Last != kZeroDate && job.RunStarted - known.Last > kForgotten) {
    known.Sure = known.Likely = 0;
    known.Last = kZeroDate;
    known.Good.clear();
  }
  const bool asks = job.Compressed ? bool(context.Files.Status(unit))
                                   : unit.empty() || context.Files.FolderExists(unit);
  // What makes a new state loses nothing while the alarm stands; what enters an old one may.
  const bool alarmed = IsAlarmed(job.Extras);
  if (alarmed && (!asks || context.Force)) return nullptr;
  if (asks && context.Force) AcceptChanges(job.Extras);
  if (known.Sure < 0) return nullptr;
  return std::shared_ptr<ChangeWatch>(new ChangeWatch(context, job, asks));
}

ChangeWatch::ChangeWatch(RunContext& context, BackupJob& job, bool asks)
    : context_(context),
      job_(job),
      asks_(asks),
      sure_(job.Extras.Changes.Sure),
      likely_(job.Extras.Changes.Likely) {}

std::string_view ChangeWatch::Head(const Folder& folder, std::u16string_view name) {
  static_assert(sizeof(buffer_) == kContentHead);
  const Result<File> file = folder.OpenFile(name);
  const Result<std::size_t> read =
      file ? file->ReadAt(0, buffer_) : Result<std::size_t>::Fail(file.Error);
  return {buffer_.data(), read ? *read : 0};
}

bool ChangeWatch::MayCopy(const FolderPair& pair, const WalkPaths& paths, std::u16string_view name,
                          const FileStatus& source, const FileStatus* dest) {
  if (agreed_ || !IsTellable(source)) return true;
  const bool by_former = context_.Making.Former != nullptr;
  const Folder& old = by_former ? pair.Former : pair.Dest;
  if (!old || (!by_former && pair.DestIsNew)) return true;
  Result<FileStatus> former;
  if (by_former) {
    former = old.Status(name);
    dest = former ? &*former : nullptr;
  }
  if (!dest) {
    // Those of a mirror were looked at before anything went.
    if ((asks_ && job_.Synchronise) || !new_.Takes()) return true;
    if (names_of_ != paths.Source()) {
      names_of_ = paths.Source();
      listed_ = false;
    }
    const NewFile file = ReadNew(pair.Source, name, source.Size);
    if (!IsEncrypted(file.Kind)) return true;
    if (!std::exchange(listed_, true)) names_ = Compare(pair.Source, old);
    LookAtNew(file, old, names_, paths.Source());
  } else if (dest->Kind == FileKind::File && dest->Size > 0) {
    const bool same = dest->Size == source.Size && dest->Written == source.Written;
    Sampler& sampler = same ? same_ : changed_;
    const std::uint32_t weight = sampler.Stride;
    if (!sampler.Takes()) return true;
    LookAtChanged(pair.Source, name, old, *dest, weight, paths.Source());
  }
  return Passes();
}

void ChangeWatch::LookAtChanged(const Folder& source, std::u16string_view name, const Folder& old,
                                const FileStatus& before, std::uint32_t weight,
                                std::u16string_view path) {
  const ContentKind now = JudgeContent(name, Head(source, name));
  if (!IsEncrypted(now)) return;
  const ContentKind was = JudgeContent(name, Head(old, name));
  if (was == ContentKind::Format) {
    Found(now == ContentKind::Noise, weight, path, name);
  } else if (was == ContentKind::Plain && before.Size >= kLeastNoise) {
    Found(false, weight, path, name);
  }
}

ChangeWatch::Names ChangeWatch::Compare(const Folder& source, const Folder& old) {
  const std::vector<std::u16string> now = NamesIn(source), before = NamesIn(old);
  Names names;
  std::set_difference(before.begin(), before.end(), now.begin(), now.end(),
                      std::back_inserter(names.Gone));
  for (const std::u16string& name : names.Gone) names.Known.push_back(HasKnownFormat(name));
  std::set_difference(now.begin(), now.end(), before.begin(), before.end(),
                      std::back_inserter(names.Fresh));
  names.Taken.resize(names.Gone.size());
  if (names.Gone.empty()) return names;
  std::set_intersection(now.begin(), now.end(), before.begin(), before.end(),
                        std::back_inserter(names.Kept));
  std::erase_if(names.Kept, [](const std::u16string& name) { return HasKnownFormat(name); });
  return names;
}

std::size_t ChangeWatch::ByName(const Names& names, std::u16string_view name) {
  const std::vector<std::u16string>& gone = names.Gone;
  // "a.jpg.locked" and "a.jpg-locked" are behind "a.jpg", "a.locked" beside it.
  auto at = std::upper_bound(gone.begin(), gone.end(), name);
  const auto place = [&] { return static_cast<std::size_t>(at - gone.begin()); };
  for (int back = 0; back < 3 && at != gone.begin(); ++back) {
    if (!name.starts_with(*--at)) continue;
    // Names without a suffix often begin alike.
    if (!names.Known[place()] && !IsBorder(name[at->size()])) continue;
    // The parts of a file that was cut up are no more than that one.
    return names.Taken[place()] ? gone.size() : place();
  }
  return Beside(names.Gone, names.Known, names.Taken, StemOf(name));
}

std::size_t ChangeWatch::ByLikeName(const Names& names, std::u16string_view name) {
  constexpr std::size_t kMost = 1000, kShortest = 5;
  const std::vector<std::u16string>& gone = names.Gone;
  const std::u16string_view stem = name.substr(0, name.find(u'.'));
  const std::size_t beside = Beside(gone, names.Known, names.Taken, stem);
  if (beside < gone.size()) return beside;
  for (std::size_t i = 0; i < std::min(gone.size(), kMost); ++i) {
    if (gone[i].size() >= kShortest && !names.Taken[i] && name.ends_with(gone[i])) return i;
  }
  return gone.size();
}

void ChangeWatch::LearnSizes(const Folder& old, Names& names) {
  constexpr std::size_t kMost = 1000;
  if (std::exchange(names.Sized, true)) return;
  for (std::size_t i = 0; i < std::min(names.Gone.size(), kMost); ++i) {
    const Result<FileStatus> status = old.Status(names.Gone[i]);
    if (status && status->Size >= kLeastNoise) names.Sizes.emplace_back(status->Size, i);
  }
  std::sort(names.Sizes.begin(), names.Sizes.end());
}

std::size_t ChangeWatch::BySize(const Folder& old, Names& names, std::uint64_t size) {
  // A key and the like are added to what is encrypted.
  constexpr std::uint64_t kMore = 1040;
  LearnSizes(old, names);
  auto& sizes = names.Sizes;
  auto found = std::lower_bound(sizes.begin(), sizes.end(),
                                std::pair(size - std::min(size, kMore), std::size_t{0}));
  while (found != sizes.end() && !names.Known[found->second]) ++found;
  if (found == sizes.end() || found->first > size) return names.Gone.size();
  const std::size_t place = found->second;
  // One file cannot have become two.
  sizes.erase(found);
  return place;
}

ChangeWatch::NewFile ChangeWatch::ReadNew(const Folder& folder, std::u16string_view name,
                                          std::uint64_t size) {
  NewFile file{name, size, {}, std::string(Head(folder, name))};
  file.Kind = JudgeContent(name, file.Head);
  return file;
}

bool ChangeWatch::IsMoved(const NewFile& file, const Folder& old, Names& names) {
  constexpr int kMost = 8;
  LearnSizes(old, names);
  auto at = std::lower_bound(names.Sizes.begin(), names.Sizes.end(),
                             std::pair(file.Size, std::size_t{0}));
  for (int tried = 0; at != names.Sizes.end() && at->first == file.Size && tried < kMost;
       ++at, ++tried) {
    if (Head(old, names.Gone[at->second]) != file.Head) continue;
    names.Taken[at->second] = true;
    names.Sizes.erase(at);
    return true;
  }
  return false;
}

void ChangeWatch::LookAtNew(const NewFile& file, const Folder& old, Names& names,
                            std::u16string_view path) {
  if (names.Gone.empty() || IsMoved(file, old, names)) return;
  std::size_t place = ByName(names, file.Name);
  const bool named = place < names.Gone.size();
  if (!named) place = ByLikeName(names, file.Name);
  if (place >= names.Gone.size()) place = BySize(old, names, file.Size);
  if (place >= names.Gone.size()) return;
  NoteMade(place, named && file.Kind == ContentKind::Noise, old, names, path, file.Name);
}

void ChangeWatch::NoteMade(std::size_t place, bool sure, const Folder& old, Names& names,
                           std::u16string_view path, std::u16string_view name) {
  const std::u16string& before = names.Gone[place];
  const ContentKind was = JudgeContent(before, Head(old, before));
  if (was != ContentKind::Format) {
    const Result<FileStatus> status = old.Status(before);
    if (was != ContentKind::Plain || !status || status->Size < kLeastNoise) return;
  }
  names.Taken[place] = true;
  Found(sure && was == ContentKind::Format, new_.Stride, path, name);
}

ContentKind ChangeWatch::KindOf(const Folder& folder, std::u16string_view name) {
  const Result<FileStatus> status = folder.Status(name);
  return status && IsTellable(*status) ? JudgeContent(name, Head(folder, name))
                                       : ContentKind::Plain;
}

void ChangeWatch::LookAtKept(const Folder& source, const Folder& old, Names& names,
                             std::u16string_view path) {
  for (const std::u16string& name : names.Kept) {
    const std::size_t place = ByName(names, name);
    if (place >= names.Gone.size() || !new_.Takes()) continue;
    const ContentKind now = KindOf(source, name);
    if (IsEncrypted(now)) NoteMade(place, now == ContentKind::Noise, old, names, path, name);
  }
}

void ChangeWatch::LookAtFormer(const FolderPair& pair, std::u16string_view path) {
  const Result<FileStatus> former = pair.Former.Status();
  // Who takes a name out of a folder changes its time.
  if (!former || former->Written == pair.SourceStatus.Written) return;
  Names names = Compare(pair.Source, pair.Former);
  LookAtKept(pair.Source, pair.Former, names, path);
}

void ChangeWatch::LookAtFolder(const Folder& source, const Folder& dest, std::u16string_view path,
                               const std::vector<FolderEntry>& gone) {
  const bool files = std::any_of(gone.begin(), gone.end(), [](const FolderEntry& entry) {
    return entry.Kind == FileKind::File;
  });
  if (!files) return;
  Names names = Compare(source, dest);
  if (names.Gone.empty()) return;
  const std::lock_guard lock(mutex_);
  LookAtKept(source, dest, names, path);
  for (const std::u16string& name : names.Fresh) {
    if (!new_.Takes()) continue;
    const Result<FileStatus> status = source.Status(name);
    if (!status || !IsTellable(*status)) continue;
    const NewFile file = ReadNew(source, name, status->Size);
    if (IsEncrypted(file.Kind)) LookAtNew(file, dest, names, path);
  }
}

void ChangeWatch::Found(bool sure, std::uint32_t weight, std::u16string_view path,
                        std::u16string_view name) {
  if (sure) {
    ++sure_;
  } else {
    // One alone may be a chance, and does not stand for others.
    likely_ += found_ < 2 ? 1 : weight;
  }
  ++found_;
  if (example_.empty()) example_ = std::u16string(path) + std::u16string(name);
}

std::int64_t ChangeWatch::SureLimit() const {
  const std::int64_t files = job_.Extras.Changes.Files;
  return files < 0 ? 5 : std::clamp<std::int64_t>(files / 10, 3, 5);
}

std::int64_t ChangeWatch::LikelyLimit() const {
  const std::int64_t files = job_.Extras.Changes.Files;
  return files < 0 ? 20 : std::max<std::int64_t>(files / 12, 5);
}

bool ChangeWatch::IsTooMuch() const {
  return sure_ >= SureLimit() || sure_ + likely_ >= LikelyLimit();
}

std::u16string ChangeWatch::Text() const {
  return Fill(TrCountLater(u"%1 個檔案的內容變得像加密過的：%2"),
              {Grouped(static_cast<std::uint64_t>(sure_ + likely_)), example_});
}

bool ChangeWatch::Passes() {
  if (!asks_ || agreed_ || found_ == 0 || !IsTooMuch()) return true;
  return Ask();
}

bool ChangeWatch::Ask() {
  agreed_ = AskToGoOn(context_, job_, RunRefusal::ChangeGuard, kChangesTitle, Text());
  if (agreed_) {
    sure_ = likely_ = 0;
    found_ = 0;
    // An alarm is ended by name only: old states go again then.
    if (!IsAlarmed(job_.Extras)) AcceptChanges(job_.Extras);
  }
  return agreed_;
}

void ChangeWatch::LookAtPacked(const Folder& folder, std::u16string_view name,
                               const FileStatus& status) {
  // So many make the share sure enough.
  constexpr std::int64_t kEnough = 600;
  if (!IsTellable(status)) return;
  if (!HasKnownFormat(name) && !HasKnownFormat(StemOf(name))) return;
  const std::int64_t files = job_.Extras.Changes.Files;
  const auto stride = static_cast<std::uint32_t>(std::max<std::int64_t>(files / kEnough, 1));
  if (files < 0 ? !new_.Takes() : packed_++ % stride != 0) return;
  ++looked_;
  if (JudgeContent(name, Head(folder, name)) != ContentKind::Noise) return;
  ++odd_;
  if (example_.empty()) example_ = name;
}

bool ChangeWatch::MayPack() {
  if (!asks_ || !HoldsFarMore(job_.Extras.Changes.Usual)) return true;
  sure_ = odd_;
  return Ask();
}

std::int32_t ChangeWatch::OddShare() const {
  return looked_ == 0 ? 0 : static_cast<std::int32_t>(std::uint64_t{odd_} * 1000 / looked_);
}

/// Whether an archive holds far more of what does not go with its name than it used to; -1: this is
/// the first.
bool ChangeWatch::HoldsFarMore(std::int32_t usual) const {
  constexpr std::uint32_t kFewest = 5;
  constexpr std::int32_t kMore = 50;  // of a thousand
  return usual >= 0 && odd_ >= kFewest && OddShare() > usual + kMore;
}

bool ChangeWatch::JudgePacked(std::u16string_view unit) {
  constexpr std::int32_t kHardlyMore = 10;  // of a thousand
  KnownChanges& known = job_.Extras.Changes;
  if (looked_ == 0) return false;
  const std::int32_t share = OddShare();
  const std::int32_t usual = known.Usual < 0 ? share : known.Usual;
  known.Usual = std::min(usual, share);
  if (share <= usual + kHardlyMore) {
    known.Good.clear();
  } else if (known.Good.empty()) {
    known.Good = NewestOther(context_, job_, unit);
  }
  sure_ = odd_;
  return HoldsFarMore(usual);
}

void ChangeWatch::End(std::u16string_view unit) {
  KnownChanges& known = job_.Extras.Changes;
  if (job_.Compressed) {
    const bool asked =
        agreed_ || context_.Report.Refusal == RunRefusal::ChangeGuard || IsAlarmed(job_.Extras);
    if (!asked && JudgePacked(unit)) Raise(unit);
    return;
  }
  if (found_ > 0) known.Last = job_.RunStarted;
  if (!asks_ && found_ > 0 && known.Good.empty()) {
    known.Good = NewestOther(context_, job_, unit);
  }
  if (!asks_ && found_ > 0 && IsTooMuch()) return Raise(unit);
  if (context_.Report.Refusal == RunRefusal::ChangeGuard) {
    // The next run stops at the first that it finds, so that trying again loses nothing more.
    sure_ = std::min(sure_, SureLimit() - 1);
    likely_ = std::min(likely_, LikelyLimit() - 1 - sure_);
  }
  constexpr std::int64_t kMost = 1'000'000'000;
  known.Sure = static_cast<std::int32_t>(std::min(sure_, kMost));
  known.Likely = static_cast<std::int32_t>(std::clamp<std::int64_t>(likely_, 0, kMost));
}

void ChangeWatch::Raise(std::u16string_view unit) {
  KnownChanges& known = job_.Extras.Changes;
  known.Alarm = job_.RunStarted;
  known.Sure = known.Likely = 0;
  context_.Tell(kChangesAlarm, Text());
  ++context_.Report.Counters.WarningFiles;
  if (known.Good.empty() || PinState(context_.Files, job_, known.Good, true) != 0) {
    known.Good = NewestOther(context_, job_, unit);
    if (known.Good.empty() || PinState(context_.Files, job_, known.Good, true) != 0) return;
  }
  context_.LogTimed(u": 釘選變更之前的備份 (成功)：", known.Good);
}

void EndChanges(RunContext& context, BackupJob& job, std::u16string_view unit) {
  if (const auto changes = std::exchange(context.Changes, nullptr)) changes->End(unit);
  // What was accepted has been taken, but for files that failed.
  if (!context.Stopped()) job.Extras.Changes.Sure = std::max(job.Extras.Changes.Sure, 0);
  // Whoever switches it on again later does not mean what was there before.
  if (!job.Extras.GuardChanges) ForgetChanges(job.Extras);
  context.Report.Alarm = ChangeAlarmText(job);
}

void NoteFiles(BackupJob& job, std::uint64_t files) {
  // Rounded, so that the file of extras need not be written after every run.
  constexpr int kDigits = 5;
  const int drop = std::max<int>(static_cast<int>(std::bit_width(files)) - kDigits, 0);
  job.Extras.Changes.Files = static_cast<std::int64_t>(files >> drop << drop);
}

std::u16string ChangeAlarmText(const BackupJob& job) {
  if (!IsAlarmed(job.Extras)) return {};
  return Fill(u"自 %1 起檔案變得像加密過的，不移除任何舊備份", {IsoText(job.Extras.Changes.Alarm)});
}

}  // namespace kavrel
