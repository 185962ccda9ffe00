// A library that is looked for while the program runs.
#pragma once

#include <string_view>

namespace kavrel {

class SharedLibrary {
 public:
  SharedLibrary() = default;
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;
  ~SharedLibrary();

  /// Loads the library of this path, with what it needs from its own folder.
  bool Load(std::u16string_view path);
  /// A function's address; null when there is none of that name.
  void* Find(const char* name) const;

 private:
  void* handle_ = nullptr;
};

}  // namespace kavrel
