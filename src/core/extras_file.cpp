#include "core/extras_file.h"

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "base/crc32.h"
#include "base/number.h"
#include "base/text.h"
#include "core/job_store.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "platform/files.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kFileName = u"Backup.ext", kEnding = u".ext", kStoreEnding = u".rtm",
                              kSection = u"[job]";
constexpr std::u16string_view kDefaultHead =
    u"# What the jobs of Backup.rtm have beyond their lines there. Lines that are not known are "
    u"kept.\r\n";

/// A text in one line, as the store keeps it and reads it back.
std::u16string OneLine(std::u16string_view text) {
  std::u16string line(Trim(text));
  for (char16_t& c : line) {
    if (c == u'\t' || c == u'\r' || c == u'\n') c = u' ';
  }
  return line;
}

using Key = std::array<std::u16string, 3>;

Key KeyOf(const BackupJob& job) {
  return {KeptName(OneLine(job.Name)), OneLine(job.Source.Path), OneLine(job.Destination.Path)};
}

struct KeyHash {
  std::size_t operator()(const Key& key) const {
    std::size_t hash = 0;
    for (const std::u16string& text : key) {
      hash = hash * 31 + std::hash<std::u16string>()(text);
    }
    return hash;
  }
};

/// Tells jobs of one key apart: a checksum of what else their lines hold, but for what runs and
/// timers change, and the password.
std::u16string LikenessOf(const BackupJob& job) {
  BackupJob rest;
  ParseJobLine(FormatJobLine(job), rest);
  rest.Name = rest.Source.Path = rest.Destination.Path = {};
  rest.Enabled = false;
  rest.NextRun = rest.LastRun = kZeroDate;
  rest.Password = kDefaultPassword;
  return FromUtf8(std::to_string(Crc32(ToUtf8(FormatJobLine(rest)))));
}

struct SwitchField {
  std::u16string_view Name;
  bool JobExtras::*Field;
};
constexpr SwitchField kSwitches[] = {{u"GuardMirror", &JobExtras::GuardMirror},
                                     {u"CheckSpace", &JobExtras::CheckSpace},
                                     {u"VerifyAfterRun", &JobExtras::VerifyAfterRun},
                                     {u"KeepHardLinks", &JobExtras::KeepHardLinks},
                                     {u"NotBegun", &JobExtras::NotBegun},
                                     {u"Unseen", &JobExtras::Unseen},
                                     {u"Bad", &JobExtras::Bad},
                                     {u"Adopt", &JobExtras::Adopt}};
struct NumberField {
  std::u16string_view Name;
  std::int32_t JobExtras::*Field;
  std::int32_t First, Last;
};
constexpr NumberField kNumbers[] = {{u"GuardPercent", &JobExtras::GuardPercent, 1, 100},
                                    {u"GuardFewest", &JobExtras::GuardFewest, 1, kMaxGuardFewest},
                                    {u"KeepNewest", &JobExtras::KeepNewest, 0, kMaxKeepNewest}};
struct TextField {
  std::u16string_view Name;
  std::u16string JobExtras::*Field;
};
constexpr TextField kTexts[] = {{u"Id", &JobExtras::Id},
                                {u"MirroredTo", &JobExtras::MirroredTo},
                                {u"SourcePlace", &JobExtras::SourcePlace},
                                {u"DestinationPlace", &JobExtras::DestinationPlace}};
constexpr std::u16string_view kKeyNames[] = {u"Name", u"Source", u"Destination"};
struct BytesField {
  std::u16string_view Name;
  std::uint64_t JobExtras::*Field;
};
constexpr BytesField kBytes[] = {{u"SourceBytes", &JobExtras::SourceBytes},
                                 {u"LargestFile", &JobExtras::LargestFile},
                                 {u"SourceDiskBytes", &JobExtras::SourceDiskBytes}};
constexpr std::u16string_view kLastGood = u"LastGood", kUnbegun = u"Unbegun";
constexpr std::u16string_view kCauses[] = {u"source", u"archiver"};
constexpr std::u16string_view kMade = u"Made", kTimeMoved = u"TimeMoved", kMount = u"Mount",
                              kOldMount = u"SourceMount", kStateFiles = u"StateFiles",
                              kVerified = u"Verified", kLike = u"Like", kBefore = u"Before",
                              kSource = u"source", kDestination = u"destination";
// Known once: a mark tells the same, and is sure.
constexpr std::u16string_view kUnfinished = u"Unfinished";
/// What another installation knows of its own jobs.
constexpr std::u16string_view kOfRuns[] = {u"Id=",   u"Adopt=",      u"MirroredTo=",
                                           u"Made=", u"Unfinished=", u"Unbegun=",
                                           u"Bad=",  u"LastGood=",   u"Verified="};

void AddLine(std::u16string& text, std::u16string_view name, std::u16string_view value) {
  text += name;
  text += u'=';
  text += value;
  text += u"\r\n";
}

std::u16string FormatMount(const KnownMount& mount) {
  std::u16string text(mount.OfSource ? kSource : kDestination);
  (text += u'\t') += EscapeOctal(mount.Point);
  for (const std::u16string& mark : mount.Marks) (text += u'\t') += EscapeOctal(mark);
  return text;
}

void ParseMount(std::u16string_view value, JobExtras& extras) {
  const std::vector<std::u16string_view> fields = Split(value, u'\t');
  if (fields.size() < 2 || (fields[0] != kSource && fields[0] != kDestination)) return;
  KnownMount& mount = extras.Mounts.emplace_back(fields[0] == kSource, UnescapeOctal(fields[1]));
  for (std::size_t i = 2; i < fields.size(); ++i) mount.Marks.push_back(UnescapeOctal(fields[i]));
}

std::u16string FormatUnbegun(const UnbegunRun& run) {
  std::u16string text = DateTimeText(run.At);
  (text += u'\t') += kCauses[static_cast<std::size_t>(run.Why)];
  return (text += u'\t') += EscapeOctal(run.Text);
}

void ParseUnbegun(std::u16string_view value, JobExtras& extras) {
  const std::vector<std::u16string_view> fields = Split(value, u'\t');
  const std::optional<DateTime> at = fields.size() == 3 ? ParseDateTime(fields[0]) : std::nullopt;
  if (!at || extras.Unbegun.size() == kMaxUnbegun) return;
  const bool archiver = fields[1] == kCauses[1];
  extras.Unbegun.push_back({*at,
                            archiver ? UnbegunRun::Cause::NoArchiver : UnbegunRun::Cause::NoSource,
                            UnescapeOctal(fields[2])});
}

std::u16string FormatVerified(const VerifiedState& verified) {
  return IsoText(verified.When) + u'\t' + Decimal(verified.Damaged) + u'\t' +
         EscapeOctal(verified.Unit);
}

void ParseVerified(std::u16string_view value, JobExtras& extras) {
  const std::vector<std::u16string_view> fields = Split(value, u'\t');
  if (fields.size() != 3) return;
  const std::optional<DateTime> when = ParseDateTime(fields[0]);
  const std::optional<std::int32_t> damaged = ParseInt(fields[1]);
  if (!when || !damaged || *damaged < 0) return;
  extras.Verified.push_back(
      {UnescapeOctal(fields[2]), *when, static_cast<std::uint32_t>(*damaged)});
}

std::u16string FormatSection(const BackupJob& job) {
  const JobExtras& extras = job.Extras;
  const JobExtras defaults;
  std::u16string text(kSection);
  text += u"\r\n";
  const Key key = KeyOf(job);
  for (std::size_t i = 0; i < key.size(); ++i) AddLine(text, kKeyNames[i], key[i]);
  AddLine(text, kLike, LikenessOf(job));
  for (const auto& [name, field] : kSwitches) {
    if (extras.*field != defaults.*field) AddLine(text, name, extras.*field ? u"1" : u"0");
  }
  for (const auto& [name, field, first, last] : kNumbers) {
    if (extras.*field != defaults.*field) AddLine(text, name, Decimal(extras.*field));
  }
  for (const auto& [name, field] : kTexts) {
    if (!(extras.*field).empty()) AddLine(text, name, OneLine(extras.*field));
  }
  for (const auto& [name, field] : kBytes) {
    if (extras.*field > 0) AddLine(text, name, FromUtf8(std::to_string(extras.*field)));
  }
  if (extras.TimeMoved != kZeroDate) AddLine(text, kTimeMoved, DateTimeText(extras.TimeMoved));
  if (extras.LastGood != kZeroDate) AddLine(text, kLastGood, DateTimeText(extras.LastGood));
  for (const UnbegunRun& run : extras.Unbegun) AddLine(text, kUnbegun, FormatUnbegun(run));
  if (extras.StateFiles >= 0) AddLine(text, kStateFiles, Decimal(extras.StateFiles));
  for (const KnownMount& mount : extras.Mounts) AddLine(text, kMount, FormatMount(mount));
  for (const std::u16string& made : extras.Made) AddLine(text, kMade, OneLine(made));
  for (const VerifiedState& one : extras.Verified) AddLine(text, kVerified, FormatVerified(one));
  for (const std::u16string& line : extras.OtherLines) text += line + u"\r\n";
  return text;
}

struct Section {
  kavrel::Key Key;
  std::u16string Like;
  bool Before = false;  ///< out of date as soon as the store is saved
  JobExtras Extras;
};

std::uint64_t ParseBytes(std::u16string_view value) {
  const std::optional<double> number = ParseNumber(value);
  return number && *number >= 1 && *number < 9e18 ? static_cast<std::uint64_t>(*number) : 0;
}

/// False when the line is none that a section is known to have.
bool ParseLine(std::u16string_view line, Section& section) {
  const std::size_t equals = line.find(u'=');
  if (equals == line.npos) return false;
  const std::u16string_view name = line.substr(0, equals), value = line.substr(equals + 1);
  JobExtras& extras = section.Extras;
  for (std::size_t i = 0; i < section.Key.size(); ++i) {
    if (name == kKeyNames[i]) return section.Key[i] = OneLine(value), true;
  }
  for (const SwitchField& field : kSwitches) {
    if (name == field.Name) {
      if (value == u"0" || value == u"1") extras.*field.Field = value == u"1";
      return true;
    }
  }
  for (const NumberField& field : kNumbers) {
    if (name == field.Name) {
      const auto number = ParseInt(value);
      if (number && *number >= field.First && *number <= field.Last) extras.*field.Field = *number;
      return true;
    }
  }
  for (const TextField& field : kTexts) {
    if (name == field.Name) return extras.*field.Field = value, true;
  }
  for (const BytesField& field : kBytes) {
    if (name == field.Name) return extras.*field.Field = ParseBytes(value), true;
  }
  if (name == kTimeMoved) return extras.TimeMoved = ParseDateTime(value).value_or(kZeroDate), true;
  if (name == kLastGood) return extras.LastGood = ParseDateTime(value).value_or(kZeroDate), true;
  if (name == kUnbegun) return ParseUnbegun(value, extras), true;
  if (name == kStateFiles) {
    const auto number = ParseInt(value);
    return extras.StateFiles = number && *number >= 0 ? *number : -1, true;
  }
  if (name == kMount) return ParseMount(value, extras), true;
  // It did not tell what held the source from what lay in it: the next run knows better.
  if (name == kOldMount) return true;
  if (name == kMade) return extras.Made.emplace_back(value), true;
  if (name == kVerified) return ParseVerified(value, extras), true;
  if (name == kLike) return section.Like = value, true;
  if (name == kBefore) return section.Before = true;
  if (name == kUnfinished) return true;
  return false;
}

/// Jobs of one name, source and destination, and the sections of such jobs, each in order.
struct Alike {
  std::vector<BackupJob*> Jobs;
  std::vector<Section*> Sections;

  /// Gives each job its section where it is sure which one that is.
  void Match() {
    MatchSections(false);
    // A store that was not saved any more knows its jobs as they were before.
    if (!Jobs.empty()) MatchSections(true);
  }

 private:
  void MatchSections(bool before) {
    std::vector<Section*> sections;
    bool all_known = true;
    std::unordered_map<std::u16string, Alike> equal;
    for (Section* section : Sections) {
      if (section->Before != before) continue;
      sections.push_back(section);
      equal[section->Like].Sections.push_back(section);
      all_known = all_known && !section->Like.empty();
    }
    const bool only = Jobs.size() == 1 && sections.size() == 1;
    if (!all_known || (only && !(before || WasBefore(*Jobs[0], *sections[0])))) {
      return Take(sections);
    }
    const std::vector<BackupJob*> all = std::exchange(Jobs, {});
    for (BackupJob* job : all) equal[LikenessOf(*job)].Jobs.push_back(job);
    for (auto& [likeness, group] : equal) {
      group.Take(group.Sections);
      Jobs.insert(Jobs.end(), group.Jobs.begin(), group.Jobs.end());
    }
  }

  /// Whether the job is not the one of this section, but of one that is out of date.
  bool WasBefore(const BackupJob& job, const Section& section) const {
    const std::u16string like = LikenessOf(job);
    return section.Like != like &&
           std::any_of(Sections.begin(), Sections.end(),
                       [&](const Section* other) { return other->Before && other->Like == like; });
  }

  /// Where some have come or gone, nobody can tell which. Jobs that have theirs are taken out.
  void Take(const std::vector<Section*>& sections) {
    if (Jobs.size() != sections.size()) return;
    for (std::size_t i = 0; i < Jobs.size(); ++i) Jobs[i]->Extras = std::move(sections[i]->Extras);
    Jobs.clear();
  }
};

std::vector<Section> ParseFile(std::u16string_view text, std::u16string& head) {
  std::vector<Section> sections;
  for (std::u16string_view line : Split(text, u'\n')) {
    if (line.ends_with(u'\r')) line.remove_suffix(1);
    if (line == kSection) {
      sections.emplace_back();
    } else if (Trim(line).empty()) {
      continue;
    } else if (sections.empty()) {
      (head += line) += u"\r\n";
    } else if (!ParseLine(line, sections.back())) {
      sections.back().Extras.OtherLines.emplace_back(line);
    }
  }
  return sections;
}

/// The sections of a file as they stand there.
std::vector<std::u16string_view> SectionTexts(std::u16string_view text) {
  std::vector<std::u16string_view> sections;
  const auto begins = [&](std::size_t at) {
    const std::u16string_view rest = text.substr(at);
    const std::u16string_view line = rest.substr(0, rest.find(u'\n'));
    return line == kSection ||
           (line.ends_with(u'\r') && line.substr(0, line.size() - 1) == kSection);
  };
  std::size_t start = text.npos;
  for (std::size_t at = 0; at < text.size();) {
    if (begins(at)) {
      if (start != text.npos) sections.push_back(text.substr(start, at - start));
      start = at;
    }
    const std::size_t end = text.find(u'\n', at);
    at = end == text.npos ? text.size() : end + 1;
  }
  if (start != text.npos) sections.push_back(text.substr(start));
  return sections;
}

/// The sections of `old` that `text` does not have.
std::u16string SectionsLeft(std::u16string_view old, std::u16string_view text) {
  const auto present = SectionTexts(text);
  const std::unordered_set<std::u16string_view> known(present.begin(), present.end());
  std::u16string left;
  for (const std::u16string_view section : SectionTexts(old)) {
    // Where a section ends the file, the blank line behind it is missing.
    if (known.contains(section) || known.contains(std::u16string(section) + u"\r\n")) continue;
    (left += u"\r\n") += kSection;
    left += u"\r\n";
    if (section.find(u"\nBefore=") == section.npos) AddLine(left, kBefore, u"1");
    left += section.substr(section.find(u'\n') + 1);
  }
  return left;
}

}  // namespace

void NoteEnd(JobExtras& extras, bool good, DateTime last_run) {
  if (good) {
    extras.LastGood = kZeroDate;
  } else if (!extras.Bad) {
    extras.LastGood = last_run;
  }
  extras.Bad = !good;
}

void NoteUnbegun(JobExtras& extras, UnbegunRun run, DateTime last_run) {
  std::vector<UnbegunRun>& runs = extras.Unbegun;
  const bool again = !runs.empty() && run.Why == UnbegunRun::Cause::NoArchiver &&
                     runs.back().Why == run.Why && last_run <= runs.back().At &&
                     run.At - runs.back().At < std::chrono::hours(1) && run.At >= runs.back().At;
  extras.NotBegun = true;
  if (again) return;
  if (runs.size() == kMaxUnbegun) runs.erase(runs.begin());
  runs.push_back(std::move(run));
}

void ForgetRuns(JobExtras& extras) {
  const ExtraSettings settings = extras;
  extras = {};
  static_cast<ExtraSettings&>(extras) = settings;
}

void ForgetPlaces(JobExtras& extras) {
  const JobExtras none;
  extras.MirroredTo.clear();
  extras.Mounts.clear();
  extras.SourcePlace.clear();
  extras.DestinationPlace.clear();
  extras.StateFiles = none.StateFiles;
  extras.SourceBytes = extras.LargestFile = extras.SourceDiskBytes = 0;
  extras.Made.clear();
  extras.Verified.clear();
}

void AcceptPlaces(JobExtras& extras) {
  extras.Mounts.clear();
  if (extras.StateFiles > 0 || !extras.Made.empty()) extras.StateFiles = 0;
}

ExtrasFile::ExtrasFile(const FileSystem& file_system)
    : file_system_(file_system), file_(file_system, kFileName) {}

ErrorCode ExtrasFile::Load(std::vector<BackupJob>& jobs) {
  Result<std::string> bytes = file_.Read();
  const bool missing = IsNotFound(bytes.Error);
  unreadable_ = missing ? 0 : bytes.Error;
  head_ = kDefaultHead;
  bytes_.reset();
  if (missing) {
    // The jobs come from a version without this file: what has mirrored before need not ask.
    for (BackupJob& job : jobs) {
      if (job.Synchronise && job.LastRun != kZeroDate) job.Extras.MirroredTo = MirrorPlace(job);
    }
  }
  if (!bytes) return unreadable_;
  bytes_ = std::move(*bytes);
  std::string_view content = *bytes_;
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (content.starts_with(kByteOrderMark)) content.remove_prefix(kByteOrderMark.size());
  head_.clear();
  std::vector<Section> sections = ParseFile(FromUtf8(content), head_);
  std::unordered_map<Key, Alike, KeyHash> by_key;
  for (Section& section : sections) by_key[section.Key].Sections.push_back(&section);
  for (BackupJob& job : jobs) {
    const auto found = by_key.find(KeyOf(job));
    if (found != by_key.end()) found->second.Jobs.push_back(&job);
  }
  for (auto& [key, alike] : by_key) alike.Match();
  return 0;
}

ErrorCode ExtrasFile::Write(const std::vector<BackupJob>& jobs, bool ahead) {
  std::u16string text;
  const JobExtras defaults;
  // Of jobs that are alike each has a section when one has: the other would take it.
  std::unordered_set<Key, KeyHash> with_extras;
  for (const BackupJob& job : jobs) {
    if (!job.Deleted && job.Extras != defaults) with_extras.insert(KeyOf(job));
  }
  for (const BackupJob& job : jobs) {
    if (job.Deleted || !with_extras.contains(KeyOf(job))) continue;
    text += u"\r\n";
    text += FormatSection(job);
  }
  if (text.empty() && !bytes_) return 0;
  if (unreadable_) return unreadable_;
  if (ahead && bytes_) text += SectionsLeft(FromUtf8(*bytes_), text);
  std::string bytes = ToUtf8(head_ + text);
  if (bytes_ && *bytes_ == bytes) return 0;
  const ErrorCode error = file_.Write(bytes);
  if (!error) bytes_ = std::move(bytes);
  return error;
}

std::u16string ExtrasFile::PathBeside(std::u16string_view store_path) {
  if (!EndsWithNoCase(store_path, kStoreEnding)) return {};
  store_path.remove_suffix(kStoreEnding.size());
  return std::u16string(store_path) + std::u16string(kEnding);
}

std::string ExtrasFile::WithoutRuns(std::string_view bytes) {
  std::u16string text;
  const std::u16string all = FromUtf8(bytes);
  for (const std::u16string_view line : Split(all, u'\n')) {
    const bool of_runs =
        std::any_of(std::begin(kOfRuns), std::end(kOfRuns),
                    [&](std::u16string_view name) { return line.starts_with(name); });
    if (!of_runs) (text += line) += u'\n';
  }
  if (!text.empty()) text.pop_back();
  return ToUtf8(text);
}

ErrorCode ExtrasFile::TakeAhead(std::string_view bytes) const {
  const Result<std::string> ours = file_system_.ReadWhole(Path());
  if (!ours) return IsNotFound(ours.Error) ? file_system_.ReplaceWhole(Path(), bytes) : ours.Error;
  const std::u16string left = SectionsLeft(FromUtf8(*ours), FromUtf8(bytes));
  return file_system_.ReplaceWhole(Path(), std::string(bytes) + ToUtf8(left));
}

ErrorCode ExtrasFile::CopyTo(std::u16string_view folder) const {
  const std::u16string copy = JoinPath(folder, kFileName);
  const Result<std::string> bytes = file_system_.ReadWhole(Path());
  if (bytes) return file_system_.ReplaceWhole(copy, *bytes);
  if (!IsNotFound(bytes.Error)) return bytes.Error;
  // One that lies there belongs to the store that was there.
  const ErrorCode error = file_system_.RemoveFile(copy);
  return IsNotFound(error) ? 0 : error;
}

}  // namespace kavrel
