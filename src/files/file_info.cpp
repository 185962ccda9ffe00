#include "files/file_info.h"

#include "files/path.h"

namespace kavrel {

FileInfo SplitPath(std::u16string_view path) {
  FileInfo info;
  info.Kind = PathKind(path);
  info.FullPath = path;
  info.Folder = PathFolder(path);
  return info;
}

FileInfo GetFileInfo(const FileSystem& file_system, RunState& state, std::u16string_view path) {
  FileInfo info = SplitPath(path);
  if (info.Kind == 3) return info;
  const Result<FileStatus> status = file_system.Status(path);
  info.Status = *status;
  info.Failed = !status;
  info.ErrorCode = state.LastApiError = status.Error;
  return info;
}

}  // namespace kavrel
