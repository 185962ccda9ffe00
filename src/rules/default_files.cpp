#include "rules/default_files.h"

#include "base/translation.h"
#include "platform/files.h"

namespace kavrel {

namespace {

#include "rules/default_files.inc"

template <std::size_t Size>
std::string_view Bytes(const unsigned char (&data)[Size]) {
  return {reinterpret_cast<const char*>(data), Size};
}

}  // namespace

std::string_view DefaultFile(std::string_view resource_name) {
  if (resource_name == "EXCLUSIONS") return Bytes(kExclusions);
  if (resource_name == "FILEFILTERS") return Bytes(kFileFilters);
  return {};
}

bool WriteDefaultFile(const FileSystem& file_system, std::string_view resource_name,
                      std::u16string_view path) {
  const std::string_view bytes = DefaultFile(resource_name);
  return !bytes.empty() && file_system.ReplaceWhole(path, bytes) == 0;
}

}  // namespace kavrel
