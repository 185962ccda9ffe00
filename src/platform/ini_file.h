// Named texts in a UTF-8 INI file. Names are compared without regard to letter case.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/result.h"

namespace kavrel {

class FileSystem;

/// Nothing when the file or the value is missing, and when the file cannot be read: then `error`
/// tells why, which is 0 otherwise.
std::optional<std::u16string> ReadIniValue(const FileSystem& files, std::u16string_view path,
                                           std::u16string_view section, std::u16string_view name,
                                           ErrorCode& error);

/// Writes the file anew, whole, with whatever else stands in it kept. False when it could not be
/// written; it is then as it was.
bool WriteIniValue(const FileSystem& files, std::u16string_view path, std::u16string_view section,
                   std::u16string_view name, std::u16string_view value);

}  // namespace kavrel
