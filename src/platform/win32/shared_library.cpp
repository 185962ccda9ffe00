#include "platform/shared_library.h"

#include "platform/win32/native.h"

namespace kavrel {

SharedLibrary::~SharedLibrary() {
  if (handle_) FreeLibrary(static_cast<HMODULE>(handle_));
}

bool SharedLibrary::Load(std::u16string_view path) {
  if (!handle_) {
    handle_ = LoadLibraryExW(win32::Wide(path).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  }
  return handle_ != nullptr;
}

void* SharedLibrary::Find(const char* name) const {
  return handle_ ? reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name))
                 : nullptr;
}

}  // namespace kavrel
