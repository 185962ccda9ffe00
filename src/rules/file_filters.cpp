#include "rules/file_filters.h"

#include "base/text.h"
#include "base/translation.h"
#include "base/wildcard.h"
#include "files/path.h"
#include "platform/code_page.h"
#include "platform/error_codes.h"
#include "platform/files.h"
#include "rules/default_files.h"

namespace kavrel {

FilterTable::FilterTable(const FileSystem& file_system)
    : file_system_(file_system), file_(file_system, u"FileType.txt") {}

void FilterTable::LoadFilters() {
  Entries = {{TrLaterIn("name", u"所有檔案 (*.*)"), u"*.*"}};
  Result<std::string> bytes = file_.Read();
  // Only a missing file is made anew: one that cannot be read may hold the user's lists.
  if (IsNotFound(bytes.Error) && WriteDefaultFile(file_system_, "FILEFILTERS", file_.Path())) {
    bytes = file_.Read();
  }
  if (!bytes) return;
  const std::u16string text = DecodeTextFile(*bytes);
  for (std::u16string_view line : Split(text, u'\n')) {
    if (line.ends_with(u'\r')) line.remove_suffix(1);
    if (line.starts_with(u'#') || line.starts_with(u';')) continue;
    const std::vector<std::u16string_view> fields = Split(line, u'\t');
    if (fields.size() < 2) continue;
    Entries.push_back({std::u16string(fields[0]), std::u16string(fields[1])});
  }
}

int FilterTable::SaveFilters() {
  std::u16string text;
  for (std::size_t i = 1; i < Entries.size(); ++i) {
    const FileFilter& entry = Entries[i];
    if (!entry.Name.empty() && !entry.Patterns.empty()) {
      text += entry.Name + u"\t" + entry.Patterns + u"\r\n";
    }
  }
  return file_.Write(EncodeTextFile(text));
}

const FileFilter* FilterTable::Find(std::u16string_view name) const {
  for (const FileFilter& entry : Entries) {
    if (EqualNoCase(entry.Name, name)) return &entry;
  }
  return nullptr;
}

std::vector<std::u16string_view> SplitPatterns(std::u16string_view list) {
  return Split(list, u';');
}

bool MatchesPatternList(std::u16string_view name, std::u16string_view list) {
  if (Trim(list).empty()) return true;
  for (const std::u16string_view pattern : SplitPatterns(list)) {
    if (MatchesPattern(name, pattern == u"*.*" ? u"*" : pattern)) return true;
  }
  return false;
}

}  // namespace kavrel
