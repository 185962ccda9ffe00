// The walk of the plain backup types: exclusion rules, file types, size limit, and each folder's
// synchronisation before its files.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/sync_folder.h"
#include "engine/tree_walk.h"

namespace kavrel {

class BackupWalk final : public TreeWalk {
 public:
  /// Backs up Source.WorkPath into Destination.WorkPath, both set; all references outlive the walk.
  BackupWalk(RunContext& context, const BackupJob& job);

 protected:
  bool EnterFolder() override;
  bool BeforeFiles(const FolderPair& pair) override;
  void DestinationFailed() override;
  void HandleFiles(const FolderPair& pair, FolderReader& reader,
                   std::vector<std::u16string>& subfolders) override;
  bool TakesFile(std::u16string_view name) override;
  bool WithinSizeLimit(const FileStatus& source) const override;
  bool MayRepeat() const override { return !job_.ExcludeFileTypes && patterns_.size() > 1; }

 private:
  void HandleByPatterns(const FolderPair& pair, FolderReader& reader,
                        std::vector<std::u16string>& subfolders);

  const BackupJob& job_;
  std::vector<std::u16string> patterns_;
  std::optional<Synchronisation> synchronisation_;
};

}  // namespace kavrel
