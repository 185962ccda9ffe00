// The way from one open folder down to another.
#pragma once

#include <string_view>

#include "base/text.h"
#include "platform/files.h"

namespace kavrel {

/// Follows these names down from a folder, and no link. The first error on the way.
template <class Names>
Result<Folder> OpenAlong(Result<Folder> folder, const Names& names) {
  for (const auto& name : names) {
    if (!folder) break;
    folder = folder->OpenFolder(name);
  }
  return folder;
}

/// The same along a relative path, whose parts are joined by "/"; empty: the folder itself.
inline Result<Folder> OpenBelow(Result<Folder> folder, std::u16string_view path) {
  return path.empty() ? std::move(folder) : OpenAlong(std::move(folder), Split(path, u'/'));
}

}  // namespace kavrel
