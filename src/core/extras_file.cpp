#include "core/extras_file.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "base/text.h"
#include "core/extras_section.h"
#include "files/path.h"
#include "platform/error_codes.h"
#include "platform/files.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kFileName = u"Backup.ext", kEnding = u".ext", kStoreEnding = u".rtm",
                              kEnd = u"[end]";
constexpr std::u16string_view kDefaultHead =
    u"# What the jobs of Backup.rtm have beyond their lines there. Lines that are not known are "
    u"kept.\r\n";
/// Where this stands, a file that was cut between two lines is known by its missing end.
constexpr std::u16string_view kHasEnd = u"# The last line is [end].";

struct KeyHash {
  std::size_t operator()(const ExtrasKey& key) const {
    std::size_t hash = 0;
    for (const std::u16string& text : key) {
      hash = hash * 31 + std::hash<std::u16string>()(text);
    }
    return hash;
  }
};

struct Section : ExtrasSection {
  bool Taken = false;  ///< by a job
};

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
    for (std::size_t i = 0; i < Jobs.size(); ++i) {
      Jobs[i]->Extras = std::move(sections[i]->Extras);
      sections[i]->Taken = true;
    }
    Jobs.clear();
  }
};

struct Content {
  std::u16string Head;  ///< the lines before the first section
  std::vector<Section> Sections;
  bool Whole = true;  ///< nothing is missing at the end, and every line makes sense
};

/// Takes what can be relied on: in a section no line behind one that makes no sense, and not the
/// last line of a file that ends in the midst of it.
Content ParseFile(std::string_view bytes) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
  Content content;
  content.Whole = bytes.ends_with('\n');
  const std::u16string text = FromUtf8(bytes.substr(0, bytes.rfind('\n') + 1));
  bool has_end = false, ended = false, broken = false;
  for (std::u16string_view line : Split(text, u'\n')) {
    if (line.ends_with(u'\r')) line.remove_suffix(1);
    if (Trim(line).empty()) continue;
    ended = line == kEnd;
    if (ended) continue;
    if (line == kExtrasSection) {
      content.Sections.emplace_back();
      broken = false;
    } else if (!content.Sections.empty()) {
      const ExtrasLine read =
          broken ? ExtrasLine::Broken : ParseExtrasLine(line, content.Sections.back());
      broken = read == ExtrasLine::Broken;
      content.Whole = content.Whole && read == ExtrasLine::Taken;
    } else if (line == kHasEnd) {
      has_end = true;
    } else if ((line.starts_with(u'#') || line.starts_with(u';')) &&
               line.find(u'\0') == line.npos) {
      (content.Head += line) += u"\r\n";
    } else {
      content.Whole = false;
    }
  }
  content.Whole = content.Whole && (ended || !has_end);
  return content;
}

/// Where the last line of the file begins, if that is the one that ends it; else its size.
std::size_t EndOf(std::u16string_view text) {
  const std::size_t last = text.find_last_not_of(u"\r\n");
  if (last == text.npos) return text.size();
  const std::size_t begin = text.rfind(u'\n', last) + 1;
  return text.substr(begin, last + 1 - begin) == kEnd ? begin : text.size();
}

/// The sections of a file as they stand there.
std::vector<std::u16string_view> SectionTexts(std::u16string_view text) {
  std::vector<std::u16string_view> sections;
  text = text.substr(0, EndOf(text));
  const auto begins = [&](std::size_t at) {
    const std::u16string_view rest = text.substr(at);
    const std::u16string_view line = rest.substr(0, rest.find(u'\n'));
    return line == kExtrasSection ||
           (line.ends_with(u'\r') && line.substr(0, line.size() - 1) == kExtrasSection);
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
    (left += u"\r\n") += kExtrasSection;
    left += u"\r\n";
    if (section.find(u"\nBefore=") == section.npos) AddBeforeLine(left);
    left += section.substr(section.find(u'\n') + 1);
  }
  return left;
}

}  // namespace

ExtrasFile::ExtrasFile(const FileSystem& file_system)
    : file_system_(file_system), file_(file_system, kFileName) {}

ErrorCode ExtrasFile::Load(std::vector<BackupJob>& jobs) {
  Result<std::string> bytes = file_.Read();
  const bool missing = IsNotFound(bytes.Error);
  unreadable_ = missing ? 0 : bytes.Error;
  head_ = kDefaultHead;
  not_understood_ = false;
  bytes_.reset();
  if (missing) {
    // The jobs come from a version without this file: what has mirrored before need not ask.
    for (BackupJob& job : jobs) {
      if (job.Synchronise && job.LastRun != kZeroDate) job.Extras.MirroredTo = MirrorPlace(job);
    }
  }
  if (!bytes) return unreadable_;
  bytes_ = std::move(*bytes);
  Content content = ParseFile(*bytes_);
  head_ = std::move(content.Head);
  std::unordered_map<ExtrasKey, Alike, KeyHash> by_key;
  for (Section& section : content.Sections) by_key[section.Key].Sections.push_back(&section);
  for (BackupJob& job : jobs) {
    const auto found = by_key.find(ExtrasKeyOf(job));
    if (found != by_key.end()) found->second.Jobs.push_back(&job);
  }
  for (auto& [key, alike] : by_key) alike.Match();
  // A name or a path may be what is damaged. What a save has left that broke off is known to fit
  // no job.
  const auto& sections = content.Sections;
  const bool broke_off = std::any_of(sections.begin(), sections.end(),
                                     [](const Section& section) { return section.Before; });
  not_understood_ =
      !content.Whole ||
      (!broke_off && std::any_of(sections.begin(), sections.end(),
                                 [](const Section& section) { return !section.Taken; }));
  return 0;
}

ErrorCode ExtrasFile::Write(const std::vector<BackupJob>& jobs, bool ahead) {
  std::u16string text;
  const JobExtras defaults;
  // Of jobs that are alike each has a section when one has: the other would take it.
  std::unordered_set<ExtrasKey, KeyHash> with_extras;
  for (const BackupJob& job : jobs) {
    if (!job.Deleted && job.Extras != defaults) with_extras.insert(ExtrasKeyOf(job));
  }
  for (const BackupJob& job : jobs) {
    if (job.Deleted || !with_extras.contains(ExtrasKeyOf(job))) continue;
    text += u"\r\n";
    text += FormatExtrasSection(job);
  }
  if (text.empty() && !bytes_) return 0;
  if (unreadable_) return unreadable_;
  if (ahead && bytes_) text += SectionsLeft(FromUtf8(*bytes_), text);
  std::u16string all = head_;
  (all += kHasEnd) += u"\r\n";
  (all += text) += u"\r\n";
  (all += kEnd) += u"\r\n";
  std::string bytes = ToUtf8(all);
  if (bytes_ && *bytes_ == bytes) return 0;
  ErrorCode error = not_understood_ ? file_.KeepOther() : 0;
  if (!error) error = file_.Write(bytes);
  if (error) return error;
  not_understood_ = false;
  bytes_ = std::move(bytes);
  return 0;
}

std::u16string ExtrasFile::PathBeside(std::u16string_view store_path) {
  if (!EndsWithNoCase(store_path, kStoreEnding)) return {};
  store_path.remove_suffix(kStoreEnding.size());
  return std::u16string(store_path) + std::u16string(kEnding);
}

bool ExtrasFile::IsWhole(std::string_view bytes) {
  return ParseFile(bytes).Whole;
}

std::string ExtrasFile::WithoutRuns(std::string_view bytes) {
  std::u16string text;
  const std::u16string all = FromUtf8(bytes);
  for (const std::u16string_view line : Split(all, u'\n')) {
    if (!IsOfRuns(line)) (text += line) += u'\n';
  }
  if (!text.empty()) text.pop_back();
  return ToUtf8(text);
}

ErrorCode ExtrasFile::TakeAhead(std::string_view bytes) const {
  const Result<std::string> ours = file_system_.ReadWhole(Path());
  if (!ours) return IsNotFound(ours.Error) ? file_system_.ReplaceWhole(Path(), bytes) : ours.Error;
  std::u16string text = FromUtf8(bytes);
  text.insert(EndOf(text), SectionsLeft(FromUtf8(*ours), text) + u"\r\n");
  return file_system_.ReplaceWhole(Path(), ToUtf8(text));
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
