// The files of one folder that belong to a scope, in the order in which a run deals with them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "walk/scope.h"

namespace kavrel {

/// Called for each file; `again`: the name has come before in this folder, by another pattern. With
/// false the listing ends.
using FileVisitor = std::function<bool(const FolderEntry& file, bool again)>;

/// Reads the folder to its end, or until the visitor has had enough. Names of several patterns come
/// pattern by pattern, after the listing; everything else as it is listed. Subfolders to go into
/// are added to `subfolders`. How the listing itself went, the reader tells.
void VisitFiles(FolderReader& reader, const Scope& scope, const FolderScope& here,
                std::vector<std::u16string>& subfolders, const FileVisitor& visit);

}  // namespace kavrel
