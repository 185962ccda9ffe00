// Tells whether an archive can be read back from its first byte to its last.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "archive/compressed_backup.h"

namespace kavrel {

struct ArchiveCheck {
  int Result = 0;                       ///< 0, kNoArchiver, kCommandCancelled, else it failed
  std::uint32_t Files = 0;              ///< entries that are no folders
  std::uint64_t Bytes = 0;              ///< their content
  std::u16string Output;                ///< what the archiver said of a damaged archive
  std::vector<std::u16string> Damaged;  ///< entries that cannot be read back
  bool WrongPassword = false, Unreadable = false;  ///< of the archive as a whole
};

/// Unpacks everything with the job's password, compares checksums and keeps nothing.
ArchiveCheck CheckArchive(ArchiveContext& context, const BackupJob& job, std::u16string_view path);

/// The names behind the archiver's lines "ERROR: why : name".
std::vector<std::u16string> NamesInErrors(std::u16string_view output);

}  // namespace kavrel
