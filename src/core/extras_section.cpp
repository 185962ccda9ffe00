#include "core/extras_section.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "base/crc32.h"
#include "base/number.h"
#include "base/text.h"
#include "core/job_store.h"
#include "core/keep_plan.h"

namespace kavrel {

namespace {

/// A text in one line, as the store keeps it and reads it back.
std::u16string OneLine(std::u16string_view text) {
  std::u16string line(Trim(text));
  for (char16_t& c : line) {
    if (c == u'\t' || c == u'\r' || c == u'\n') c = u' ';
  }
  return line;
}

struct SwitchField {
  std::u16string_view Name;
  bool JobExtras::*Field;
};
constexpr SwitchField kSwitches[] = {{u"GuardMirror", &JobExtras::GuardMirror},
                                     {u"CheckSpace", &JobExtras::CheckSpace},
                                     {u"VerifyAfterRun", &JobExtras::VerifyAfterRun},
                                     {u"KeepSums", &JobExtras::KeepSums},
                                     {u"Scrub", &JobExtras::Scrub},
                                     {u"Drill", &JobExtras::Drill},
                                     {u"GuardChanges", &JobExtras::GuardChanges},
                                     {u"KeepHardLinks", &JobExtras::KeepHardLinks},
                                     {u"UnfinishedName", &JobExtras::UnfinishedName},
                                     {u"DeletesOld", &JobExtras::DeletesOld},
                                     {u"KeepAgreed", &JobExtras::KeepAgreed},
                                     {u"NotBegun", &JobExtras::NotBegun},
                                     {u"Unseen", &JobExtras::Unseen},
                                     {u"Bad", &JobExtras::Bad},
                                     {u"Adopt", &JobExtras::Adopt}};
constexpr std::u16string_view kLinkStates = u"LinkStates";
/// As the command line spells them, too.
constexpr std::u16string_view kLinkStatesWords[kLinkStatesChoices] = {u"auto", u"off", u"hard",
                                                                      u"reflink"};
struct NumberField {
  std::u16string_view Name;
  std::int32_t JobExtras::*Field;
  std::int32_t First, Last;
};
constexpr NumberField kNumbers[] = {
    {u"GuardPercent", &JobExtras::GuardPercent, 1, 100},
    {u"GuardFewest", &JobExtras::GuardFewest, 1, kMaxGuardFewest},
    {u"KeepNewest", &JobExtras::KeepNewest, 0, kMaxKeepNewest},
    {u"RecoveryPercent", &JobExtras::RecoveryPercent, 0, kMaxRecoveryPercent},
    {u"DrillGood", &JobExtras::DrillGood, 0, INT32_MAX},
    {u"DrillFiles", &JobExtras::DrillFiles, 0, INT32_MAX}};
template <typename Owner>
struct TextField {
  std::u16string_view Name;
  std::u16string Owner::*Field;
};
constexpr TextField<JobExtras> kTexts[] = {{u"Id", &JobExtras::Id},
                                           {u"MirroredTo", &JobExtras::MirroredTo},
                                           {u"KeepPlan", &JobExtras::KeepPlan},
                                           {u"ScrubAt", &JobExtras::ScrubAt}};
constexpr TextField<KnownPlaces> kPlaceTexts[] = {
    {u"SourcePlace", &KnownPlaces::SourcePlace},
    {u"DestinationPlace", &KnownPlaces::DestinationPlace}};
struct DateField {
  std::u16string_view Name;
  DateTime JobExtras::*Field;
};
constexpr DateField kDates[] = {{u"TimeMoved", &JobExtras::TimeMoved},
                                {u"LastGood", &JobExtras::LastGood},
                                {u"LastScrub", &JobExtras::LastScrub},
                                {u"LastDrill", &JobExtras::LastDrill}};
constexpr std::u16string_view kKeyNames[] = {u"Name", u"Source", u"Destination"};
struct BytesField {
  std::u16string_view Name;
  std::uint64_t KnownPlaces::*Field;
};
constexpr BytesField kBytes[] = {{u"SourceBytes", &KnownPlaces::SourceBytes},
                                 {u"LargestFile", &KnownPlaces::LargestFile},
                                 {u"SourceDiskBytes", &KnownPlaces::SourceDiskBytes}};
constexpr std::u16string_view kBadBy = u"BadBy";
constexpr std::u16string_view kBadEndWords[kBadEnds] = {u"", u"guard", u"space", u"place",
                                                        u"changes"};
constexpr std::u16string_view kUnbegun = u"Unbegun";
constexpr std::u16string_view kCauses[] = {u"source", u"archiver"};
constexpr std::u16string_view kMade = u"Made", kMount = u"Mount", kStateFiles = u"StateFiles",
                              kVerified = u"Verified", kRest = u"Rest", kChanges = u"Changes",
                              kLike = u"Like", kBefore = u"Before", kSource = u"source",
                              kDestination = u"destination";
/// The paths of places that the job has left, and what a line of what is known of them begins with.
constexpr std::u16string_view kFormer = u"Former", kOfFormer = u"Former.";
/// Of earlier versions. The first is known once, since a mark tells the same and is sure; the other
/// did not tell what held the source from what lay in it, and the next run knows better.
constexpr std::u16string_view kDropped[] = {u"Unfinished", u"SourceMount"};
/// What another installation knows of its own jobs.
constexpr std::u16string_view kOfRuns[] = {
    u"Id=",        u"Adopt=",     u"MirroredTo=", u"Made=",     u"Unfinished=", u"Unbegun=",
    u"Bad=",       u"LastGood=",  u"BadBy=",      u"Verified=", u"LastScrub=",  u"ScrubAt=",
    u"LastDrill=", u"DrillGood=", u"DrillFiles=", u"Changes="};

std::u16string FormatMount(const KnownMount& mount) {
  std::u16string text(mount.OfSource ? kSource : kDestination);
  (text += u'\t') += EscapeOctal(mount.Point);
  for (const std::u16string& mark : mount.Marks) (text += u'\t') += EscapeOctal(mark);
  return text;
}

bool ParseMount(std::u16string_view value, KnownPlaces& known) {
  const std::vector<std::u16string_view> fields = Split(value, u'\t');
  if (fields.size() < 2 || (fields[0] != kSource && fields[0] != kDestination)) return false;
  KnownMount& mount = known.Mounts.emplace_back(fields[0] == kSource, UnescapeOctal(fields[1]));
  for (std::size_t i = 2; i < fields.size(); ++i) mount.Marks.push_back(UnescapeOctal(fields[i]));
  return true;
}

std::u16string FormatUnbegun(const UnbegunRun& run) {
  std::u16string text = DateTimeText(run.At);
  (text += u'\t') += kCauses[static_cast<std::size_t>(run.Why)];
  return (text += u'\t') += EscapeOctal(run.Text);
}

bool ParseUnbegun(std::u16string_view value, JobExtras& extras) {
  const std::vector<std::u16string_view> fields = Split(value, u'\t');
  const std::optional<DateTime> at = fields.size() == 3 ? ParseDateTime(fields[0]) : std::nullopt;
  if (!at || extras.Unbegun.size() == kMaxUnbegun) return false;
  const bool archiver = fields[1] == kCauses[1];
  extras.Unbegun.push_back({*at,
                            archiver ? UnbegunRun::Cause::NoArchiver : UnbegunRun::Cause::NoSource,
                            UnescapeOctal(fields[2])});
  return true;
}

std::u16string FormatRest(const JobRest& rest) {
  return IsoText(rest.From) + u'\t' + IsoText(rest.To);
}

bool ParseRest(std::u16string_view value, KnownPlaces& known) {
  const std::vector<std::u16string_view> fields = Split(value, u'\t');
  if (fields.size() != 2) return false;
  const std::optional<DateTime> from = ParseDateTime(fields[0]), to = ParseDateTime(fields[1]);
  if (!from || !to || *from > *to) return false;
  known.Rests.push_back({*from, *to});
  return true;
}

std::u16string FormatVerified(const VerifiedState& verified) {
  return IsoText(verified.When) + u'\t' + Decimal(verified.Damaged) + u'\t' +
         EscapeOctal(verified.Unit);
}

bool ParseVerified(std::u16string_view value, KnownPlaces& known) {
  const std::vector<std::u16string_view> fields = Split(value, u'\t');
  if (fields.size() != 3) return false;
  const std::optional<DateTime> when = ParseDateTime(fields[0]);
  const std::optional<std::int32_t> damaged = ParseInt(fields[1]);
  if (!when || !damaged || *damaged < 0) return false;
  known.Verified.push_back({UnescapeOctal(fields[2]), *when, static_cast<std::uint32_t>(*damaged)});
  return true;
}

/// The places that a job has left begin with a line of their two paths.
bool ParseFormer(std::u16string_view value, JobExtras& extras) {
  const std::vector<std::u16string_view> fields = Split(value, u'\t');
  if (fields.size() != 2) return false;
  extras.Former.push_back({{UnescapeOctal(fields[0]), UnescapeOctal(fields[1])}, {}});
  return true;
}

std::u16string FormatChanges(const KnownChanges& changes) {
  const auto date = [](DateTime time) {
    return time == kZeroDate ? std::u16string() : DateTimeText(time);
  };
  std::u16string text = Decimal(changes.Files);
  for (const std::int32_t number : {changes.Sure, changes.Likely, changes.Usual}) {
    (text += u'\t') += Decimal(number);
  }
  for (const DateTime time : {changes.Last, changes.Alarm}) (text += u'\t') += date(time);
  return (text += u'\t') += EscapeOctal(changes.Good);
}

bool ParseChanges(std::u16string_view value, KnownPlaces& known) {
  const std::vector<std::u16string_view> fields = Split(value, u'\t');
  if (fields.size() != 7) return false;
  const std::optional<double> files = ParseNumber(fields[0]);
  if (!files || *files < -1 || *files >= 9e15) return false;
  KnownChanges changes;
  changes.Files = static_cast<std::int64_t>(*files);
  std::int32_t* const numbers[] = {&changes.Sure, &changes.Likely, &changes.Usual};
  for (std::size_t i = 0; i < std::size(numbers); ++i) {
    const std::optional<std::int32_t> number = ParseInt(fields[i + 1]);
    if (!number || *number < (i == 1 ? 0 : -1)) return false;
    *numbers[i] = *number;
  }
  DateTime* const dates[] = {&changes.Last, &changes.Alarm};
  for (std::size_t i = 0; i < std::size(dates); ++i) {
    if (fields[i + 4].empty()) continue;
    const std::optional<DateTime> date = ParseDateTime(fields[i + 4]);
    if (!date) return false;
    *dates[i] = *date;
  }
  changes.Good = UnescapeOctal(fields[6]);
  known.Changes = std::move(changes);
  return true;
}

/// `before`: what the names of the lines begin with.
void AddPlaces(std::u16string& text, const KnownPlaces& known, std::u16string_view before = {}) {
  const auto add = [&](std::u16string_view name, std::u16string_view value) {
    AddExtrasLine(text, std::u16string(before).append(name), value);
  };
  for (const auto& [name, field] : kPlaceTexts) {
    if (!(known.*field).empty()) add(name, OneLine(known.*field));
  }
  for (const auto& [name, field] : kBytes) {
    if (known.*field > 0) add(name, FromUtf8(std::to_string(known.*field)));
  }
  if (known.StateFiles >= 0) add(kStateFiles, Decimal(known.StateFiles));
  for (const KnownMount& mount : known.Mounts) add(kMount, FormatMount(mount));
  for (const std::u16string& made : known.Made) add(kMade, OneLine(made));
  for (const VerifiedState& one : known.Verified) add(kVerified, FormatVerified(one));
  for (const JobRest& rest : known.Rests) add(kRest, FormatRest(rest));
  if (known.Changes != KnownChanges()) add(kChanges, FormatChanges(known.Changes));
}

/// A whole number from `least` to below 9e18, with a text that has nothing else.
std::optional<std::uint64_t> ParseCount(std::u16string_view value, double least) {
  const std::optional<double> number = ParseNumber(value);
  if (!number || *number < least || *number >= 9e18) return std::nullopt;
  return static_cast<std::uint64_t>(*number);
}

/// Nothing for a name that is not one of these; else whether its value is.
std::optional<bool> ParsePlace(std::u16string_view name, std::u16string_view value,
                               KnownPlaces& known) {
  for (const auto& field : kPlaceTexts) {
    if (name == field.Name) return known.*field.Field = value, true;
  }
  for (const BytesField& field : kBytes) {
    if (name != field.Name) continue;
    const auto number = ParseCount(value, 1);
    return known.*field.Field = number.value_or(0), number.has_value();
  }
  if (name == kStateFiles) {
    const auto number = ParseCount(value, 0);
    return known.StateFiles = number ? static_cast<std::int64_t>(*number) : -1, number.has_value();
  }
  if (name == kMount) return ParseMount(value, known);
  if (name == kMade) return known.Made.emplace_back(value), true;
  if (name == kVerified) return ParseVerified(value, known);
  if (name == kRest) return ParseRest(value, known);
  if (name == kChanges) return ParseChanges(value, known);
  return std::nullopt;
}

/// The same for what a job has wherever its places are.
std::optional<bool> ParseOwn(std::u16string_view name, std::u16string_view value,
                             JobExtras& extras) {
  for (const SwitchField& field : kSwitches) {
    if (name != field.Name) continue;
    const bool good = value == u"0" || value == u"1";
    if (good) extras.*field.Field = value == u"1";
    return good;
  }
  for (const NumberField& field : kNumbers) {
    if (name != field.Name) continue;
    const auto number = ParseInt(value);
    const bool good = number && *number >= field.First && *number <= field.Last;
    if (good) extras.*field.Field = *number;
    return good;
  }
  for (const auto& field : kTexts) {
    if (name != field.Name) continue;
    const bool good = field.Field != &JobExtras::KeepPlan || ParseKeepPlan(value);
    if (good) extras.*field.Field = value;
    return good;
  }
  for (const DateField& field : kDates) {
    if (name != field.Name) continue;
    const auto date = ParseDateTime(value);
    return extras.*field.Field = date.value_or(kZeroDate), date.has_value();
  }
  if (name == kLinkStates) {
    const auto how = ParseLinkStates(value);
    return extras.StateLinks = how.value_or(LinkStates::Auto), how.has_value();
  }
  if (name == kBadBy) {
    const auto* word = std::find(std::begin(kBadEndWords) + 1, std::end(kBadEndWords), value);
    // One that a later version knows is a bad end like any other.
    const bool known = word != std::end(kBadEndWords);
    extras.BadBy = known ? static_cast<BadEnd>(word - kBadEndWords) : BadEnd::Other;
    return true;
  }
  if (name == kUnbegun) return ParseUnbegun(value, extras);
  if (name == kFormer) return ParseFormer(value, extras);
  return std::nullopt;
}

/// False for what may have several lines, and for names that are not known.
bool ComesOnce(std::u16string_view name) {
  const auto among = [&](const auto& fields) {
    return std::any_of(std::begin(fields), std::end(fields),
                       [&](const auto& field) { return field.Name == name; });
  };
  return name == kLike || name == kLinkStates || name == kBadBy || name == kStateFiles ||
         name == kChanges || among(kSwitches) || among(kNumbers) || among(kTexts) ||
         among(kDates) || among(kPlaceTexts) || among(kBytes) ||
         std::find(std::begin(kKeyNames), std::end(kKeyNames), name) != std::end(kKeyNames);
}

bool IsName(std::u16string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char16_t c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
           c == u'.' || c == u'_' || c == u'-';
  });
}

}  // namespace

std::u16string_view LinkStatesWord(LinkStates how) {
  return kLinkStatesWords[static_cast<std::size_t>(how)];
}

std::optional<LinkStates> ParseLinkStates(std::u16string_view word) {
  for (std::size_t i = 0; i < kLinkStatesChoices; ++i) {
    if (word == kLinkStatesWords[i]) return static_cast<LinkStates>(i);
  }
  return std::nullopt;
}

ExtrasKey ExtrasKeyOf(const BackupJob& job) {
  return {KeptName(OneLine(job.Name)), OneLine(job.Source.Path), OneLine(job.Destination.Path)};
}

std::u16string LikenessOf(const BackupJob& job) {
  BackupJob rest;
  ParseJobLine(FormatJobLine(job), rest);
  rest.Name = rest.Source.Path = rest.Destination.Path = {};
  rest.Enabled = false;
  rest.NextRun = rest.LastRun = kZeroDate;
  rest.Password = kDefaultPassword;
  return FromUtf8(std::to_string(Crc32(ToUtf8(FormatJobLine(rest)))));
}

void AddExtrasLine(std::u16string& text, std::u16string_view name, std::u16string_view value) {
  text += name;
  text += u'=';
  text += value;
  text += u"\r\n";
}

void AddBeforeLine(std::u16string& text) {
  AddExtrasLine(text, kBefore, u"1");
}

std::u16string FormatExtrasSection(const BackupJob& job) {
  const JobExtras& extras = job.Extras;
  const JobExtras defaults;
  std::u16string text(kExtrasSection);
  text += u"\r\n";
  const ExtrasKey key = ExtrasKeyOf(job);
  for (std::size_t i = 0; i < key.size(); ++i) AddExtrasLine(text, kKeyNames[i], key[i]);
  AddExtrasLine(text, kLike, LikenessOf(job));
  for (const auto& [name, field] : kSwitches) {
    if (extras.*field != defaults.*field) AddExtrasLine(text, name, extras.*field ? u"1" : u"0");
  }
  for (const auto& [name, field, first, last] : kNumbers) {
    if (extras.*field != defaults.*field) AddExtrasLine(text, name, Decimal(extras.*field));
  }
  for (const auto& [name, field] : kTexts) {
    if (!(extras.*field).empty()) AddExtrasLine(text, name, OneLine(extras.*field));
  }
  for (const auto& [name, field] : kDates) {
    if (extras.*field != kZeroDate) AddExtrasLine(text, name, DateTimeText(extras.*field));
  }
  if (extras.StateLinks != defaults.StateLinks) {
    AddExtrasLine(text, kLinkStates, LinkStatesWord(extras.StateLinks));
  }
  if (extras.BadBy != BadEnd::Other) {
    AddExtrasLine(text, kBadBy, kBadEndWords[static_cast<std::size_t>(extras.BadBy)]);
  }
  for (const UnbegunRun& run : extras.Unbegun) AddExtrasLine(text, kUnbegun, FormatUnbegun(run));
  AddPlaces(text, extras);
  for (const FormerPlaces& one : extras.Former) {
    AddExtrasLine(text, kFormer,
                  EscapeOctal(one.Pair.Source) + u'\t' + EscapeOctal(one.Pair.Destination));
    AddPlaces(text, one.Known, kOfFormer);
  }
  for (const std::u16string& line : extras.OtherLines) text += line + u"\r\n";
  return text;
}

ExtrasLine ParseExtrasLine(std::u16string_view line, ExtrasSection& section) {
  if (line.find_first_of(std::u16string_view(u"\0\r", 2)) != line.npos) return ExtrasLine::Broken;
  JobExtras& extras = section.Extras;
  if (line.starts_with(u'#') || line.starts_with(u';')) {
    return extras.OtherLines.emplace_back(line), ExtrasLine::Taken;
  }
  const std::size_t equals = line.find(u'=');
  if (equals == line.npos || !IsName(line.substr(0, equals))) return ExtrasLine::Broken;
  const std::u16string_view name = line.substr(0, equals), value = line.substr(equals + 1);
  // Behind a line that stands there for the second time, another job's section may have begun.
  if (ComesOnce(name)) {
    if (std::find(section.Seen.begin(), section.Seen.end(), name) != section.Seen.end()) {
      return ExtrasLine::Broken;
    }
    section.Seen.emplace_back(name);
  }
  for (std::size_t i = 0; i < section.Key.size(); ++i) {
    if (name == kKeyNames[i]) return section.Key[i] = OneLine(value), ExtrasLine::Taken;
  }
  if (name == kLike) return section.Like = value, ExtrasLine::Taken;
  if (name == kBefore) return section.Before = true, ExtrasLine::Taken;
  if (std::find(std::begin(kDropped), std::end(kDropped), name) != std::end(kDropped)) {
    return ExtrasLine::Taken;
  }
  std::optional<bool> good = ParseOwn(name, value, extras);
  if (!good) good = ParsePlace(name, value, extras);
  if (!good && name.starts_with(kOfFormer)) {
    if (extras.Former.empty()) return ExtrasLine::Broken;
    good = ParsePlace(name.substr(kOfFormer.size()), value, extras.Former.back().Known);
  }
  if (!good) return extras.OtherLines.emplace_back(line), ExtrasLine::Taken;
  if (*good) return ExtrasLine::Taken;
  // Two lines may have become one.
  return value.find_first_of(u"=\\") == value.npos ? ExtrasLine::Odd : ExtrasLine::Broken;
}

bool IsOfRuns(std::u16string_view line) {
  if (line.starts_with(kOfFormer)) line.remove_prefix(kOfFormer.size());
  return std::any_of(std::begin(kOfRuns), std::end(kOfRuns),
                     [&](std::u16string_view name) { return line.starts_with(name); });
}

}  // namespace kavrel
