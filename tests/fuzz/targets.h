// What hostile input is tried on: a function for each reader, shared by the fuzzer and by the
// seeded generator of the tests.
#pragma once

#include <span>
#include <string_view>

namespace kavrel::fuzz {

struct Target {
  const char* Name;  ///< also that of the folder of its seeds
  /// Gives the reader this input. What the reader broke of its promises; null when nothing.
  const char* (*Try)(std::string_view input);
  bool UsesFiles;
};

std::span<const Target> Targets();

}  // namespace kavrel::fuzz
