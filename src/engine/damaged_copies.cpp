#include "engine/damaged_copies.h"

#include "base/number.h"
#include "files/owner_mark.h"
#include "platform/error_codes.h"

namespace kavrel {

Result<Folder> PlaceForDamaged(const Folder& root, std::u16string_view name, std::u16string& path) {
  const auto made = [](const Folder& in, std::u16string_view folder) {
    Result<Folder> opened = in.OpenFolder(folder);
    return IsNotFound(opened.Error) ? in.MakeFolder(folder) : std::move(opened);
  };
  path = kDamagedFolder;
  Result<Folder> place = made(root, kDamagedFolder);
  // Of a name that was kept before, each has a folder of its own.
  for (int number = 2; place && place->Status(name); ++number) {
    const Result<Folder> base = root.OpenFolder(kDamagedFolder);
    path = std::u16string(kDamagedFolder) + u'/' + Decimal(number);
    place = base ? made(*base, Decimal(number)) : Result<Folder>::Fail(base.Error);
  }
  (path += u'/') += name;
  return place;
}

}  // namespace kavrel
