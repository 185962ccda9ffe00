#include "platform/launcher.h"

#include <array>
#include <charconv>
#include <cstdint>

#include "base/text.h"
#include "platform/folders.h"

namespace kavrel {

std::vector<std::u16string> FolderArguments(std::u16string_view program_folder) {
  if (IsUsualProgramFolder(program_folder)) return {};
  return {u"--home=" + std::u16string(program_folder)};
}

std::string FolderMark(std::u16string_view program_folder) {
  if (IsUsualProgramFolder(program_folder)) return {};
  // FNV-1a: the same on every system and in every version.
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : ToUtf8(program_folder)) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  }
  std::array<char, 16> digits{};
  const auto end = std::to_chars(digits.begin(), digits.end(), hash, 16);
  return "-" + std::string(digits.data(), end.ptr);
}

}  // namespace kavrel
