#include "files/place.h"

#include "files/path.h"

namespace kavrel {

Place FindPlace(const FileSystem& files, std::u16string_view path) {
  Place place;
  for (; !path.empty(); path = PathFolder(path)) {
    Result<Folder> opened = files.OpenFolder(path);
    if (opened) {
      place.Nearest = std::move(*opened);
      return place;
    }
    place.Exists = false;
  }
  return place;
}

std::u16string NoPlaceText(const FileSystem& files, std::u16string_view path) {
  const Place place = FindPlace(files, path);
  if (place.Exists) return {};
  std::u16string_view below = path;
  for (std::u16string_view at = path; !at.empty(); at = PathFolder(at)) {
    if (files.FolderExists(at)) break;
    below = at;
  }
  const Result<FileStatus> in_the_way = files.Status(DropBackslash(below));
  if (place.Nearest && place.Nearest.MayWrite() && !in_the_way) return {};
  return u"目標資料夾不存在，也無法建立：" + std::u16string(path);
}

std::u16string LockedPlaceText(const FileSystem& files, std::u16string_view path) {
  const Result<Folder> folder = files.OpenFolder(path);
  if (!folder || folder->MayWrite()) return {};
  return u"目標資料夾無法寫入：" + std::u16string(path);
}

}  // namespace kavrel
