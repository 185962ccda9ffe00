#include "rules/exclusion_rules.h"

#include <algorithm>

#include "base/number.h"
#include "base/text.h"
#include "base/wildcard.h"
#include "files/path.h"
#include "platform/code_page.h"
#include "platform/error_codes.h"
#include "platform/files.h"
#include "rules/default_files.h"

namespace kavrel {

namespace {

constexpr std::size_t kShortestFile = 10;
constexpr std::u16string_view kEverything = u"*";

std::u16string OrEverything(std::u16string_view field) {
  field = Trim(field);
  return std::u16string(field.empty() ? kEverything : field);
}

/// The field as it is written to the file.
std::u16string Written(std::u16string_view field) {
  return OrEverything(field == kEverythingShown ? kEverything : field);
}

void MakeMatchForms(ExclusionRule& rule) {
  rule.DriveMatch = ToLower(rule.Drive);
  rule.FolderMatch = NormalizeFolderPattern(rule.Folder);
  rule.FileMatch = ToLower(rule.File);
}

/// Reads one rule line; false when it has too few fields. `enabled` is the state of the rule
/// before it, which a field that is no boolean takes over.
bool ReadRule(std::u16string_view line, bool enabled, ExclusionRule& rule) {
  const std::vector<std::u16string_view> fields = Split(line, u'\t');
  if (fields.size() < 5) return false;
  rule.Desc = Trim(fields[0]);
  rule.Enabled = ParseBool(fields[1]).value_or(enabled);
  rule.Drive = OrEverything(fields[2]);
  rule.Folder = Trim(fields[3]);
  rule.File = OrEverything(fields[4]);
  MakeMatchForms(rule);
  return true;
}

bool Matches(std::u16string_view text, std::u16string_view pattern) {
  return pattern == kEverything || MatchesPattern(text, pattern);
}

/// True when drive and folder of the path match those of the rule. A rule may name a share as its
/// drive, though a path's own drive is the server alone: its folders are then the share's.
bool MatchesPlace(const ExclusionRule& path, const ExclusionRule& rule) {
  if (Matches(path.DriveMatch, rule.DriveMatch)) {
    return Matches(path.FolderMatch, rule.FolderMatch);
  }
  const std::u16string_view drive = rule.DriveMatch;
  const std::size_t server = drive.starts_with(u"\\\\") ? drive.find(u'\\', 2) : drive.npos;
  if (server == drive.npos || path.DriveMatch != drive.substr(0, server)) return false;
  std::u16string_view folder = path.FolderMatch;
  const std::u16string_view share = drive.substr(server);
  if (!folder.starts_with(share)) return false;
  folder.remove_prefix(share.size());
  return folder.starts_with(u'\\') && Matches(folder, rule.FolderMatch);
}

/// A file without any rule must not be shorter than what counts as damaged.
constexpr std::u16string_view kNoRulesLine = u"# no rules";

}  // namespace

std::u16string NormalizeFolderPattern(std::u16string_view pattern) {
  std::u16string form = ToLower(Trim(pattern));
  if (form == u"\\" || form == kEverything) return form;
  const auto is_edge = [](char16_t c) { return c == u'\\' || c == u'*'; };
  if (form.empty() || !is_edge(form.front())) form.insert(0, u"*\\");
  if (!is_edge(form.back())) form += u"\\*";
  return form;
}

ExclusionRule SplitRulePath(std::u16string_view path, const MountPointOf& mount_point) {
  ExclusionRule parts;
  std::u16string rest(path);
  if (IsPosixPath(path)) {
    if (mount_point) parts.Drive = mount_point(path);
    // Rules speak backslash; one that belongs to a name must not pass for a separator.
    for (char16_t& c : rest) c = c == u'/' ? u'\\' : c == u'\\' ? u'/' : c;
  } else if (path.size() >= 2 && path[1] == u':') {
    parts.Drive = path.substr(0, 2);
  } else if (path.starts_with(u"\\\\")) {
    parts.Drive = path.substr(0, path.find(u'\\', 2));
  }
  rest.erase(0, parts.Drive.size());
  const std::size_t last = rest.rfind(u'\\');
  parts.Folder = last == rest.npos ? u"" : rest.substr(0, last + 1);
  parts.File = last == rest.npos ? rest : rest.substr(last + 1);
  MakeMatchForms(parts);
  return parts;
}

ExclusionSet::ExclusionSet(const FileSystem& file_system, MountPointOf mount_point)
    : file_system_(file_system),
      file_(file_system, u"Exc.txt"),
      mount_point_(std::move(mount_point)),
      rules_(std::make_shared<std::vector<ExclusionRule>>()) {}

bool ExclusionSet::OpenExclusionFile(std::u16string& text) {
  Result<std::string> bytes = file_.Read();
  // A file that is there but cannot be read may hold the user's rules: it is not replaced.
  const bool missing = bytes ? bytes->size() < kShortestFile : IsNotFound(bytes.Error);
  if (missing && WriteDefaultFile(file_system_, "EXCLUSIONS", file_.Path())) {
    bytes = file_.Read();
  }
  if (!bytes) return false;
  text = DecodeTextFile(*bytes);
  return true;
}

void ExclusionSet::LoadExclusions() {
  header_lines_.clear();
  const auto rules = std::make_shared<std::vector<ExclusionRule>>();
  rules_ = rules;
  folder_rules_.clear();
  std::u16string text;
  if (!OpenExclusionFile(text)) return;
  bool enabled = false, in_header = true;
  for (std::u16string_view rest = text; !rest.empty();) {
    const std::size_t end = rest.find(u'\n');
    std::u16string_view line = rest.substr(0, end);
    rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
    if (line.ends_with(u'\r')) line.remove_suffix(1);
    const std::u16string_view trimmed = Trim(line);
    if (trimmed.empty() || trimmed[0] == u'#' || trimmed[0] == u';') {
      if (in_header) header_lines_.emplace_back(line);
      continue;
    }
    in_header = false;
    ExclusionRule rule;
    if (!ReadRule(trimmed, enabled, rule)) continue;
    enabled = rule.Enabled;
    if (rule.File == kEverything) folder_rules_.push_back(rules->size());
    rules->push_back(std::move(rule));
  }
}

bool ExclusionSet::SaveExclusions(const std::vector<ExclusionRule>& rules) {
  std::u16string text;
  for (const std::u16string& line : header_lines_) {
    if (line != kNoRulesLine) text += line + u"\r\n";
  }
  for (const ExclusionRule& rule : rules) {
    std::u16string folder = Written(rule.Folder);
    if (folder != kEverything && !folder.ends_with(u'\\')) folder += u'\\';
    text += ReplaceAll(rule.Desc, u"\t", u" ") + (rule.Enabled ? u"\tTrue\t" : u"\tFalse\t") +
            Written(rule.Drive) + u"\t" + folder + u"\t" + Written(rule.File) + u"\r\n";
  }
  if (text.size() < kShortestFile) text += std::u16string(kNoRulesLine) + u"\r\n";
  if (file_.Write(EncodeTextFile(text)) != 0) return false;
  LoadExclusions();
  return true;
}

bool ExclusionSet::RestoreDefaults() {
  if (!WriteDefaultFile(file_system_, "EXCLUSIONS", file_.Path())) return false;
  LoadExclusions();
  return true;
}

bool FolderExclusions::IsFileExcluded(std::u16string_view name) const {
  if (rules_.empty()) return false;
  std::u16string form = ToLower(name);
  // As in SplitRulePath; and a path counts without the blanks behind it.
  if (posix_) std::replace(form.begin(), form.end(), u'\\', u'/');
  while (form.ends_with(u' ')) form.pop_back();
  return std::any_of(rules_.begin(), rules_.end(),
                     [&](const ExclusionRule* rule) { return Matches(form, rule->FileMatch); });
}

FolderExclusions ExclusionSet::In(std::u16string_view folder) const {
  FolderExclusions in;
  if (!ExcEnabled || rules_->empty()) return in;
  in.all_ = rules_;
  in.posix_ = IsPosixPath(folder);
  const ExclusionRule parts = SplitRulePath(folder, mount_point_);
  for (const ExclusionRule& rule : *rules_) {
    if (rule.Enabled && MatchesPlace(parts, rule)) in.rules_.push_back(&rule);
  }
  return in;
}

bool ExclusionSet::IsFileExcluded(std::u16string_view path) const {
  if (!ExcEnabled) return false;
  path = Trim(path);
  if (path.empty()) return true;
  const std::size_t separator = path.rfind(IsPosixPath(path) ? u'/' : u'\\');
  const std::size_t name = separator == path.npos ? (path.find(u':') == 1 ? 2 : 0) : separator + 1;
  return In(path.substr(0, name)).IsFileExcluded(path.substr(name));
}

bool ExclusionSet::IsFolderExcluded(std::u16string_view folder) const {
  if (!ExcEnabled || folder_rules_.empty()) return false;
  const ExclusionRule parts = SplitRulePath(AddBackslash(folder), mount_point_);
  return std::any_of(folder_rules_.begin(), folder_rules_.end(), [&](std::size_t i) {
    const ExclusionRule& rule = (*rules_)[i];
    return rule.Enabled && MatchesPlace(parts, rule);
  });
}

std::u16string CheckInvalidChars(std::u16string_view value, std::u16string_view forbidden) {
  value = Trim(value);
  if (value.empty()) return u"檔案或資料夾並未設定";
  const std::u16string lower = ToLower(value);
  for (const char16_t c : forbidden) {
    if (lower.find(ToLower(c)) != lower.npos) return std::u16string(u"Invalid Character - ") + c;
  }
  return {};
}

}  // namespace kavrel
