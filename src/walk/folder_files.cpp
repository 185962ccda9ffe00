#include "walk/folder_files.h"

#include <unordered_set>

#include "base/wildcard.h"
#include "platform/trace.h"

namespace kavrel {

void VisitFiles(FolderReader& reader, const Scope& scope, const FolderScope& here,
                std::vector<std::u16string>& subfolders, const FileVisitor& visit) {
  const std::vector<std::u16string>& patterns = scope.Patterns();
  std::vector<std::vector<FolderEntry>> finds(patterns.size());
  while (const FolderEntry* entry = reader.Next()) {
    if (entry->Kind == FileKind::Folder) {
      if (here.TakesFolder(entry->Name)) subfolders.push_back(entry->Name);
    } else if (patterns.empty()) {
      if (here.TimesTaken(entry->Name) > 0 && !visit(*entry, false)) return;
    } else {
      bool found = false;
      for (std::size_t i = 0; i < patterns.size(); ++i) {
        if (!MatchesFileMask(entry->Name, patterns[i])) continue;
        finds[i].push_back(*entry);
        found = true;
      }
      // Asked for its word in the trace.
      if (!found && Tracing()) here.TimesTaken(entry->Name);
    }
  }
  std::unordered_set<std::u16string_view> before;
  for (const std::vector<FolderEntry>& found : finds) {
    for (const FolderEntry& entry : found) {
      if (!visit(entry, !before.insert(entry.Name).second)) return;
    }
  }
}

}  // namespace kavrel
