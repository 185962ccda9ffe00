// Extended attributes of the POSIX kind, which Windows does not have.
#pragma once

#include <cstddef>

inline int setxattr(const wchar_t*, const char*, const void*, std::size_t, int) {
  return -1;
}
inline int getxattr(const wchar_t*, const char*, void*, std::size_t) {
  return -1;
}
