#include "fuzz/targets.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "archive/seven_zip.h"
#include "base/text.h"
#include "base/wildcard.h"
#include "core/command_line.h"
#include "core/job_store.h"
#include "engine/run_context.h"
#include "files/path.h"
#include "log/program_log.h"
#include "platform/code_page.h"
#include "platform/settings_store.h"
#include "rules/date_tokens.h"
#include "rules/file_filters.h"
#include "support/set_clock.h"
#include "support/temp_folder.h"

namespace kavrel::fuzz {
namespace {

const TempFolder& Temp() {
  static const TempFolder folder;
  return folder;
}

/// Makes the input the content of a file of the program folder.
void Put(const char* name, std::string_view input) {
  WriteTestFile(Temp().Home() / name, input);
}

/// Two inputs in one: what stands before and after the first NUL, or the two halves.
std::pair<std::string_view, std::string_view> Parted(std::string_view input) {
  const std::size_t zero = input.find('\0');
  if (zero != input.npos) return {input.substr(0, zero), input.substr(zero + 1)};
  return {input.substr(0, input.size() / 2), input.substr(input.size() / 2)};
}

/// Stray bytes that happen to be a character of UTF-8 may become it, which is the same bytes.
bool SameBytes(std::u16string_view a, std::u16string_view b) {
  return ToUtf8(a) == ToUtf8(b);
}

const char* Text(std::string_view input) {
  if (ToUtf8(FromUtf8(input)) != input) return "bytes come back from UTF-16";
  const std::u16string text = DecodeTextFile(input);
  const bool same = SameBytes(DecodeTextFile(EncodeTextFile(text)), text);
  return same ? nullptr : "a text file reads back the same";
}

const char* Store(std::string_view input) {
  Put("Backup.rtm", input);
  JobStore store(Temp().Files());
  if (!store.LoadJobs()) return nullptr;
  const std::size_t jobs = store.Jobs.size();
  // A line break inside a field becomes a blank, which only the next save trims off its end.
  for (int save = 0; save < 2; ++save) {
    if (!store.SaveJobs() || !store.LoadJobs()) return "a store can be saved and read";
  }
  std::u16string lines;
  for (const BackupJob& job : store.Jobs) lines += FormatJobLine(job) + u"\r\n";
  if (!SameBytes(DecodeTextFile(ReadTestFile(store.Path())), lines))
    return "saved jobs are the same";
  return store.Jobs.size() == jobs ? nullptr : "no job is lost";
}

const char* Rules(std::string_view input) {
  const auto [file, path] = Parted(input);
  Put("Exc.txt", file);
  ExclusionSet rules(Temp().Files());
  rules.ExcEnabled = true;
  rules.LoadExclusions();
  rules.IsFileExcluded(FromUtf8(path));
  rules.IsFolderExcluded(FromUtf8(path));
  // Where a field holds what only an editor refuses, the first save may change the rule.
  std::string saved;
  for (int save = 0; save < 2; ++save) {
    const std::size_t before = rules.Rules().size();
    if (!rules.SaveExclusions(std::vector(rules.Rules()))) return "rules can be saved";
    if (rules.Rules().size() != before) return "no rule is lost";
    saved = ReadTestFile(Temp().Home() / "Exc.txt");
  }
  rules.SaveExclusions(std::vector(rules.Rules()));
  return ReadTestFile(Temp().Home() / "Exc.txt") == saved ? nullptr : "saved rules stay the same";
}

const char* Filters(std::string_view input) {
  Put("FileType.txt", input);
  FilterTable filters(Temp().Files());
  const auto save = [&] {
    filters.LoadFilters();
    return filters.SaveFilters() == 0 ? ReadTestFile(filters.File().Path()) : std::string("?");
  };
  const std::string first = save();
  return save() == first ? nullptr : "saved filters stay the same";
}

const char* Log(std::string_view input) {
  Put("Log/QVDlog.log", input);
  LogList rows, again;
  ProgramLog log(Temp().Files(), rows);
  log.LoadProgramLog();
  if (!log.SaveProgramLog()) return "the program log can be saved";
  ProgramLog(Temp().Files(), again).LoadProgramLog();
  const auto same = [](const LogRow& a, const LogRow& b) {
    return std::ranges::equal(ColumnsOf(a), ColumnsOf(b), SameBytes);
  };
  return std::ranges::equal(again.Rows(), rows.Rows(), same) ? nullptr : "saved rows are the same";
}

const char* Settings(std::string_view input) {
  const auto [file, value] = Parted(input);
  Put("Settings.ini", file);
  SettingsStore settings(Temp().Files(), TempFolder::Text(Temp().Home() / "Settings.ini"));
  const auto other = settings.Get(u"Other");
  std::u16string text = FromUtf8(value);
  if (!settings.Set(u"Value", text)) return "a setting can be saved";
  std::replace_if(
      text.begin(), text.end(), [](char16_t c) { return c == u'\r' || c == u'\n'; }, u' ');
  if (settings.Get(u"Value") != text) return "a setting reads back the same";
  return settings.Get(u"Other") == other ? nullptr : "other settings stay";
}

/// The input is what follows a record's folder.
const char* Journal(std::string_view input) {
  const std::filesystem::path mine = Temp().Home() / "drives/d/mine";
  const std::string folder = mine.parent_path().string() + "/";
  using namespace std::string_literals;
  Put("Staging.jnl", "Kavrel staging 1\0files\0"s + folder + '\0' + std::string(input));
  WriteTestFile(mine, "mine");
  StagingJournal(Temp().Files()).Heal([](Healing, std::u16string_view) {});
  return ReadTestFile(mine) == "mine" ? nullptr : "a user's own file stays";
}

const char* CommandLine(std::string_view input) {
  const std::u16string line = FromUtf8(input);
  SplitCommand(line);
  const std::vector<std::u16string> names = SplitArguments(line);
  return SplitArguments(JoinArguments(names)) == names ? nullptr : "joined names part the same";
}

const char* Dates(std::string_view input) {
  const auto time = ParseDateTime(FromUtf8(input));
  if (!time) return nullptr;
  return ParseDateTime(DateTimeText(*time)) == time ? nullptr : "a written time reads the same";
}

const char* Tokens(std::string_view input) {
  SetClock clock(2009, 9, 23, 15, 4, 5);
  const std::u16string path = FromUtf8(input), expanded = ExpandDateTokens(path, clock);
  if (path.find_first_of(u"<>") != path.npos) return nullptr;
  return expanded == WithoutBlanksAtSeparators(path) ? nullptr : "a path without tags stays";
}

/// What a pattern without brackets matches, by the plain rule: each prefix against each prefix.
bool Reference(std::u16string_view text, std::u16string_view pattern,
               bool (*same)(char16_t, char16_t)) {
  std::vector<char> row(text.size() + 1);
  row[0] = 1;
  for (const char16_t wanted : pattern) {
    for (std::size_t t = 1; wanted == u'*' && t < row.size(); ++t) row[t] |= row[t - 1];
    if (wanted == u'*') continue;
    for (std::size_t t = row.size() - 1; t > 0; --t) {
      row[t] = row[t - 1] && (wanted == u'?' || same(text[t - 1], wanted));
    }
    row[0] = 0;
  }
  return row.back();
}

const char* Patterns(std::string_view input) {
  const auto [first, second] = Parted(input);
  const std::u16string text = FromUtf8(first), pattern = FromUtf8(second);
  const bool matches = MatchesPattern(text, pattern), found = MatchesFileMask(text, pattern);
  MatchesPatternList(text, pattern);
  NormalizeFolderPattern(pattern);
  if (!MatchesPattern(text, u"*") || !MatchesFileMask(text, u"*.*")) return "* matches everything";
  const auto rule = [](char16_t c, char16_t wanted) {
    return wanted == u'#' ? c >= u'0' && c <= u'9' : c == wanted;
  };
  const auto mask = [](char16_t c, char16_t wanted) { return ToLower(c) == ToLower(wanted); };
  if (pattern.find(u'[') == pattern.npos && matches != Reference(text, pattern, rule)) {
    return "the rules' wildcards match as defined";
  }
  if (pattern == u"*.*" || found == Reference(text, pattern, mask)) return nullptr;
  return "the masks' wildcards match as defined";
}

const char* Listing(std::string_view input) {
  for (const IndividualInfo& entry : ReadTechnicalListing(input).Entries) {
    LocalTime(entry.Modified);
  }
  return nullptr;
}

constexpr Target kTargets[] = {
    {"commandline", CommandLine, false},
    {"date", Dates, false},
    {"filters", Filters, true},
    {"journal", Journal, true},
    {"listing", Listing, false},
    {"log", Log, true},
    {"pattern", Patterns, false},
    {"rules", Rules, true},
    {"settings", Settings, true},
    {"store", Store, true},
    {"text", Text, false},
    {"tokens", Tokens, false},
};

}  // namespace

std::span<const Target> Targets() {
  return kTargets;
}

}  // namespace kavrel::fuzz
