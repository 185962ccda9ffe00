#include "cli/job_options.h"

#include <array>
#include <iostream>

#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "cli/parser.h"
#include "core/keep_plan.h"
#include "platform/folders.h"

namespace kavrel {

namespace {

constexpr std::array<std::string_view, 4> kTypes = {"full", "differential", "sync", "compressed"};
constexpr std::array<std::string_view, 7> kWeekdays = {"sun", "mon", "tue", "wed",
                                                       "thu", "fri", "sat"};
constexpr std::array<std::string_view, 5> kUnits = {"m", "h", "d", "w", "mo"};

template <std::size_t Size>
std::optional<std::size_t> IndexOf(const std::array<std::string_view, Size>& words,
                                   std::string_view word) {
  for (std::size_t i = 0; i < Size; ++i) {
    if (words[i] == word) return i;
  }
  return std::nullopt;
}

std::string ReadEvery(const std::string& text, JobForm& form) {
  const std::optional<Span> span = ParseSpan(text);
  if (!span) return Tr("--every takes a count and a unit, as 10m, 2h, 1d, 1w or 1mo");
  if (span->Count < 1 || span->Count > MaxIntervalCount(span->Kind)) {
    return Fill(Tr("--every takes 1 to %1 with the unit %2"),
                {std::to_string(MaxIntervalCount(span->Kind)),
                 kUnits[static_cast<std::size_t>(span->Kind)]});
  }
  form.Interval = span->Kind;
  form.Count = span->Count;
  return {};
}

std::string ReadStart(const std::string& text, DateTime now, JobForm& form) {
  const std::optional<NamedDateTime> named = ParseNamedDateTime(FromUtf8(text));
  if (!named) return Tr("--start takes a date and a time, as \"2026/11/24 01:00\"");
  using std::chrono::days;
  const auto day = std::chrono::floor<days>(named->Time);
  if (!named->HasDate) {
    form.Start = std::chrono::floor<days>(now) + (named->Time - day);
  } else if (!named->HasTime) {
    form.Start = day + (form.Start - std::chrono::floor<days>(form.Start));
  } else {
    form.Start = named->Time;
  }
  return {};
}

std::string ReadRefuse(const std::string& text, JobForm& form) {
  form.RefusedDays = 0;
  if (text.empty()) return {};
  const std::u16string words = ToLower(FromUtf8(text));
  for (const std::u16string_view word : Split(words, u',')) {
    const auto day = IndexOf(kWeekdays, ToUtf8(Trim(word)));
    if (!day) return Tr("--refuse takes weekdays, as sun,sat");
    form.RefusedDays |= 1 << (*day + 1);
  }
  return {};
}

/// "50" or "50%".
std::optional<std::int32_t> ReadPercent(const std::string& text) {
  const std::size_t digits = text.find_first_not_of("0123456789");
  const bool plain = digits == text.npos || text.substr(digits) == "%";
  return plain ? ParseInt(FromUtf8(text.substr(0, digits))) : std::nullopt;
}

std::string ReadGuard(const std::string& text, ExtraSettings& extras) {
  extras.GuardMirror = text != "off";
  if (text == "on" || text == "off") return {};
  const auto percent = ReadPercent(text);
  if (!percent || *percent < 1 || *percent > 100) {
    return Tr("--guard takes on, off, or a share from 1 to 100 percent");
  }
  extras.GuardPercent = *percent;
  return {};
}

std::string ReadRecovery(const std::string& text, ExtraSettings& extras) {
  const auto percent = text == "off" ? std::optional(0) : ReadPercent(text);
  if (!percent || *percent > kMaxRecoveryPercent) {
    return Tr("--recovery takes off, or a share from 1 to 100 percent");
  }
  extras.RecoveryPercent = *percent;
  return {};
}

std::string ReadPassword(JobForm& form) {
  std::string line;
  std::getline(std::cin, line);
  if (line.ends_with('\r')) line.pop_back();
  if (line.empty()) return Tr("--password-stdin found no password on standard input");
  form.UsePassword = true;
  std::u16string password = FromUtf8(line);
  form.Password = password;
  Wipe(password);
  Wipe(line);
  return {};
}

/// A flag with its negation, which leaves the option empty when neither is given.
void AddSwitch(CLI::App& command, const char* names, std::optional<bool>& option,
               const char* help) {
  command.add_flag_function(
      names,
      [&option, names = std::string_view(names)](std::int64_t count) {
        const std::size_t comma = names.find(',');
        if (count == 0) {
          throw CLI::ExcludesError(std::string(names.substr(0, comma)),
                                   std::string(names.substr(comma + 2)));
        }
        option = count > 0;
      },
      help);
}

void Set(std::optional<bool> option, bool& field) {
  if (option) field = *option;
}

std::string ReadStateOptions(const JobOptions& options, ExtraSettings& extras) {
  if (options.StateLinks) {
    const auto how = ParseLinkStates(FromUtf8(*options.StateLinks));
    if (!how) return Tr("--link-states takes auto, off, hard or reflink");
    extras.StateLinks = *how;
  }
  if (options.KeepPlan) {
    std::u16string why;
    const auto plan = ParseKeepPlan(FromUtf8(*options.KeepPlan), why);
    if (!plan && *options.KeepPlan != "off") return "--keep-plan: " + ToUtf8(Shown(why));
    extras.KeepPlan = plan ? KeepPlanText(*plan) : std::u16string();
    extras.KeepNewest = 0;
  }
  const struct {
    const std::optional<std::string>& Given;
    bool& Setting;
    const char* Name;
  } switches[] = {{options.UnfinishedName, extras.UnfinishedName, "--unfinished-name"},
                  {options.Sums, extras.KeepSums, "--sums"},
                  {options.Scrub, extras.Scrub, "--scrub"},
                  {options.Drill, extras.Drill, "--drill"}};
  for (const auto& [given, setting, name] : switches) {
    if (!given) continue;
    if (*given != "on" && *given != "off") return Fill(Tr("%1 takes on or off"), {name});
    setting = *given == "on";
  }
  if (options.ChangeGuard) {
    const bool on = *options.ChangeGuard == "on";
    if (!on && *options.ChangeGuard != "off" && *options.ChangeGuard != "accept") {
      return Tr("--change-guard takes on, off or accept");
    }
    if (*options.ChangeGuard != "accept") extras.GuardChanges = on;
  }
  return {};
}

}  // namespace

void JobOptions::AddTo(CLI::App& command) {
  command.add_option("--name", Name, Tr("Name of the job"));
  command.add_option("--source", Source, Tr("Folder to back up"));
  command.add_option("--dest", Dest, Tr("Folder that receives the backup; may hold date tags"));
  command.add_option("--type", Type, Tr("full, differential, sync or compressed"));
  command.add_option("--every", Every, Tr("How often: 10m, 2h, 1d, 1w, 1mo"));
  command.add_option("--start", Start, Tr("First run, as \"2026/11/24 01:00\""));
  command.add_option("--refuse", Refuse, Tr("Weekdays on which it never runs, as sun,sat"));
  command.add_option("--types", Types, Tr("File types, as \"*.doc;*.xls\""));
  AddSwitch(command, "--exclude-types,!--include-types", ExcludeTypes,
            Tr("Leave the file types out instead of taking them"));
  AddSwitch(command, "--subfolders,!--no-subfolders", Subfolders, Tr("Take subfolders (default)"));
  AddSwitch(command, "--source-folder,!--no-source-folder", SourceFolder,
            Tr("Append the source folder's name to the destination (default)"));
  AddSwitch(command, "--recycle,!--no-recycle", Recycle,
            Tr("Move what a sync removes to the recycle bin"));
  AddSwitch(command, "--enable,!--disable", Enable, Tr("Switch the schedule on or off"));
  const auto limit = command.add_option("--max-size-kb", MaxSizeKB, Tr("Leave larger files out"));
  limit->check(Within(1, INT32_MAX));
  command.add_flag("--no-limit", NoLimit, Tr("Take files of any size"))->excludes(limit);
  const auto password = command.add_flag("--password-stdin", PasswordStdin,
                                         Tr("Read the archive password from standard input"));
  command.add_flag("--no-password", NoPassword, Tr("Use no archive password"))->excludes(password);
  command.add_option(
      "--guard", Guard,
      Tr("on, off, or the share in percent of the destination's files beyond which a "
         "sync asks before it removes them (default 50)"));
  command.add_option("--guard-min", GuardMin, Tr("Fewer files than this never count (default 20)"))
      ->check(Within(1, kMaxGuardFewest));
  command.add_flag("--adopt", Adopt,
                   Tr("What lies in the destination is this job's: its next run need not ask"));
  AddSwitch(command, "--space-check,!--no-space-check", SpaceCheck,
            Tr("Stop before copying what cannot fit (default)"));
  command
      .add_option("--keep", Keep, Tr("Keep only this many dated folders or archives; 0 keeps all"))
      ->check(Within(0, kMaxKeepNewest));
  command
      .add_option("--keep-plan", KeepPlan,
                  Tr("Thin them by their age, as \"24h:all 30d:1d 12w:1w 24mo:1mo\", or off"))
      ->excludes("--keep");
  AddSwitch(command, "--delete-old,!--recycle-old", DeleteOld,
            Tr("Delete what is not kept instead of moving it to the recycle bin"));
  AddSwitch(command, "--verify-after,!--no-verify-after", VerifyAfter,
            Tr("Compare both sides after every run"));
  AddSwitch(command, "--hard-links,!--no-hard-links", HardLinks,
            Tr("Keep files of several names linked in the copy (default)"));
  command.add_option(
      "--link-states", StateLinks,
      Tr("How a new dated folder gets what is the same in the one before: auto (default: "
         "differential and sync share blocks or link, full copies), off, hard, reflink"));
  command.add_option("--unfinished-name", UnfinishedName,
                     Tr("on (default) or off: a dated folder bears .unfinished until it is whole"));
  command.add_option(
      "--sums", Sums,
      Tr("on (default) or off: the checksum of each file that is copied is kept in the "
         "backup, in .kavrel-sums, which xxh128sum -c checks"));
  command.add_option("--scrub", Scrub,
                     Tr("on or off (default): a thirtieth of the backup is read again each day and "
                        "compared with its checksums"));
  command.add_option("--drill", Drill,
                     Tr("on or off (default): some files are restored each month into a folder of "
                        "their own, to see whether that works"));
  command.add_option("--change-guard", ChangeGuard,
                     Tr("on (default) or off: a run asks before files that look encrypted take the "
                        "place of good copies; accept: they are meant, and its alarm ends"));
  command.add_option("--recovery", Recovery,
                     Tr("off (default), or how much recovery data an archive gets beside it, in "
                        "percent of its size, from 1 to 100; needs par2"));
}

bool JobOptions::Any() const {
  const auto given = [](const auto&... options) { return (options.has_value() || ...); };
  return given(Name, Source, Dest, Type, Every, Start, Refuse, Types, Guard, ExcludeTypes,
               Subfolders, SourceFolder, Recycle, Enable, SpaceCheck, VerifyAfter, HardLinks,
               MaxSizeKB, GuardMin, Keep, StateLinks, UnfinishedName, KeepPlan, DeleteOld, Sums,
               Scrub, Drill, ChangeGuard, Recovery) ||
         NoLimit || PasswordStdin || NoPassword || Adopt;
}

std::string ApplyOptions(const JobOptions& options, DateTime now, JobForm& form) {
  std::string error;
  if (options.Name) form.Name = FromUtf8(*options.Name);
  if (options.Source) form.Source = AbsolutePath(FromUtf8(*options.Source));
  if (options.Dest) form.Destination = AbsolutePath(FromUtf8(*options.Dest));
  if (options.Type) {
    const auto type = IndexOf(kTypes, *options.Type);
    if (!type) return Tr("--type takes full, differential, sync or compressed");
    form.Type = static_cast<BackupType>(*type);
  }
  if (options.Every && !(error = ReadEvery(*options.Every, form)).empty()) return error;
  if (options.Start && !(error = ReadStart(*options.Start, now, form)).empty()) return error;
  if (options.Refuse && !(error = ReadRefuse(*options.Refuse, form)).empty()) return error;
  if (options.Types) form.FileTypes = options.Types->empty() ? kAllFiles : FromUtf8(*options.Types);
  Set(options.ExcludeTypes, form.ExcludeFileTypes);
  Set(options.Subfolders, form.IncludeSubfolders);
  Set(options.SourceFolder, form.AddSourceFolder);
  Set(options.Recycle, form.UseRecycleBin);
  Set(options.Enable, form.Enabled);
  if (options.MaxSizeKB) {
    form.LimitFileSize = true;
    form.MaxFileSizeKB = *options.MaxSizeKB;
  }
  if (options.NoLimit) form.LimitFileSize = false;
  ExtraSettings& extras = form.Extras;
  if (options.Guard && !(error = ReadGuard(*options.Guard, extras)).empty()) return error;
  if (options.GuardMin) extras.GuardFewest = *options.GuardMin;
  if (options.Keep) {
    extras.KeepNewest = *options.Keep;
    extras.KeepPlan.clear();
  }
  Set(options.DeleteOld, extras.DeletesOld);
  Set(options.SpaceCheck, extras.CheckSpace);
  Set(options.VerifyAfter, extras.VerifyAfterRun);
  Set(options.HardLinks, extras.KeepHardLinks);
  if (!(error = ReadStateOptions(options, extras)).empty()) return error;
  if (options.Recovery && !(error = ReadRecovery(*options.Recovery, extras)).empty()) return error;
  if (options.NoPassword) form.UsePassword = false;
  if (options.PasswordStdin && form.Type != BackupType::Compressed) {
    return Tr("--password-stdin goes with --type compressed: other backups are not encrypted");
  }
  return options.PasswordStdin ? ReadPassword(form) : std::string();
}

std::optional<Span> ParseSpan(const std::string& text) {
  const std::size_t digits = text.find_first_not_of("0123456789");
  const auto count = ParseInt(FromUtf8(text.substr(0, digits)));
  const auto unit = IndexOf(kUnits, digits == text.npos ? "" : text.substr(digits));
  if (!count || !unit) return std::nullopt;
  return Span{*count, static_cast<IntervalKind>(*unit)};
}

std::optional<std::chrono::minutes> ParseAge(const std::string& text) {
  using namespace std::chrono;
  constexpr minutes kUnit[] = {minutes(1), hours(1), days(1), weeks(1)};
  const std::optional<Span> span = ParseSpan(text);
  if (!span || span->Kind == IntervalKind::Months || span->Count < 1 || span->Count > 1000) {
    return std::nullopt;
  }
  return kUnit[static_cast<std::size_t>(span->Kind)] * span->Count;
}

std::string_view OptionOf(FormCheck check) {
  switch (check) {
    case FormCheck::NoInterval:
      return "--every";
    case FormCheck::WeekdayRefused:
      return Tr("--start, --refuse: a weekly job starts on a refused day");
    case FormCheck::AllDaysRefused:
      return Tr("--refuse: every weekday is refused");
    case FormCheck::NoName:
      return Tr("--name: the job needs a name");
    case FormCheck::DuplicateName:
      return Tr("--name: another job has this name");
    case FormCheck::SourceMissing:
      return Tr("--source: the folder does not exist");
    case FormCheck::NoDestination:
      return Tr("--dest: the job needs a destination");
    case FormCheck::BadKeepPlan:
      return "--keep-plan";
    case FormCheck::Unstorable:
      return Tr("a text holds a tab or a line break");
    case FormCheck::Ok:
      break;
  }
  return {};
}

std::string_view TypeWord(BackupType type) {
  return kTypes[static_cast<std::size_t>(type)];
}

std::string_view WeekdayWord(int weekday) {
  return kWeekdays[static_cast<std::size_t>(weekday - 1)];
}

}  // namespace kavrel
