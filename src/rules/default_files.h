// The rule files that are built into the program, byte for byte (code page 950).
#pragma once

#include <string_view>

namespace kavrel {

class FileSystem;

/// "EXCLUSIONS" (536 bytes) or "FILEFILTERS" (713 bytes); empty for any other name.
std::string_view DefaultFile(std::string_view resource_name);

/// Writes that file to the path, replacing what is there; false when the name is unknown or the
/// file could not be written, which is then as it was.
bool WriteDefaultFile(const FileSystem& file_system, std::string_view resource_name,
                      std::u16string_view path);

}  // namespace kavrel
