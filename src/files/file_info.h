// What is known of one path.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "files/run_state.h"
#include "platform/files.h"

namespace kavrel {

struct FileInfo {
  bool Failed = false;              ///< the path could not be examined
  kavrel::ErrorCode ErrorCode = 0;  ///< why, else 0
  std::int32_t Kind = 1;            ///< PathKind of the path; for an FTP address nothing is read
  std::u16string FullPath;
  std::u16string Folder;  ///< the folder part with its final separator
  FileStatus Status;      ///< attributes, times, size
};

/// Fills kind, path and folder.
FileInfo SplitPath(std::u16string_view path);

/// Splits the path and examines it, without following a link at its end.
FileInfo GetFileInfo(const FileSystem& file_system, RunState& state, std::u16string_view path);

}  // namespace kavrel
