#include "files/path.h"

#include <algorithm>

#include "base/text.h"

namespace kavrel {

std::int32_t PathKind(std::u16string_view path) {
  if (StartsWithNoCase(path, u"ftp://")) return 3;
  return path.starts_with(u"\\\\") ? 2 : 1;
}

char16_t PathSeparator(std::u16string_view path) {
  return IsPosixPath(path) || PathKind(path) == 3 ? u'/' : u'\\';
}

bool IsPosixPath(std::u16string_view path) {
  return path.starts_with(u'/');
}

bool EndsWithSeparator(std::u16string_view path) {
  return !path.empty() && path.back() == PathSeparator(path);
}

std::u16string AddBackslash(std::u16string_view path) {
  std::u16string result(path);
  if (!EndsWithSeparator(path)) result += PathSeparator(path);
  return result;
}

std::u16string_view DropBackslash(std::u16string_view path) {
  if (EndsWithSeparator(path)) path.remove_suffix(1);
  return path;
}

std::u16string JoinPath(std::u16string_view folder, std::u16string_view name) {
  std::u16string result = AddBackslash(folder);
  result += name;
  return result;
}

std::u16string PathBelow(std::u16string_view folder, std::u16string_view below) {
  std::u16string path = AddBackslash(folder);
  const char16_t separator = PathSeparator(path);
  for (const std::u16string_view part : Split(below, u'/')) {
    if (!part.empty()) (path += part) += separator;
  }
  return path;
}

std::u16string FileBelow(std::u16string_view folder, std::u16string_view below) {
  return std::u16string(DropBackslash(PathBelow(folder, below)));
}

std::u16string_view PathFolder(std::u16string_view path) {
  const std::int32_t kind = PathKind(path);
  if (kind == 3 || path.size() < 2) return {};
  const std::size_t found = path.rfind(PathSeparator(path), path.size() - 2);
  if (found == path.npos || (kind == 2 && found < 2)) return {};
  return path.substr(0, found + 1);
}

std::u16string_view PathName(std::u16string_view path) {
  const std::size_t found = path.rfind(PathSeparator(path));
  return found == path.npos ? path : path.substr(found + 1);
}

bool PathStartsWith(std::u16string_view path, std::u16string_view prefix) {
  return IsPosixPath(path) ? path.starts_with(prefix) : StartsWithNoCase(path, prefix);
}

std::u16string WithoutBlanksAtSeparators(std::u16string_view path) {
  std::u16string result(path);
  if (IsPosixPath(path)) return result;
  for (std::size_t length = result.size() + 1; result.size() != length;) {
    length = result.size();
    result = ReplaceAll(ReplaceAll(result, u" \\", u"\\"), u"\\ ", u"\\");
  }
  return result;
}

std::u16string DriveOf(std::u16string_view path) {
  if (path.size() >= 2 && path[1] == u':') {
    const char16_t letter = ToLower(path[0]);
    if (letter < u'a' || letter > u'z') return {};
    return {static_cast<char16_t>(letter - u'a' + u'A'), u':'};
  }
  if (PathKind(path) != 2) return {};
  const std::size_t server_end = path.find(u'\\', 2);
  if (server_end == path.npos || server_end == 2) return {};
  const std::size_t share_end = path.find(u'\\', server_end + 1);
  const bool named = std::min(share_end, path.size()) > server_end + 1;
  return named ? std::u16string(path.substr(0, share_end)) : std::u16string();
}

bool IsRootPath(std::u16string_view path) {
  if (IsPosixPath(path)) return path.find_first_not_of(u'/') == path.npos;
  if (PathKind(path) == 3) return false;
  const std::u16string folder = AddBackslash(path);
  const auto separators = std::count(folder.begin(), folder.end(), u'\\');
  return separators < (PathKind(path) == 2 ? 4 : 2);
}

}  // namespace kavrel
