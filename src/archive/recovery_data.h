// Recovery data of an archive: blocks from which the par2 program makes good what is damaged in it.
// They lie in one file beside the archive, and are of its one content: they go before another one
// takes its name, and with it wherever it goes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "archive/seven_zip.h"

namespace kavrel {

/// What the file has behind the archive's name or path.
inline constexpr std::u16string_view kRecoveryEnding = u".par2";
std::u16string RecoveryName(std::u16string_view archive);
/// The archive that a file of this name tells of; another name is given back as it is.
std::u16string_view RecoveredArchive(std::u16string_view name);

/// Told where the program is missing.
inline constexpr std::u16string_view kNoRecoveryProgram = u"找不到 par2 程式";

/// What a call of the program came to.
struct RecoveryEnd {
  bool Done = false;
  bool Cancelled = false;
  std::u16string Why;  ///< else, in words
};

/// What a repair finds in its folder.
inline constexpr std::u16string_view kDamagedArchive = u"damaged", kRecoveryCopy = u"recovery.par2";

class RecoveryProgram {
 public:
  /// `files` outlives this.
  explicit RecoveryProgram(const FileSystem& files) : files_(files) {}

  /// False when no par2 is in the program folder, beside the executable or on the search path.
  bool Present() const;

  /// Makes recovery data of so many percent of an archive (a program path) of so many bytes, as
  /// RecoveryName of its name in the folder `into` (a program path), where nothing else lies.
  RecoveryEnd Make(std::u16string_view archive, std::uint64_t size, int percent,
                   std::u16string_view into, ArchiveMonitor* monitor) const;
  /// Makes the archive from what kDamagedArchive has of it and kRecoveryCopy, both in the folder
  /// `in`, where it gets its own name. The two are left as they are.
  RecoveryEnd Repair(std::u16string_view in, ArchiveMonitor* monitor) const;

 private:
  const FileSystem& files_;
};

}  // namespace kavrel
