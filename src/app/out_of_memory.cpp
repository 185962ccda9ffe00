#include "app/out_of_memory.h"

#include <cstdio>
#include <cstdlib>
#include <new>

namespace kavrel {

namespace {
constinit int code = 1;  // Set before what has a constructor.
}  // namespace

void EndWhenOutOfMemory(int exit_code) {
  code = exit_code;
  std::set_new_handler([] {
    std::fputs(
        "kavrel: out of memory; a run that was under way is interrupted, the next one clears "
        "away what it left\n",
        stderr);
    std::_Exit(code);
  });
}

}  // namespace kavrel
