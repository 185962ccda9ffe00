// File-type filters: named lists of file-name patterns in FileType.txt in the program folder.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "files/shared_file.h"

namespace kavrel {

/// Patterns are separated by ";".
struct FileFilter {
  std::u16string Name, Patterns;
};

class FilterTable {
 public:
  /// `file_system` must outlive the table.
  explicit FilterTable(const FileSystem& file_system);

  /// Rebuilds the table from the file; one that cannot be opened is made from the default.
  void LoadFilters();
  /// Writes entries 1 and up; entries without a name or without patterns are left out. Gives the
  /// system's error code, 0 on success; the file is unchanged otherwise. A file that could not be
  /// read is never written over, and what somebody else has written since is kept as a copy.
  int SaveFilters();
  SharedFile& File() { return file_; }
  /// The entry of that name, without regard to letter case; null when there is none.
  const FileFilter* Find(std::u16string_view name) const;

  /// Entry 0 is "所有檔案 (*.*)" and is never stored.
  std::vector<FileFilter> Entries;

 private:
  const FileSystem& file_system_;
  SharedFile file_;
};

/// The patterns of a list, in order; an empty list has one empty pattern.
std::vector<std::u16string_view> SplitPatterns(std::u16string_view list);

/// True when the name matches one of the list's patterns in the rules' wildcard language (letter
/// case counts, "*.*" means every name), or when the trimmed list is empty.
bool MatchesPatternList(std::u16string_view name, std::u16string_view list);

}  // namespace kavrel
