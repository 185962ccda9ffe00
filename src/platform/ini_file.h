// Named texts in a UTF-8 INI file. Names are compared without regard to letter case.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/files.h"

namespace kavrel {

/// Keeps the file's content and reads it again when its status tells that somebody has changed it.
/// One thread at a time.
class IniFile {
 public:
  /// `files` must outlive this; the file need not exist. What was changed less than `settle`
  /// seconds before it was read is not kept: a second change might leave no other status.
  IniFile(const FileSystem& files, std::u16string path, std::int64_t settle = 2)
      : files_(files), path_(std::move(path)), settle_(settle) {}

  /// Nothing when the file or the value is missing, and when the file cannot be read: then `error`
  /// tells why, which is 0 otherwise.
  std::optional<std::u16string> Get(std::u16string_view section, std::u16string_view name,
                                    ErrorCode& error);
  /// Writes the file anew, whole, with whatever else stands in it kept. False when it could not be
  /// written; it is then as it was.
  bool Set(std::u16string_view section, std::u16string_view name, std::u16string_view value);

 private:
  ErrorCode CatchUp();

  const FileSystem& files_;
  const std::u16string path_;
  const std::int64_t settle_;
  std::string bytes_;
  std::optional<FileStatus> kept_;  ///< of the file when bytes_ were read; nothing: they are old
};

}  // namespace kavrel
