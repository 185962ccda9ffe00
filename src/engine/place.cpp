#include "engine/place.h"

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

}  // namespace kavrel
