// What the system calls something that is open. Only a port's own files look into it.
#pragma once

#include <cstdint>

namespace kavrel {

#ifdef _WIN32
using SystemHandle = void*;
// A null folder would mean that a name is a whole path.
inline const SystemHandle kNoHandle = reinterpret_cast<void*>(std::intptr_t{-1});
#else
using SystemHandle = int;
inline constexpr SystemHandle kNoHandle = -1;
#endif

}  // namespace kavrel
