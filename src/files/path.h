// Path text. A path's own form decides its separator; no other code spells a separator by hand.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kavrel {

/// 3 for an FTP address ("ftp://" in any letter case), 2 for a network path (two backslashes in
/// front), else 1.
std::int32_t PathKind(std::u16string_view path);

/// "/" for FTP addresses and for paths that begin with "/", else "\".
char16_t PathSeparator(std::u16string_view path);

/// True for paths that begin with "/": their letter case counts.
bool IsPosixPath(std::u16string_view path);

bool EndsWithSeparator(std::u16string_view path);

/// With one separator of the path's own kind appended when it does not end with one; an empty
/// path gives a lone backslash.
std::u16string AddBackslash(std::u16string_view path);

/// Without one trailing separator, if there is one.
std::u16string_view DropBackslash(std::u16string_view path);

/// `name` in `folder`, with a separator between unless the folder ends with one.
std::u16string JoinPath(std::u16string_view folder, std::u16string_view name);

/// The path of a folder below another one, with its final separator. `below`: its parts, joined by
/// "/".
std::u16string PathBelow(std::u16string_view folder, std::u16string_view below);
/// That of a file there, likewise.
std::u16string FileBelow(std::u16string_view folder, std::u16string_view below);

/// The folder part up to and including the last separator, searched from the character before the
/// end backwards (so a trailing separator does not count; in a network path neither do the first
/// two). Empty when there is none, and for FTP addresses.
std::u16string_view PathFolder(std::u16string_view path);

/// The text after the last separator.
std::u16string_view PathName(std::u16string_view path);

/// True when `path` begins with `prefix`, by the letter-case rule of `path`'s form.
bool PathStartsWith(std::u16string_view path, std::u16string_view prefix);

/// Without the blanks that touch a backslash, removed until none is left: Windows drops them from
/// names. Paths that begin with "/" keep theirs, they belong to the name there.
std::u16string WithoutBlanksAtSeparators(std::u16string_view path);

/// The drive ("C:", its letter made large) or share ("\\server\share") that a Windows path lies on;
/// empty for other paths and for a server alone.
std::u16string DriveOf(std::u16string_view path);

/// A drive root, a bare server name, "/" itself: fewer separators than a folder's path has.
bool IsRootPath(std::u16string_view path);

}  // namespace kavrel
